// Packets that the driver does not want yet.
#include "server_fixture.h"

#include <algorithm>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t large_reply =
    400000; // more than a socket takes at once, too little to pause the client

std::string held_command;                // what is to wait; empty: nothing
bool hold_again = false;                 // once a packet has been handled
std::vector<std::string> asked;          // command words that were asked about
std::vector<std::string> handled;        // first arguments of the packets that came through
std::vector<std::uint64_t> gone_clients; // ids

bool hold(const char* command, std::size_t, const comm_socket_v4_client*) {
    asked.emplace_back(command);
    return command == held_command;
}

int handle(comm_socket_v4_packet* packet, comm_socket_v4_packet* response, unsigned char*,
           comm_socket_v4_client*) {
    const std::string command = comm_socket_v4_packet_get_command(packet);
    const char* argument = comm_socket_v4_packet_get_argv(packet, 0);
    handled.push_back(command + " " + (argument != nullptr ? argument : ""));
    if (hold_again)
        held_command = "route";
    comm_socket_v4_packet_begin_writing(response, 0, command.c_str(), nullptr);
    comm_socket_v4_packet_write_argv_end(response);
    if (command == "large")
        comm_socket_v4_packet_write_nv_pair(response, "x", std::string(large_reply, 'x'));
    comm_socket_v4_packet_write_end(response);
    return 1;
}

class Hold : public server_fixture {
protected:
    Hold() {
        held_command = "route";
        hold_again = false;
        asked.clear();
        handled.clear();
        gone_clients.clear();
        vrdx_on_hold = hold;
        on_vrdx_custom_packet = handle;
        vrdx_on_client_gone = [](std::uint64_t id) { gone_clients.push_back(id); };
    }
    void hold_no_more() const {
        held_command.clear();
        serve();
    }
    static void advance_clock(std::uint64_t us) {
        clock_ahead_us += us;
    }
    [[nodiscard]] std::size_t buffered() const {
        return server_->clients.at(0)->input.size();
    }
};

const std::string large_route = request_bytes("route", {std::string(120000, '1')});

} // namespace

TEST_F(Hold, PacketAndWhatFollowsItWaitInOrder) {
    const auto client = connect();
    client->send_bytes(request_bytes("ping") + request_bytes("route", {"1=2"}) + request_bytes("status") +
                       request_bytes("route", {"3=4"}));
    serve();
    EXPECT_THAT(replies(*client), ElementsAre("ping"));
    EXPECT_THAT(handled, IsEmpty());
    hold_no_more();
    EXPECT_THAT(replies(*client), ElementsAre("route", "status", "route"));
    EXPECT_THAT(handled, ElementsAre("route 1=2", "status ", "route 3=4"));
}

TEST_F(Hold, OtherClientsGoOn) {
    const auto held = connect();
    const auto other = connect();
    held->send_bytes(request_bytes("route", {"1=2"}));
    serve();
    other->send_bytes(request_bytes("ping"));
    serve();
    EXPECT_THAT(replies(*other), ElementsAre("ping"));
    EXPECT_THAT(replies(*held), IsEmpty());
}

TEST_F(Hold, NobodyWaitsWithoutTheQuestion) {
    vrdx_on_hold = nullptr;
    const auto client = connect();
    client->send_bytes(request_bytes("route", {"1=2"}));
    serve();
    EXPECT_THAT(replies(*client), ElementsAre("route"));
}

TEST_F(Hold, IsAskedAsSoonAsTheCommandWordIsThere) {
    const auto client = connect();
    const std::size_t word_end = comm_packet_header_bytes + 1 + 4 + 5;
    client->send_bytes(large_route.substr(0, word_end - 1));
    serve();
    EXPECT_THAT(asked, IsEmpty());
    client->send_bytes(large_route.substr(word_end - 1, 1));
    serve();
    EXPECT_THAT(asked, testing::Contains("route"));
    client->send_bytes(large_route.substr(word_end, 50000));
    serve();
    EXPECT_EQ(buffered(), word_end) << "a held client is not read from";
}

TEST_F(Hold, AtMostOneReadIsBuffered) {
    const auto client = connect();
    client->send_bytes(large_route);
    serve();
    EXPECT_LE(buffered(), comm_read_bytes_per_turn);
}

TEST_F(Hold, IsAskedWithTheBeginningOfAWordThatIsTooLong) {
    const auto client = connect();
    client->send_bytes(request_bytes(std::string(1000, 'w')));
    serve();
    EXPECT_THAT(asked, ElementsAre(std::string(comm_told_command_bytes - 1, 'w')));
    EXPECT_THAT(handled, ElementsAre(std::string(1000, 'w') + " "));
}

TEST_F(Hold, HalfPacketIsNotCutAndItsTimeBeginsWhenItGoesOn) {
    const auto client = connect();
    client->send_bytes(large_route.substr(0, 100));
    serve();
    advance_clock(2 * comm_incomplete_packet_us);
    serve();
    EXPECT_FALSE(is_cut(*client));
    hold_no_more();
    advance_clock(comm_incomplete_packet_us - 1000000);
    serve();
    EXPECT_FALSE(is_cut(*client));
    advance_clock(1000000);
    serve();
    EXPECT_TRUE(is_cut(*client));
    EXPECT_THAT(trace(), testing::HasSubstr("Client cut: its packet stays incomplete (user 1000, "));
}

TEST_F(Hold, RepliesGoOnBeingDelivered) {
    const auto client = connect();
    client->send_bytes(request_bytes("large") + request_bytes("route"));
    serve();
    EXPECT_EQ(server_->held.size(), 1U);
    std::string bytes;
    for (std::size_t before = 1; bytes.size() > before || before == 1;) {
        before = bytes.size();
        bytes += received(*client);
        serve();
    }
    ASSERT_EQ(replies_in(bytes).size(), 1U);
    EXPECT_EQ(replies_in(bytes)[0].entry("x").size(), large_reply);
    EXPECT_EQ(server_->held.size(), 1U);
}

TEST_F(Hold, WhoDoesNotReadRepliesIsCutAllTheSame) {
    const auto client = connect();
    client->send_bytes(request_bytes("large") + request_bytes("route"));
    serve();
    EXPECT_EQ(server_->held.size(), 1U);
    advance_clock(comm_unread_replies_us);
    serve();
    EXPECT_THAT(trace(), testing::HasSubstr("Client cut: it does not read its replies (user 1000, "));
    EXPECT_THAT(gone_clients, testing::SizeIs(1));
    EXPECT_TRUE(server_->held.empty());
}

TEST_F(Hold, WhoHasHungUpIsForgottenByTheEventsAndHeardLater) {
    auto client = connect();
    client->send_bytes(request_bytes("route", {"1=2"}) + large_route);
    serve();
    client.reset();
    calls_made = {};
    wait_for_clients(100000);
    EXPECT_LE(calls_made.waits, 4) << "its end is told once, not again and again";
    EXPECT_THAT(handled, IsEmpty());
    EXPECT_THAT(gone_clients, IsEmpty());
    hold_no_more();
    EXPECT_THAT(handled, ElementsAre("route 1=2", "route " + std::string(120000, '1')));
    EXPECT_THAT(gone_clients, testing::SizeIs(1));
}

TEST_F(Hold, WhoIsLetGoOnInVainIsHeldAgain) {
    const auto first = connect();
    const auto second = connect();
    first->send_bytes(request_bytes("route", {"1=2"}));
    second->send_bytes(large_route.substr(0, 50000));
    serve();
    second->send_bytes(large_route.substr(50000));
    hold_again = true; // the first one uses up the room for both
    held_command.clear();
    serve();
    EXPECT_THAT(handled, ElementsAre("route 1=2"));
    EXPECT_EQ(server_->clients.at(1)->input.size(), 50000U) << "nor is it read from";
    hold_again = false;
    hold_no_more();
    EXPECT_EQ(handled.size(), 2U);
}

TEST_F(Hold, CostsAQuestionPerTurnAndNoSystemCall) {
    std::vector<std::unique_ptr<test_client>> clients;
    for (int i = 0; i < 100; ++i) {
        clients.push_back(connect());
        clients.back()->send_bytes(large_route.substr(0, 50000));
    }
    serve();
    asked.clear();
    calls_made = {};
    EXPECT_EQ(comm_socket_v4_clients_turn(server_), 0);
    EXPECT_EQ(asked.size(), 100U);
    EXPECT_EQ(calls_made.receives + calls_made.sends + calls_made.changes + calls_made.waits, 0);
    for (const auto& client : clients)
        client->send_bytes(large_route.substr(50000, 10000));
    calls_made = {};
    wait_for_clients(50000);
    EXPECT_LE(calls_made.waits, 4) << "what waits in their sockets does not wake anybody";
    hold_no_more();
    for (const auto& client : clients)
        client->send_bytes(large_route.substr(60000));
    serve();
    EXPECT_TRUE(server_->held.empty());
}

TEST_F(Hold, MalformedPacketIsNotAskedAbout) {
    const auto client = connect();
    std::string malformed = request_bytes("route");
    malformed[comm_packet_header_bytes] = 'A';
    client->send_bytes(malformed);
    serve();
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(trace(), testing::HasSubstr("Client cut: malformed packet"));
}
