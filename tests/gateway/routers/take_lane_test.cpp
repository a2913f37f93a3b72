// What becomes of takes, whatever the driver does with them.
#include "gateway/routers/board_limits.h"
#include "gateway/routers/router_places.h"
#include "gateway/routers/take_lane.h"
#include "played_driver.h"
#include "socket_address.h"

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

using gateway::router_state;
using vrdx::take_word;
using ending_kind = decltype(gateway::take_ending::kind);

namespace {

// The driver answers nothing by itself; the test does.
class TakeLane : public PlayedDriver {
protected:
    std::vector<int> crowd;          // connections that are not taken
    std::vector<std::size_t> askers; // the connection of each of the driver's requests

    void begin() {
        start_driver_and_wait();
        keep_requests();
    }
    void keep_requests() {
        askers.clear();
        driver->request = [this](std::size_t connection, const comm_socket_v4_packet&) {
            askers.push_back(connection);
            return std::string();
        };
    }
    // Nobody is let in any more, until the driver hangs no longer.
    void begin_busy() {
        driver = std::make_unique<scripted_driver>(socket_path("studio"), first_epoch, 1);
        board->start();
        wait_for_state("studio", router_state::up);
        keep_requests();
        driver->hangs = true;
        for (;;) { // until no more may wait to be accepted
            crowd.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            if (connect_socket_path(crowd.back(), socket_path("studio")) != 0)
                break;
        }
    }
    void TearDown() override {
        for (const int fd : crowd)
            close(fd);
        PlayedDriver::TearDown();
    }
    void wait_for_requests(std::size_t count) {
        wait_for(std::to_string(count) + " requests", [&] { return driver->requests.size() == count; });
    }
    void answer(std::size_t which, const std::string& words = "confirmed") {
        driver->send_to(askers.at(which), take_answer(driver->requests.at(which), words, driver->epoch));
    }
    // Pushes the clock; the driver gives a sign of life, so that only the takes notice.
    void push_clock(std::uint64_t us) {
        clock_pushed_us += us;
        driver->tell(bytes_of("alive", {{"epoch", driver->epoch}}));
    }
};

} // namespace

TEST_F(TakeLane, AnAnswerHasTheOrdersIdAndTheDriverAnotherOne) {
    begin();
    const auto ending = take("studio", {{1, 2}});
    wait_for_requests(1);
    EXPECT_NE(entry_of(driver->requests[0], "id"), "of the asker");
    EXPECT_EQ(ending->times, 0);
    answer(0);
    EXPECT_EQ(wait_for_ending(ending).ending.answer.id, "of the asker");
    EXPECT_EQ(word_of(*ending), take_word::confirmed);
    EXPECT_TRUE(ending->ending.answer.all_confirmed);
}

TEST_F(TakeLane, AnswersMayComeInAnyOrder) {
    begin();
    const auto first = take("studio", {{1, 2}});
    const auto second = take("studio", {{2, 2}});
    wait_for_requests(2);
    EXPECT_EQ(askers[0], askers[1]); // one connection
    answer(1, "refused by the router: locked");
    EXPECT_EQ(word_of(wait_for_ending(second)), take_word::refused);
    EXPECT_EQ(second->ending.answer.results[0].result.text, "by the router: locked");
    EXPECT_EQ(first->times, 0);
    answer(0);
    EXPECT_EQ(word_of(wait_for_ending(first)), take_word::confirmed);
}

TEST_F(TakeLane, ALaneThatWaitsHoldsUpNoOther) {
    begin();
    std::vector<std::shared_ptr<kept_ending>> flood;
    for (std::size_t i = 0; i < gateway::lane_requests_limit; ++i)
        flood.push_back(take("studio", {{1, 1}}, "flooding"));
    wait_for_requests(flood.size());
    const auto beyond = take("studio", {{1, 1}}, "flooding");
    EXPECT_EQ(beyond->times, 0) << "told before take() has returned";
    EXPECT_EQ(wait_for_ending(beyond).ending.kind, ending_kind::too_many);
    EXPECT_NE(beyond->ending.reason, "");

    const auto calm = take("studio", {{2, 1}}, "calm");
    wait_for_requests(flood.size() + 1);
    EXPECT_NE(askers.back(), askers.front()); // a connection of its own
    answer(flood.size());
    EXPECT_EQ(word_of(wait_for_ending(calm)), take_word::confirmed);

    answer(0); // one place is free again
    wait_for_ending(flood[0]);
    const auto further = take("studio", {{1, 1}}, "flooding");
    wait_for_requests(flood.size() + 2);
    answer(flood.size() + 1);
    EXPECT_EQ(word_of(wait_for_ending(further)), take_word::confirmed);
}

TEST_F(TakeLane, OutputsThatWaitAreLimitedToo) {
    begin();
    std::vector<std::pair<int, int>> all;
    for (int output = 1; output <= 1024; ++output)
        all.emplace_back(output, 1);
    const std::size_t fit = gateway::lane_outputs_limit / all.size();
    const auto first = take("studio", all);
    for (std::size_t i = 1; i < fit; ++i)
        take("studio", all);
    EXPECT_EQ(wait_for_ending(take("studio", {{1, 1}})).ending.kind, ending_kind::too_many);
    wait_for_requests(fit);
    answer(0);
    wait_for_ending(first);
    take("studio", {{1, 1}});
    wait_for_requests(fit + 1);
}

TEST_F(TakeLane, WhatMayHaveBeenSentIsUnknownWhenTheConnectionBreaks) {
    begin();
    const auto sent = take("studio", {{1, 2}, {2, 3}});
    wait_for_requests(1);
    driver->close_connection(askers[0]);
    wait_for_ending(sent);
    EXPECT_EQ(sent->ending.kind, ending_kind::answered);
    ASSERT_EQ(sent->ending.answer.results.size(), 2U);
    EXPECT_EQ(sent->ending.answer.results[0].output, 1);
    EXPECT_EQ(sent->ending.answer.results[1].output, 2);
    EXPECT_EQ(word_of(*sent, 0), take_word::unknown);
    EXPECT_EQ(word_of(*sent, 1), take_word::unknown);
    EXPECT_FALSE(sent->ending.answer.all_confirmed);

    const auto next = take("studio", {{1, 4}});
    wait_for_requests(2); // what was unknown is not sent again
    answer(1);
    EXPECT_EQ(word_of(wait_for_ending(next)), take_word::confirmed);
    EXPECT_EQ(sent->times, 1);
}

TEST_F(TakeLane, NothingIsTakenTwiceWhenTheDriverIsStartedAnew) {
    begin();
    const auto before = take("studio", {{1, 2}});
    wait_for_requests(1);
    start_driver(second_epoch);
    keep_requests();
    EXPECT_EQ(word_of(wait_for_ending(before)), take_word::unknown);
    wait_for("the new driver's picture", [&] { return studio().picture.epoch == second_epoch; });
    const auto after = take("studio", {{1, 3}});
    wait_for_requests(1);
    answer(0);
    EXPECT_EQ(word_of(wait_for_ending(after)), take_word::confirmed);
    EXPECT_EQ(before->times, 1);
}

TEST_F(TakeLane, DriverThatWasReachedBeforeItsSocketWasNoticedIsNotLeft) {
    start_driver();
    keep_requests();
    gateway::take_lane lane(loop, socket_path("studio"));
    bool ended = false;
    lane.ask(gateway::rename_lane_request({{true, 1, "Gallery"}}, [&](const gateway::take_ending& ending) {
        ended = true;
        EXPECT_EQ(ending.kind, ending_kind::answered);
    }));
    wait_for_requests(1);
    const std::uint64_t inode = gateway::socket_inode_at(socket_path("studio"));
    lane.driver_exchanged(inode);
    EXPECT_EQ(lane.open_requests(), 1U) << "its answer is waited for";
    lane.driver_exchanged(inode + 1);
    EXPECT_EQ(lane.open_requests(), 0U) << "what was sent to the other driver ends as unknown";
    wait_for("the ending", [&] { return ended; });
}

TEST_F(TakeLane, AConnectionThatTheDriverClosedWhileUnusedIsMadeAnew) {
    begin();
    const auto first = take("studio", {{1, 2}});
    wait_for_requests(1);
    answer(0);
    wait_for_ending(first);
    driver->close_connection(askers[0]);
    const auto second = take("studio", {{1, 3}});
    wait_for_requests(2);
    answer(1);
    EXPECT_EQ(word_of(wait_for_ending(second)), take_word::confirmed);
}

TEST_F(TakeLane, ADriverThatDoesNotAnswerInTimeLeavesItUnknown) {
    begin();
    const auto short_one = take("studio", {{1, 2}}, "lane", 500);
    const auto long_one = take("studio", {{2, 2}}, "lane", 60000);
    wait_for_requests(2);
    push_clock(2000000);
    EXPECT_EQ(word_of(wait_for_ending(short_one)), take_word::unknown);
    answer(0); // too late
    answer(1);
    EXPECT_EQ(word_of(wait_for_ending(long_one)), take_word::confirmed);
    EXPECT_EQ(short_one->times, 1);
}

TEST_F(TakeLane, WhatWasNeverSentIsUnavailable) {
    begin_busy();
    const auto never_sent = take("studio", {{1, 2}}, "lane", 500);
    const auto sent_later = take("studio", {{2, 2}}, "lane", 60000);
    push_clock(2000000);
    wait_for_ending(never_sent);
    EXPECT_EQ(never_sent->ending.kind, ending_kind::unavailable);
    EXPECT_NE(never_sent->ending.reason, "");
    driver->hangs = false;
    wait_for_requests(1);
    EXPECT_EQ(entry_of(driver->requests[0], "within"), "60000");
    answer(0);
    EXPECT_EQ(word_of(wait_for_ending(sent_later)), take_word::confirmed);
}

TEST_F(TakeLane, WhatHasWaitedIsLookedAtOnceMoreRightBeforeItIsSent) {
    begin_busy();
    std::vector<std::string> order;
    const auto ask = [&](const std::string& name, const std::vector<int>& outputs) {
        vrdx::take_order wish;
        for (const int output : outputs)
            wish.takes.push_back({output, {3, 3}});
        auto kept = std::make_shared<kept_ending>();
        board->take("studio", "lane", std::move(wish), keep_in(kept), false,
                    [&order, name](vrdx::take_order* unsent) {
                        order.push_back(name + " is looked at");
                        std::erase_if(unsent->takes,
                                      [](const vrdx::output_take& each) { return each.output == 1; });
                    });
        return kept;
    };
    const auto some = ask("some", {1, 2});
    const auto none = ask("none", {1});
    wait_for("a turn of the loop", [&] { return board->open_requests() == 2; });
    EXPECT_TRUE(order.empty()) << "they wait until the driver lets the lane in";
    order.emplace_back("output 1 is locked");
    driver->hangs = false;
    wait_for_ending(none);
    EXPECT_EQ(none->ending.kind, ending_kind::answered);
    EXPECT_TRUE(none->ending.answer.error.empty());
    EXPECT_TRUE(none->ending.answer.results.empty());
    wait_for_requests(1);
    EXPECT_EQ(order,
              (std::vector<std::string>{"output 1 is locked", "some is looked at", "none is looked at"}));
    answer(0);
    wait_for_ending(some);
    ASSERT_EQ(some->ending.answer.results.size(), 1U);
    EXPECT_EQ(some->ending.answer.results[0].output, 2);
    EXPECT_EQ(word_of(*some), take_word::confirmed);
    EXPECT_EQ(driver->requests.size(), 1U) << "that of `none` was never sent";
    EXPECT_EQ(board->open_requests(), 0U);
}

TEST_F(TakeLane, ADriverWithoutAPlaceHasDoneNothing) {
    begin();
    driver->request = [](std::size_t, const comm_socket_v4_packet&) {
        return bytes_of("error", {}, 1, "too many clients of this user");
    };
    const auto turned_away = take("studio", {{1, 2}});
    wait_for_ending(turned_away);
    EXPECT_EQ(turned_away->ending.kind, ending_kind::unavailable);
    EXPECT_NE(turned_away->ending.reason.find("too many clients"), std::string::npos);
}

TEST_F(TakeLane, ADriverThatKnowsItIsToldUntilWhenATakeMayBeDone) {
    begin();
    driver->knows_until = true;
    const std::uint64_t before = boot_ms();
    take("studio", {{1, 2}}, "lane", 700);
    wait_for_requests(1);
    const std::uint64_t until = std::stoull(entry_of(driver->requests[0], "until"));
    const std::uint64_t answered_after = 700 + gateway::late_answer_us / 1000;
    EXPECT_GE(until + 1, before + answered_after);
    EXPECT_LE(until, boot_ms() + answered_after) << "when its asker is told that it is unknown";
}

TEST_F(TakeLane, AnEarlierMomentOfTheAskerCounts) {
    begin();
    driver->knows_until = true;
    vrdx::take_order order;
    order.takes = {{1, {2, 2}}};
    order.until_ms = 12345;
    board->take("studio", "lane", std::move(order), [](const gateway::take_ending&) {});
    wait_for_requests(1);
    EXPECT_EQ(entry_of(driver->requests[0], "until"), "12345");
}

TEST_F(TakeLane, AnOlderDriverIsSentTakesAsItKnowsThem) {
    begin();
    const auto ending = take("studio", {{1, 2}});
    wait_for_requests(1);
    EXPECT_EQ(driver->requests[0].entries.size(), 1U) << "its id alone";
    answer(0);
    EXPECT_EQ(word_of(wait_for_ending(ending)), take_word::confirmed);
}

TEST_F(TakeLane, ADriverThatIsExchangedIsAskedAnewWhatItKnows) {
    begin();
    driver->knows_until = true;
    take("studio", {{1, 2}});
    wait_for_requests(1);
    EXPECT_NE(entry_of(driver->requests[0], "until"), "");
    start_driver(second_epoch);
    keep_requests();
    wait_for("the older driver's picture", [&] { return studio().picture.epoch == second_epoch; });
    take("studio", {{1, 3}});
    wait_for_requests(1);
    EXPECT_EQ(entry_of(driver->requests[0], "until"), "");
}

TEST_F(TakeLane, ADriverThatStandsStillFromTheBeginningIsHandedNothing) {
    begin();
    driver->answers_features = false;
    const auto ending = take("studio", {{1, 2}}, "lane", 500);
    wait_for("the lane's connection", [&] { return driver->others() == 1; });
    push_clock(2000000);
    EXPECT_EQ(wait_for_ending(ending).ending.kind, ending_kind::unavailable);
    EXPECT_TRUE(driver->requests.empty());
}

TEST_F(TakeLane, ADriverThatLeavesBeforeItSaysWhatItKnowsWasHandedNothing) {
    begin();
    driver->answers_features = false;
    const std::size_t connections = driver->connections_ever();
    const auto ending = take("studio", {{1, 2}});
    wait_for("the lane's connection", [&] { return driver->connections_ever() > connections; });
    driver->close_connection(connections);
    EXPECT_EQ(wait_for_ending(ending).ending.kind, ending_kind::unavailable);
    EXPECT_TRUE(driver->requests.empty());
}

TEST_F(TakeLane, WhereNobodyListensATakeIsUnavailable) {
    board->start();
    for (const char* name : {"studio", "nobody"}) {
        const auto ending = take(name, {{1, 2}});
        EXPECT_EQ(ending->times, 0);
        EXPECT_EQ(wait_for_ending(ending).ending.kind, ending_kind::unavailable) << name;
        EXPECT_NE(ending->ending.reason, "") << name;
    }
}

TEST_F(TakeLane, ASilentDriverIsSentNothing) {
    begin();
    clock_pushed_us += 8000000;
    wait_for_state("studio", router_state::stale);
    const auto ending = take("studio", {{1, 2}});
    EXPECT_EQ(wait_for_ending(ending).ending.kind, ending_kind::unavailable);
    EXPECT_NE(ending->ending.reason.find("said nothing"), std::string::npos) << ending->ending.reason;
    EXPECT_TRUE(driver->requests.empty());
}

TEST_F(TakeLane, AnOrderThatIsWrongIsNotSent) {
    begin();
    const auto twice = take("studio", {{1, 2}, {1, 3}});
    const auto nothing = take("studio", {});
    EXPECT_NE(wait_for_ending(twice).ending.answer.error.find("twice"), std::string::npos);
    EXPECT_EQ(twice->ending.kind, ending_kind::answered);
    EXPECT_NE(wait_for_ending(nothing).ending.answer.error, "");
    EXPECT_TRUE(driver->requests.empty());
}

TEST_F(TakeLane, ADriverThatKnowsNoTakesSaysSo) {
    begin();
    driver->request = [](std::size_t, const comm_socket_v4_packet&) {
        return bytes_of("error", {}, 1, "unknown command 'take'");
    };
    EXPECT_EQ(wait_for_ending(take("studio", {{1, 2}})).ending.answer.error, "unknown command 'take'");
}

TEST_F(TakeLane, ADroppedLaneEndsItsTakesAndNoOthers) {
    begin();
    const auto dropped = take("studio", {{1, 2}}, "removed");
    const auto kept = take("studio", {{2, 2}}, "kept");
    wait_for_requests(2);
    board->drop_lane("removed");
    EXPECT_EQ(word_of(wait_for_ending(dropped)), take_word::unknown);
    wait_for("its connection is closed", [&] { return driver->others() == 1; });
    answer(1);
    EXPECT_EQ(word_of(wait_for_ending(kept)), take_word::confirmed);
}

TEST_F(TakeLane, AnUnusedConnectionIsClosedAfterAWhile) {
    begin();
    const auto ending = take("studio", {{1, 2}});
    wait_for_requests(1);
    answer(0);
    wait_for_ending(ending);
    EXPECT_EQ(driver->others(), 1U);
    for (std::uint64_t us = 0; us <= gateway::lane_idle_us; us += 4000000)
        push_clock(4000000);
    wait_for("it is closed", [&] { return driver->others() == 0; });
    EXPECT_EQ(studio().state, router_state::up);
}

TEST_F(TakeLane, AtTheEndEachTakeHasItsEnding) {
    begin();
    const auto sent = take("studio", {{1, 2}});
    wait_for_requests(1);
    board->stop();
    EXPECT_EQ(word_of(wait_for_ending(sent)), take_word::unknown);
    EXPECT_EQ(wait_for_ending(take("studio", {{1, 2}})).ending.kind, ending_kind::unavailable);
    wait_for("all connections are closed", [&] { return driver->watchers() + driver->others() == 0; });
}

TEST_F(TakeLane, ABoardThatGoesEndsNothingLater) {
    begin();
    const auto sent = take("studio", {{1, 2}});
    wait_for_requests(1);
    board.reset();
    wait_for("all connections are closed", [&] { return driver->watchers() + driver->others() == 0; });
    EXPECT_EQ(sent->times, 0);
}

// --- names -------------------------------------------------------------------------------------------------

class NewName : public TakeLane {
protected:
    std::shared_ptr<kept_ending> rename(bool output, int number, const std::string& name) {
        auto kept = std::make_shared<kept_ending>();
        board->rename("studio", "lane", output, number, name, keep_in(kept));
        return kept;
    }
};

TEST_F(NewName, IsHandedToTheDriver) {
    begin();
    driver->request = [](std::size_t, const comm_socket_v4_packet&) { return bytes_of("router set", {}); };
    EXPECT_EQ(wait_for_ending(rename(true, 2, "Studio A")).ending.answer.error, "");
    EXPECT_EQ(wait_for_ending(rename(false, 4, "")).ending.kind, ending_kind::answered);
    ASSERT_EQ(driver->requests.size(), 2U);
    EXPECT_EQ(comm_socket_v4_packet_get_command(&driver->requests[0]), std::string("router set"));
    EXPECT_EQ(entry_of(driver->requests[0], "output.2.name"), "Studio A");
    EXPECT_EQ(driver->requests[1].entries.size(), 1U);
}

TEST_F(NewName, GoesWithOthersInOneRequestOrNotAtAll) {
    begin();
    driver->request = [](std::size_t, const comm_socket_v4_packet&) { return bytes_of("router set", {}); };
    const auto together = [&](const std::vector<gateway::new_name>& names) {
        auto kept = std::make_shared<kept_ending>();
        board->rename_all("studio", "lane", names, keep_in(kept));
        return wait_for_ending(kept).ending.answer.error;
    };
    EXPECT_NE(together({{true, 2, "Studio A"}, {false, 5, "none"}}), "");
    EXPECT_TRUE(driver->requests.empty());
    EXPECT_EQ(together({{true, 2, "Studio A"}, {false, 4, "VTR"}}), "");
    ASSERT_EQ(driver->requests.size(), 1U);
    EXPECT_EQ(entry_of(driver->requests[0], "output.2.name"), "Studio A");
    EXPECT_EQ(entry_of(driver->requests[0], "input.4.name"), "VTR");
}

TEST_F(NewName, OfAPlaceThatThereIsNotIsRefused) {
    begin();
    for (const auto& [output, number] : {std::pair(true, 0), {true, 3}, {false, 5}, {false, -1}}) {
        const auto ending = rename(output, number, "x");
        EXPECT_NE(wait_for_ending(ending).ending.answer.error.find(output ? "1 to 2" : "1 to 4"),
                  std::string::npos)
            << ending->ending.answer.error;
    }
    EXPECT_NE(wait_for_ending(rename(true, 1, std::string(1025, 'x'))).ending.answer.error, "");
    EXPECT_NE(wait_for_ending(rename(true, 1, std::string("a\0b", 3))).ending.answer.error, "");
    EXPECT_TRUE(driver->requests.empty());
}

TEST_F(NewName, WithoutAnAnswerIsToldToBeUncertain) {
    begin();
    const auto ending = rename(true, 1, "x");
    wait_for_requests(1);
    push_clock(4000000);
    EXPECT_NE(wait_for_ending(ending).ending.answer.error.find("perhaps not"), std::string::npos);
}
