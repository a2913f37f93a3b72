// Packets that nobody has just asked for: what the driver tells of its own accord, and replies that come
// later.
#include "server_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::uint64_t last_asker = 0; // the client whose reply is to come later

int answer_later(comm_socket_v4_packet* packet, comm_socket_v4_packet*, unsigned char* flags,
                 comm_socket_v4_client* client) {
    if (comm_socket_v4_packet_get_command(packet) != std::string("later"))
        return 0;
    last_asker = comm_socket_v4_client_peer(client).id;
    *flags |= comm_reply_comes_later;
    return 1;
}

class Push : public server_fixture {
protected:
    Push() {
        last_asker = 0;
        on_vrdx_custom_packet = answer_later;
    }
    // The one that connected last.
    [[nodiscard]] std::uint64_t newest() const {
        return server_->clients.back()->peer.id;
    }
    [[nodiscard]] std::uint64_t ask_later(const test_client& client) const {
        client.send_bytes(request_bytes("later"));
        serve();
        return last_asker;
    }
    [[nodiscard]] bool push_news(std::uint64_t id) const {
        return comm_socket_v4_push(server_, id, request_bytes("news"));
    }
    void answer(std::uint64_t id) const {
        comm_socket_v4_send_late_reply(server_, id, request_bytes("answer"));
    }
    // Pushes until the client's socket is full, and one packet more that is kept.
    [[nodiscard]] std::size_t push_until_it_waits(std::uint64_t id) const {
        std::size_t packets = 0;
        for (; comm_socket_v4_unread_by(server_, id) == 0; ++packets)
            comm_socket_v4_push(server_, id, large_news);
        return packets;
    }

    const std::string large_news = request_bytes("news", {std::string(30000, 'x')});
};

} // namespace

TEST_F(Push, ReachesItsClientAtOnceAndNobodyElse) {
    const auto other = connect();
    const auto client = connect();
    EXPECT_TRUE(push_news(newest()));
    EXPECT_THAT(replies(*client), ElementsAre("news"));
    EXPECT_THAT(replies(*other), IsEmpty());
    EXPECT_EQ(comm_socket_v4_client_count(server_), 2U);
}

TEST_F(Push, ToOneThatHasGoneTellsSo) {
    auto client = connect();
    const std::uint64_t id = newest();
    client.reset();
    serve();
    EXPECT_FALSE(push_news(id));
    EXPECT_FALSE(push_news(id + 1));
    EXPECT_FALSE(comm_socket_v4_push(nullptr, id, "x"));
    EXPECT_EQ(comm_socket_v4_unread_by(server_, id), 0U);
    EXPECT_EQ(comm_socket_v4_client_count(server_), 0U);
    EXPECT_EQ(comm_socket_v4_client_count(nullptr), 0U);
}

TEST_F(Push, StandsBehindTheRepliesThatWait) {
    const auto client = connect();
    const std::size_t waiting = push_until_it_waits(newest());
    client->send_bytes(request_bytes("ping"));
    serve();
    EXPECT_TRUE(push_news(newest()));
    std::string bytes;
    for (std::size_t before = 1; bytes.size() > before || before == 1;) {
        before = bytes.size();
        bytes += received(*client);
        serve();
    }
    const auto all = replies_in(bytes);
    ASSERT_EQ(all.size(), waiting + 2);
    EXPECT_EQ(all[waiting].command, "ping");
    EXPECT_EQ(all[waiting + 1].command, "news");
    EXPECT_EQ(comm_socket_v4_unread_by(server_, newest()), 0U);
}

TEST_F(Push, WhoTakesNothingOfItForFiveSecondsIsCut) {
    const auto client = connect();
    ASSERT_GT(push_until_it_waits(newest()), 0U);
    clock_ahead_us += comm_unread_replies_us - 1000000;
    serve();
    EXPECT_EQ(server_->clients.size(), 1U);
    clock_ahead_us += 1000000;
    serve();
    EXPECT_TRUE(server_->clients.empty());
    EXPECT_THAT(trace(), testing::HasSubstr("Client cut: it does not read its replies (user 1000, "));
}

TEST_F(Push, BoundedSendBufferKeepsLittleInTheKernel) {
    const auto plain = connect();
    const std::size_t usual = push_until_it_waits(newest());
    const auto bounded = connect();
    comm_socket_v4_bound_send_buffer(server_, newest(), 32768);
    const std::size_t few = push_until_it_waits(newest());
    EXPECT_LE(few, 4U); // twice what was asked for, and the one that waits
    EXPECT_GT(usual, few);
}

TEST_F(Push, HalfPacketOfTheClientKeepsItsClock) {
    const auto client = connect();
    client->send_bytes(request_bytes("ping").substr(0, 10));
    serve();
    clock_ahead_us += comm_incomplete_packet_us - 1000000;
    EXPECT_TRUE(push_news(newest()));
    clock_ahead_us += 1000000;
    serve();
    EXPECT_TRUE(server_->clients.empty());
    EXPECT_THAT(trace(), testing::HasSubstr("Client cut: its packet stays incomplete"));
}

// --- late replies ------------------------------------------------------------------------------------------

TEST_F(Push, LateReplyComesBehindTheRepliesToLaterRequests) {
    const auto client = connect();
    const std::uint64_t id = ask_later(*client);
    client->send_bytes(request_bytes("ping"));
    serve();
    EXPECT_THAT(replies(*client), ElementsAre("ping"));
    answer(id);
    EXPECT_THAT(replies(*client), ElementsAre("answer"));
}

TEST_F(Push, OneThatSendsNoMoreStaysForItsLateReplies) {
    const auto client = connect();
    const std::uint64_t id = ask_later(*client);
    EXPECT_EQ(ask_later(*client), id);
    shutdown(client->fd(), SHUT_WR);
    serve();
    EXPECT_EQ(server_->clients.size(), 1U);
    answer(id);
    serve();
    EXPECT_EQ(server_->clients.size(), 1U) << "one more is owed";
    answer(id);
    serve();
    EXPECT_TRUE(server_->clients.empty());
    EXPECT_EQ(replies_in(client->read_until_closed()).size(), 2U);
}

TEST_F(Push, OneThatSendsNoMoreDoesNotWakeAnybody) {
    const auto client = connect();
    const std::uint64_t id = ask_later(*client);
    shutdown(client->fd(), SHUT_WR);
    serve();
    calls_made = {};
    wait_for_clients(100000);
    EXPECT_LE(calls_made.waits, 4);
    EXPECT_EQ(calls_made.receives, 0);
    answer(id);
    serve();
    EXPECT_THAT(replies(*client), ElementsAre("answer"));
}

TEST_F(Push, OneThatHasHungUpDoesNotStayForItsLateReply) {
    auto client = connect();
    const std::uint64_t id = ask_later(*client);
    client.reset();
    wait_until("its end is seen", [&] {
        serve();
        return server_->clients.empty();
    });
    answer(id); // nobody is there, and nothing happens
    EXPECT_EQ(comm_socket_v4_client_count(server_), 0U);
}

TEST_F(Push, LateReplyIsReadInItsOwnTimeByOneThatSendsNoMore) {
    const auto client = connect();
    const std::uint64_t id = ask_later(*client);
    shutdown(client->fd(), SHUT_WR);
    const std::string large = request_bytes("answer", {std::string(400000, 'x')});
    serve();
    comm_socket_v4_send_late_reply(server_, id, large);
    serve();
    EXPECT_EQ(server_->clients.size(), 1U) << "it has not read all of it";
    std::string bytes;
    while (!server_->clients.empty()) {
        bytes += received(*client);
        serve();
    }
    bytes += received(*client);
    EXPECT_EQ(bytes, large);
}
