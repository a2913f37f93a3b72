#include "turns.h"
#include "waiting_clients.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <numeric>

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

class Turns : public waiting_clients {
protected:
    // So many connections of one user, each with four batches of so many takes on outputs of its own; one
    // message of the first is sent.
    static void flood_in_batches(uid_t user, std::int32_t connections, std::int32_t takes) {
        for (std::int32_t one = 0; one < connections; ++one) {
            std::vector<std::int32_t> outputs(static_cast<std::size_t>(takes));
            std::iota(outputs.begin(), outputs.end(), one * takes);
            const requester flooder = connect(user);
            for (std::int32_t batch = 0; batch < 4; ++batch)
                take(flooder, one, outputs);
        }
        move(1);
    }
    // Moves messages out up to the first that begins so, and counts those before it.
    static int messages_before(const char* beginning) {
        int count = 0;
        while (pending_line() != nullptr && !move(1).front().starts_with(beginning))
            ++count;
        return count;
    }
};

// --- how many messages a batch has -------------------------------------------------------------------------

TEST_F(Turns, SalvoThatFitsExactlyIsOneMessage) {
    waiting_batch salvo;
    salvo.salvo = true;
    salvo.commands.resize(salvo_commands);
    EXPECT_EQ(batch_messages(salvo), 1U);
    EXPECT_EQ(commands_in(salvo, 1), salvo_commands);
    salvo.commands.emplace_back();
    EXPECT_EQ(batch_messages(salvo), 2U);
    EXPECT_EQ(commands_in(salvo, 2), salvo_commands + 1);
}

// --- how many wait -----------------------------------------------------------------------------------------

TEST_F(Turns, AreFirstInFirstOutWhileFewWait) {
    const requester first = connect();
    const requester second = connect();
    std::vector<std::string> asked;
    for (int i = 0; i < 10; ++i) {
        take(first, 1, {i, i + 20});
        take(second, 2, {i + 40, i + 60});
        for (const char* source : {"1>", "2>"}) {
            const int output = *source == '1' ? i : i + 40;
            asked.insert(asked.end(),
                         {source + std::to_string(output), source + std::to_string(output + 20), "flush"});
        }
    }
    ASSERT_EQ(pending_line_count(), 60U);
    EXPECT_THAT(move_all(), ElementsAreArray(asked));
}

TEST_F(Turns, BeginAt64Messages) {
    for (const int flood_size : {62, 63}) {
        const requester flooder = connect();
        const requester quiet = connect();
        for (int i = 0; i < flood_size; ++i)
            send(flooder, "flood", i);
        send(quiet, "quiet", 100);
        const std::vector<std::string> moved = move_all();
        const auto place = std::find(moved.begin(), moved.end(), "quiet") - moved.begin();
        EXPECT_EQ(place, flood_size == 62 ? 62 : 0);
    }
}

TEST_F(Turns, QuietClientsTakeComesRightAfterTheBatchThatIsBeingSent) {
    const requester flooder = connect();
    flood(flooder, 1, 40);
    EXPECT_THAT(move(5), ElementsAre("1>0", "flush", "1>1", "flush", "1>2"));
    take(connect(), 2, {500});
    EXPECT_THAT(move(5), ElementsAre("flush", "2>500", "flush", "1>3", "flush"));
}

TEST_F(Turns, NeverInterruptABatch) {
    const requester flooder = connect();
    std::vector<std::int32_t> outputs(100);
    for (std::int32_t output = 0; output < 100; ++output)
        outputs[static_cast<std::size_t>(output)] = output;
    take(flooder, 1, outputs);
    EXPECT_THAT(move(1), ElementsAre("1>0"));
    for (std::int32_t output = 1; output < 100; ++output) {
        take(connect(), 2, {200 + output});
        EXPECT_THAT(move(1), ElementsAre("1>" + std::to_string(output)));
    }
    EXPECT_THAT(move(2), ElementsAre("flush", testing::StartsWith("2>")));
}

TEST_F(Turns, AlternateBetweenTwoFloods) {
    flood(connect(), 1, 40);
    flood(connect(), 2, 40, 100);
    for (int round = 0; round < 20; ++round) {
        const std::vector<std::string> moved = move_batches(2);
        EXPECT_EQ(count_of(moved, "1"), 1) << round;
        EXPECT_EQ(count_of(moved, "2"), 1) << round;
    }
}

TEST_F(Turns, GoByMessagesNotByBatches) {
    const requester large = connect();
    const requester small = connect();
    for (std::int32_t packet = 0; packet < 20; ++packet) {
        take(large, 1, {0, 1, 2, 3, 4, 5, 6});
        take(small, 2, {100 + packet});
    }
    const std::vector<std::string> moved = move(80); // eight messages each of the large, two of the small
    EXPECT_NEAR(static_cast<double>(count_of(moved, "1")) * 8 / 7, 40.0, 8.0);
    EXPECT_NEAR(static_cast<double>(count_of(moved, "2")) * 2, 40.0, 8.0);
}

TEST_F(Turns, ShortTakesOfAQuietConnectionWaitForOneLongBatchAtMostBesideTenConnectionsThatFlood) {
    const uid_t user = new_user();
    const requester quiet = connect(user);
    flood_in_batches(user, 10, 39);
    for (int i = 0; i < 5; ++i) {
        take(quiet, 999, {1000 + i});
        EXPECT_LE(messages_before("999>"), 39) << i; // the rest of the one being sent
        move(1);                                     // its flush
    }
}

TEST_F(Turns, LongBatchWaitsForTwoRoundsOfShorterOnesAtMost) {
    const uid_t user = new_user();
    const requester long_one = connect(user);
    flood_in_batches(user, 10, 39);
    std::vector<std::int32_t> outputs(500);
    std::iota(outputs.begin(), outputs.end(), 500);
    take(long_one, 999, outputs);
    EXPECT_LE(messages_before("999>"), 2 * 10 * 40);
}

TEST_F(Turns, AreNotSavedUp) {
    const requester idle = connect();
    take(idle, 1, {0});
    move_all();
    flood(connect(), 2, 60, 100);
    move_batches(30);
    flood(idle, 1, 30);
    EXPECT_LE(count_of(move_batches(20), "1"), 11) << "half of the turns, and the first one";
}

TEST_F(Turns, AreNotSavedUpByDroppedMessages) {
    const uid_t user = new_user();
    const requester dropped = connect(user);
    flood(dropped, 1, 60);
    drop_pending_lines();
    flood(connect(user), 2, 60, 100);
    move_batches(30);
    flood(dropped, 1, 30);
    EXPECT_LE(count_of(move_batches(20), "1"), 11) << "half of the turns, and the first one";
}

// --- order -------------------------------------------------------------------------------------------------

TEST_F(Turns, KeepTheOrderWithinAClient) {
    flood(connect(), 1, 60);
    const requester client = connect();
    std::vector<std::string> asked;
    for (std::int32_t packet = 0; packet < 30; ++packet) {
        take(client, 2, {200 - packet});
        asked.push_back("2>" + std::to_string(200 - packet));
    }
    std::vector<std::string> moved = move_all();
    std::erase_if(moved, [](const std::string& one) { return !one.starts_with("2>"); });
    EXPECT_THAT(moved, ElementsAreArray(asked));
}

TEST_F(Turns, KeepTheOrderOfDifferentClientsTakesOfTheSameOutput) {
    const requester flooder = connect();
    const requester quiet = connect();
    flood(flooder, 1, 40);
    take(quiet, 2, {500, 39});
    take(quiet, 2, {600});
    const std::vector<std::string> moved = move_all();
    const auto place = [&](const char* one) { return std::find(moved.begin(), moved.end(), one); };
    EXPECT_LT(place("1>39"), place("2>39"));
    EXPECT_LT(place("2>39"), place("2>600")) << "its own order holds its next take back, too";
}

TEST_F(Turns, HoldNobodyElseBackForTheSakeOfAnOutput) {
    flood(connect(), 1, 40);
    take(connect(), 2, {39});
    take(connect(), 3, {500});
    EXPECT_THAT(move(2), ElementsAre("3>500", "flush"));
}

TEST_F(Turns, KeepTheOrderOfATakeAndAPropertyOfTheSameOutput) {
    flood(connect(), 1, 40);
    send(connect(), "name of 39", 39);
    send(connect(), "name of 40", 40);
    const std::vector<std::string> moved = move_all();
    const auto place = [&](const char* one) { return std::find(moved.begin(), moved.end(), one); };
    EXPECT_EQ(place("name of 40"), moved.begin());
    EXPECT_LT(place("1>39"), place("name of 39"));
}

TEST_F(Turns, KeepTheOrderOfTakesOfOutputsThatNoRouterHas) {
    const requester flooder = connect();
    flood(flooder, 1, 40);
    take(flooder, 1, {5000});
    take(connect(), 2, {-1});
    const std::vector<std::string> moved = move_all();
    EXPECT_LT(std::find(moved.begin(), moved.end(), "1>5000"), std::find(moved.begin(), moved.end(), "2>-1"));
}

TEST_F(Turns, AmongEqualClientsTheOldestBatchIsNext) {
    std::vector<std::string> asked;
    for (std::int32_t client = 0; client < 40; ++client) {
        take(connect(), client, {client});
        asked.push_back(std::to_string(client) + ">" + std::to_string(client));
    }
    EXPECT_THAT(move_batches(40), ElementsAreArray(asked));
}

// --- takes that waited for a backend -----------------------------------------------------------------------

TEST_F(Turns, TakesOfSeveralClientsThatWaitedForABackendGoOutAsOneBatch) {
    commands_reach_backend = false;
    const requester first = connect();
    const requester second = connect();
    take(first, 1, {0, 1});
    take(second, 2, {1});
    take(first, 3, {2});
    EXPECT_THAT(move_all(), IsEmpty());
    commands_reach_backend = true;
    plan_route_changes();
    EXPECT_THAT(move_all(), ElementsAre("1>0", "1>1", "2>1", "3>2", "flush"));
}

TEST_F(Turns, NoMessageOfAClientPassesItsTakesThatWaitedForABackend) {
    commands_reach_backend = false;
    const requester first = connect();
    const requester second = connect();
    for (std::int32_t output = 0; output < 70; ++output)
        take(output % 2 == 0 ? first : second, 1, {output});
    commands_reach_backend = true;
    plan_route_changes();
    take(first, 2, {100});
    const std::vector<std::string> moved = move_all();
    EXPECT_LT(std::find(moved.begin(), moved.end(), "1>68"), std::find(moved.begin(), moved.end(), "2>100"));
}

} // namespace
