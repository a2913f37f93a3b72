#include "waiting_clients.h"

#include <algorithm>
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

using TurnsOfUsers = waiting_clients;

TEST_F(TurnsOfUsers, AreSharedByUsersBeforeConnections) {
    const uid_t many = new_user();
    for (std::int32_t number = 0; number < 9; ++number)
        flood(connect(many), 1, 10, number * 10);
    flood(connect(), 2, 40, 200);
    const std::vector<std::string> moved = move_batches(40);
    EXPECT_EQ(count_of(moved, "1"), 20);
    EXPECT_EQ(count_of(moved, "2"), 20);
}

TEST_F(TurnsOfUsers, AreSharedByTheConnectionsOfAUser) {
    const uid_t user = new_user();
    for (std::int32_t number = 0; number < 4; ++number)
        flood(connect(user), number, 20, number * 20);
    const std::vector<std::string> moved = move_batches(20);
    for (const char* source : {"0", "1", "2", "3"})
        EXPECT_EQ(count_of(moved, source), 5) << source;
}

class TurnsInACrowd : public TurnsOfUsers, public testing::WithParamInterface<bool> {};

TEST_P(TurnsInACrowd, QuietClientComesRightAfterTheBatchThatIsBeingSentEachTime) {
    const bool one_user = GetParam();
    const uid_t user = new_user();
    for (std::int32_t number = 0; number < 10; ++number)
        flood(one_user ? connect(user) : connect(), 1, 40, number * 40);
    const requester quiet = one_user ? connect(user) : connect();
    for (int round = 0; round < 20; ++round) {
        move(2 * 15);
        EXPECT_THAT(move(1), ElementsAre(testing::StartsWith("1>")));
        take(quiet, 2, {500});
        EXPECT_THAT(move(3), ElementsAre("flush", "2>500", "flush")) << round;
    }
}

INSTANTIATE_TEST_SUITE_P(TenFlooders, TurnsInACrowd, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "OfItsUser" : "OfOtherUsers"; });

TEST_F(TurnsOfUsers, OfConnectionsThatAreGoneAreOne) {
    const uid_t user = new_user();
    flood(connect(user), 1, 40);
    for (std::int32_t number = 0; number < 40; ++number) {
        const requester brief = connect(user);
        take(brief, 2, {200 + number});
        requester_gone(brief.connection);
    }
    const std::vector<std::string> moved = move_batches(40);
    EXPECT_EQ(count_of(moved, "1"), 20);
    EXPECT_EQ(count_of(moved, "2"), 20);
    EXPECT_LT(std::find(moved.begin(), moved.end(), "2>200"), std::find(moved.begin(), moved.end(), "2>201"));
}

TEST_F(TurnsOfUsers, StayWithAUserWhoseConnectionsComeAndGo) {
    flood(connect(), 1, 60);
    const uid_t user = new_user();
    for (std::int32_t number = 0; number < 60; ++number) {
        const requester brief = connect(user);
        take(brief, 2, {200 + number});
        if (number % 2 == 0)
            requester_gone(brief.connection);
    }
    const std::vector<std::string> moved = move_batches(40);
    EXPECT_EQ(count_of(moved, "1"), 20);
}

TEST_F(TurnsOfUsers, KeepTheOrderOfAClientThatLeaves) {
    const uid_t user = new_user();
    const requester first = connect(user);
    const requester second = connect(user);
    std::vector<std::string> asked;
    for (std::int32_t packet = 0; packet < 20; ++packet) {
        take(first, 1, {packet});
        take(second, 2, {100 + packet});
        asked.push_back("1>" + std::to_string(packet));
        asked.push_back("2>" + std::to_string(100 + packet));
    }
    requester_gone(second.connection);
    requester_gone(first.connection);
    EXPECT_THAT(move_batches(40), ElementsAreArray(asked)) << "in one turn, the oldest first";
}

TEST_F(TurnsOfUsers, ConnectingAgainWhileTheBatchWaitsGainsNone) {
    const uid_t user = new_user();
    flood(connect(user), 1, 40);
    for (std::int32_t number = 0; number < 10; ++number) {
        const requester brief = connect(user);
        take(brief, 2, {200 + number});
        requester_gone(brief.connection);
        move(2);
    }
    const std::vector<std::string> moved = move_batches(10);
    EXPECT_EQ(count_of(moved, "2"), 5);
}

TEST_F(TurnsOfUsers, ConnectingAgainOnceTheBatchIsSentGainsNone) {
    const uid_t user = new_user();
    flood(connect(user), 1, 60);
    std::vector<std::string> moved;
    for (std::int32_t number = 0; number < 10; ++number) {
        const requester brief = connect(user);
        take(brief, 2, {200 + number});
        for (const std::string& one : move_batches(1))
            moved.push_back(one);
        requester_gone(brief.connection);
    }
    EXPECT_LE(count_of(moved, "2"), 6) << "it would have had every second turn, had it stayed";
}

} // namespace
