#include "client_limits.h"
#include "comm_socket_v4_limits.h"
#include "scripted_server.h"

#include <poll.h>
#include <vector>

using vrdx::outcome;
using vrdx::packet_kind;

namespace {

// The connection as somebody's loop has it: the server's end is in the test's own hands, so nothing here
// waits.
class ConnectionLoop : public testing::Test {
protected:
    vrdx::driver_connection connection;
    int driver = -1;
    vrdx::incoming_packet packet;

    void SetUp() override {
        std::array<int, 2> ends{};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()), 0);
        connection.fd = ends[0];
        driver = ends[1];
    }

    void TearDown() override {
        vrdx::close_connection(&connection);
        close(driver);
    }

    std::uint64_t queue(const comm_socket_v4_packet& request) {
        return vrdx::queue_request(&connection, request);
    }

    std::uint64_t queue(const char* command) {
        return queue(vrdx::simple_request(command));
    }

    std::uint64_t take(const std::string& id) {
        vrdx::take_order order;
        order.takes = {{1, {1, 1}}};
        order.id = id;
        return vrdx::queue_take(&connection, order);
    }

    void tell(const char* command, const told_entries& entries = {}, const char* argument = nullptr) const {
        send_all(driver, written(command, entries, 0, argument).bytes);
    }

    // All packets that have come, as "kind request command".
    std::vector<std::string> packets() {
        vrdx::move_bytes(&connection);
        std::vector<std::string> all;
        while (vrdx::next_packet(&connection, &packet)) {
            const char* kind = packet.kind == packet_kind::reply         ? "reply "
                               : packet.kind == packet_kind::take_answer ? "answer "
                                                                         : "pushed ";
            all.push_back(kind + std::to_string(packet.request) + " " +
                          comm_socket_v4_packet_get_command(&packet.packet));
        }
        return all;
    }
};

using texts = std::vector<std::string>;

} // namespace

TEST_F(ConnectionLoop, PushedPacketsBetweenRepliesAreToldApart) {
    queue("watch");
    queue("status");
    tell("alive");
    tell("watch");
    tell("change");
    tell("something new");
    tell("status");
    tell("takes");
    EXPECT_EQ(packets(), (texts{"pushed 0 alive", "reply 1 watch", "pushed 0 change",
                                "pushed 0 something new", "reply 2 status", "pushed 0 takes"}));
}

TEST_F(ConnectionLoop, AnswersOfTakesComeInAnyOrder) {
    EXPECT_EQ(take("a"), 1U);
    EXPECT_EQ(take("b"), 2U);
    EXPECT_EQ(queue("status"), 3U);
    tell("take", {{"id", "b"}});
    tell("status");
    tell("take", {{"id", "nobody's"}});
    tell("error", {{"id", "a"}}, "output 1 twice");
    EXPECT_EQ(packets(), (texts{"answer 2 take", "reply 3 status", "pushed 0 take", "answer 1 error"}));
}

TEST_F(ConnectionLoop, IdOfATakeIsFreeAgainOnceItIsAnswered) {
    EXPECT_EQ(take("a"), 1U);
    EXPECT_EQ(take("a"), 0U);
    EXPECT_EQ(connection.problem, "a take of this id still awaits its answer");
    tell("take", {{"id", "a"}});
    EXPECT_EQ(packets(), texts{"answer 1 take"});
    EXPECT_EQ(take("a"), 2U);
}

TEST_F(ConnectionLoop, ErrorWithoutAnIdAnswersTheOldestOtherRequest) {
    take("a");
    queue("stauts");
    queue("ping");
    tell("error", {}, "unknown command 'stauts'");
    tell("ping");
    EXPECT_EQ(packets(), (texts{"reply 2 error", "reply 3 ping"}));
}

TEST_F(ConnectionLoop, OlderDriverThatKnowsNoTakesAnswersThemAllTheSame) {
    take("a");
    queue("ping");
    tell("error", {}, "unknown command 'take'");
    tell("ping");
    EXPECT_EQ(packets(), (texts{"answer 1 error", "reply 2 ping"}));
}

TEST_F(ConnectionLoop, ErrorThatNobodyAskedForIsAReplyToNothing) {
    tell("error", {}, "too many clients");
    EXPECT_EQ(packets(), texts{"reply 0 error"});
}

TEST_F(ConnectionLoop, PacketsThatCameBeforeTheEndAreStillRead) {
    queue("ping");
    vrdx::move_bytes(&connection);
    tell("ping");
    tell("alive");
    close(std::exchange(driver, -1));
    EXPECT_EQ(packets(), (texts{"reply 1 ping", "pushed 0 alive"}));
    EXPECT_FALSE(vrdx::move_bytes(&connection));
    EXPECT_EQ(connection.fd, -1);
    EXPECT_EQ(connection.end, outcome::gone);
}

TEST_F(ConnectionLoop, PacketInPiecesIsReadOnceItIsWhole) {
    const std::string bytes = written("alive", {{"epoch", first_epoch}}).bytes;
    send_all(driver, bytes.substr(0, bytes.size() - 1));
    EXPECT_EQ(packets(), texts{});
    send_all(driver, bytes.substr(bytes.size() - 1));
    EXPECT_EQ(packets(), texts{"pushed 0 alive"});
}

TEST_F(ConnectionLoop, WaitsForRoomOnlyWhileSomethingIsToBeWritten) {
    EXPECT_EQ(vrdx::poll_events(connection), POLLIN);
    const std::string text(comm_max_packet_bytes - 100, 'x');
    ASSERT_EQ(queue(written("large", {{"a", text}})), 1U);
    EXPECT_EQ(vrdx::poll_events(connection), POLLIN | POLLOUT);
    std::size_t read = 0;
    std::array<char, 65536> chunk{};
    while (vrdx::poll_events(connection) == (POLLIN | POLLOUT)) { // in as many pieces as the socket takes
        ASSERT_TRUE(vrdx::move_bytes(&connection));
        for (ssize_t count = 0; (count = recv(driver, chunk.data(), chunk.size(), 0)) > 0;)
            read += static_cast<std::size_t>(count);
    }
    EXPECT_GT(read, text.size());
    EXPECT_EQ(vrdx::poll_events(connection), POLLIN);
}

TEST_F(ConnectionLoop, OutgoingRequestsAreBounded) {
    const comm_socket_v4_packet large =
        written("large", {{"a", std::string(comm_max_packet_bytes - 100, 'x')}});
    for (int i = 0; i < 4; ++i)
        EXPECT_NE(queue(large), 0U);
    EXPECT_EQ(queue(large), 0U);
    EXPECT_EQ(connection.problem, "too many requests wait for the driver");
    EXPECT_LE(connection.outgoing.size(), vrdx::outgoing_bytes_limit);
}

TEST_F(ConnectionLoop, NoMoreIsReadWhileAWholePacketWaits) {
    const std::string bytes = written("change", {{"a", std::string(comm_max_packet_bytes - 100, 'x')}}).bytes;
    std::size_t sent = 0;
    while (vrdx::poll_events(connection) != 0) {
        const ssize_t count = send(driver, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        sent = count > 0 ? (sent + static_cast<std::size_t>(count)) % bytes.size() : sent;
        ASSERT_TRUE(vrdx::move_bytes(&connection));
    }
    EXPECT_LE(connection.received.size(), bytes.size() + vrdx::read_bytes_per_turn);
    EXPECT_TRUE(vrdx::next_packet(&connection, &packet));
    EXPECT_EQ(vrdx::poll_events(connection), POLLIN);
}

TEST_F(ConnectionLoop, WhatIsNoPacketEndsTheConnection) {
    tell("alive");
    send_all(driver, "nonsense");
    EXPECT_EQ(packets(), texts{"pushed 0 alive"});
    EXPECT_EQ(connection.fd, -1);
    EXPECT_EQ(connection.end, outcome::rejected);
}

TEST_F(ConnectionLoop, PacketsThatComeWhileAReplyIsAwaitedAreGivenOutAfterwards) {
    queue("watch");
    const std::uint64_t status = queue("status");
    tell("watch");
    tell("change");
    tell("status");
    tell("alive");
    comm_socket_v4_packet reply;
    ASSERT_EQ(vrdx::wait_for_reply(&connection, status, &reply, soon()), outcome::done);
    EXPECT_EQ(packets(), (texts{"reply 1 watch", "pushed 0 change", "pushed 0 alive"}));
    EXPECT_EQ(connection.kept_bytes, 0U);
}

TEST_F(ConnectionLoop, ReplyThatWasKeptIsFoundAgain) {
    const std::uint64_t ping = queue("ping");
    const std::uint64_t status = queue("status");
    tell("alive");
    tell("ping");
    tell("status");
    comm_socket_v4_packet reply;
    ASSERT_EQ(vrdx::wait_for_reply(&connection, status, &reply, soon()), outcome::done);
    ASSERT_EQ(vrdx::wait_for_reply(&connection, ping, &reply, soon()), outcome::done);
    EXPECT_STREQ(comm_socket_v4_packet_get_command(&reply), "ping");
    EXPECT_EQ(packets(), texts{"pushed 0 alive"});
}

TEST_F(ConnectionLoop, SomePacketIsWaitedForUntilTheDeadline) {
    EXPECT_EQ(vrdx::wait_for_packet(&connection, &packet, shortly()), outcome::late);
    tell("alive");
    EXPECT_EQ(vrdx::wait_for_packet(&connection, &packet, soon()), outcome::done);
    close(std::exchange(driver, -1));
    EXPECT_EQ(vrdx::wait_for_packet(&connection, &packet, soon()), outcome::gone);
}
