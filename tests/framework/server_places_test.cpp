// Who the server's clients are, and how many of each it lets in.
#include "server_fixture.h"

#include <map>

namespace {

using testing::HasSubstr;

constexpr uid_t somebody = 1000;
constexpr uid_t another = 2000;

std::vector<comm_socket_v4_peer> setting_clients;

// A server of 64 places: one user has 48 at the most, 4 are kept.
class Places : public server_fixture {
protected:
    Places() {
        setting_clients.clear();
        if (server_ != nullptr)
            server_->most_clients = 64;
    }
    // Connects `count` clients of this user; what the last one was answered, "" when it was let in.
    std::string come(uid_t user, int count) {
        std::string answer;
        next_peer.uid = user;
        for (int i = 0; i < count; ++i) {
            clients_[user].push_back(connect());
            const auto told = replies_in(received(*clients_[user].back()));
            answer = told.empty() ? "" : told[0].command + ": " + told[0].arguments.at(0);
        }
        return answer;
    }
    void go(uid_t user, std::size_t count) {
        clients_[user].resize(clients_[user].size() - count);
        serve();
    }
    static std::size_t lines(const std::string& trace, const std::string& text) {
        std::size_t count = 0;
        for (std::size_t at = trace.find(text); at != std::string::npos; at = trace.find(text, at + 1))
            ++count;
        return count;
    }

    std::map<uid_t, std::vector<std::unique_ptr<test_client>>> clients_;
};

const std::string none_left = "error: too many clients";
const std::string none_left_for_user = "error: too many clients of this user";

} // namespace

TEST_F(Places, ClientIsToldByNumbers) {
    next_peer = {4711, 1000, 100};
    const auto client = connect();
    EXPECT_EQ(trace(), "Client connected: user 1000, group 100, pid 4711\n");
}

TEST_F(Places, HandlersLearnWhoTheClientIs) {
    vrdx_on_set = [](void* context, const char*, const std::string&) {
        setting_clients.push_back(
            comm_socket_v4_client_peer(static_cast<const comm_socket_v4_client*>(context)));
    };
    next_peer = {4711, 1000, 100};
    const auto known = connect();
    peer_is_unknown = true;
    const auto unknown = connect();
    known->send_bytes(request_bytes("set", {}, {{"tally", "on"}}));
    serve();
    unknown->send_bytes(request_bytes("set", {}, {{"tally", "off"}}));
    serve();
    ASSERT_EQ(setting_clients.size(), 2U);
    EXPECT_EQ(setting_clients[0].user, 1000U);
    EXPECT_EQ(setting_clients[0].group, 100U);
    EXPECT_EQ(setting_clients[0].pid, 4711);
    EXPECT_EQ(setting_clients[1].user, static_cast<uid_t>(-1));
    EXPECT_EQ(setting_clients[1].group, static_cast<gid_t>(-1));
    EXPECT_EQ(setting_clients[1].pid, 0);
    EXPECT_EQ(setting_clients[1].id, setting_clients[0].id + 1);
    EXPECT_THAT(trace(), HasSubstr("Client connected: user unknown\n"));
}

TEST_F(Places, OneUserGetsThreeQuarters) {
    for (const uid_t user : {somebody, uid_t{0}, geteuid()}) {
        EXPECT_EQ(come(user, 48), "");
        EXPECT_EQ(come(user, 1), none_left_for_user);
        EXPECT_EQ(come(another, 1), "") << "others still find a place";
        go(user, 2); // one that was let in, and the one that was not
        EXPECT_EQ(come(user, 1), "");
        EXPECT_EQ(come(user, 1), none_left_for_user);
        clients_.clear();
        serve();
    }
}

TEST_F(Places, LastOnesAreForRootAndTheDriversOwnUser) {
    come(somebody, 48);
    EXPECT_EQ(come(another, 12), "");
    EXPECT_EQ(come(another, 1), none_left);
    EXPECT_EQ(come(somebody, 1), none_left);
    EXPECT_EQ(come(0, 2), "");
    EXPECT_EQ(come(geteuid(), 2), "");
    EXPECT_EQ(come(0, 1), none_left);
    EXPECT_EQ(come(geteuid(), 1), none_left);
    go(another, 3);
    EXPECT_EQ(come(0, 1), "");
}

TEST_F(Places, OfAUserWhoHasGoneAreNotRemembered) {
    come(somebody, 3);
    go(somebody, 3);
    EXPECT_TRUE(server_->places_of.empty());
}

TEST_F(Places, RefusalsOfOneReasonAreToldOnceInFiveSeconds) {
    come(somebody, 48 + 10);
    const std::string first = trace();
    EXPECT_EQ(lines(first, "Client refused: "), 1U);
    EXPECT_THAT(first, HasSubstr("Client refused: 48 of this user are connected (user 1000, group 1000, pid "
                                 "4711)\n"));
    come(another, 12 + 5);
    EXPECT_THAT(trace(), HasSubstr("Client refused: 60 are connected (user 2000, group 1000, pid 4711)\n"))
        << "another reason is told apart";
    go(another, 17);
    clock_ahead_us += comm_refusals_us;
    come(somebody, 3);
    const std::string later = trace();
    EXPECT_EQ(lines(later, "Client refused: "), 1U);
    EXPECT_THAT(later, HasSubstr("Client refused: 48 of this user are connected (user 1000, group 1000, pid "
                                 "4711), as were 9 before it\n"));
}

TEST_F(Places, ClientsAreNumberedInTheOrderOfArrivalForEver) {
    std::uint64_t last = 0;
    for (int round = 0; round < 3; ++round) {
        come(somebody, 3);
        for (const auto& client : server_->clients) {
            EXPECT_GT(comm_socket_v4_client_peer(client.get()).id, last);
            last = comm_socket_v4_client_peer(client.get()).id;
        }
        go(somebody, 3);
    }
}
