// The picture that is shown: whole or not at all, the driver's own while the driver tells, the last one
// after.
#include "played_driver.h"

#include <chrono>

using gateway::router_state;

namespace {

class Pictures : public PlayedDriver {
protected:
    // What was told of the router from this place on.
    [[nodiscard]] std::vector<kept_news> news_from(std::size_t place) const {
        std::vector<kept_news> some;
        for (std::size_t i = place; i < told.size(); ++i)
            if (told[i].name == "studio")
                some.push_back(told[i]);
        return some;
    }
    [[nodiscard]] const std::string& name_of_input(int number) {
        return studio().picture.inputs.at(static_cast<std::size_t>(number) - 1).name;
    }
    // One more change, after which all before it was read.
    void wait_for_all_read() {
        driver->tell_change({{"input 1", "the last change"}});
        wait_for("the last change", [&] { return name_of_input(1) == "the last change"; });
    }
    void wait_for_size(std::size_t inputs, std::size_t outputs) {
        wait_for("a router of that size", [&] {
            return studio().picture.inputs.size() == inputs && studio().picture.outputs.size() == outputs;
        });
    }
    [[nodiscard]] std::size_t untold_places() {
        std::size_t untold = 0;
        for (const auto& each : studio().picture.inputs)
            untold += each.told ? 0U : 1U;
        for (const auto& each : studio().picture.outputs)
            untold += each.told ? 0U : 1U;
        return untold;
    }
};

using numbers = std::vector<int>;

std::uint64_t now_ms() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count());
}

} // namespace

TEST_F(Pictures, TheFirstNewsIsThatTheRouterHasAppeared) {
    start_driver_and_wait();
    const auto news = news_from(0);
    EXPECT_TRUE(news.front().news.appeared);
    for (std::size_t i = 1; i < news.size(); ++i) {
        EXPECT_FALSE(news[i].news.appeared);
        if (!news[i].news.record_began) { // which changes nothing of what is shown
            EXPECT_GT(news[i].version, news[i - 1].version);
        }
    }
    EXPECT_TRUE(news.back().news.whole);
    EXPECT_TRUE(news.back().news.state_changed);
}

TEST_F(Pictures, AChangeIsToldWithItsPlaces) {
    start_driver_and_wait();
    const std::size_t before = told.size();
    const std::uint64_t version = studio().version;
    driver->tell_change({{"input 3", "Camera"}, {"output 2", "Monitor"}, {"output 2 sources", "3,3"}});
    wait_for("the change", [&] { return told.size() > before; });
    const auto news = news_from(before);
    ASSERT_EQ(news.size(), 1U);
    EXPECT_EQ(news[0].news.places.inputs, numbers{3});
    EXPECT_EQ(news[0].news.places.outputs, numbers{2});
    EXPECT_FALSE(news[0].news.whole);
    EXPECT_FALSE(news[0].news.state_changed);
    EXPECT_EQ(name_of_input(3), "Camera");
    EXPECT_EQ(studio().picture.outputs[1].sources, (vrdx::level_sources{3, 3}));
    EXPECT_EQ(studio().picture.sequence, driver->sequence);
    EXPECT_GT(studio().version, version);
}

TEST_F(Pictures, ASignOfLifeChangesNothing) {
    start_driver_and_wait();
    const std::size_t before = told.size();
    const std::uint64_t version = studio().version;
    driver->tell(bytes_of("alive", {{"epoch", driver->epoch}, {"sequence", "1"}, {"last take", "0"}}));
    EXPECT_EQ(studio().version, version);
    wait_for_all_read();
    EXPECT_EQ(news_from(before).size(), 1U);
}

TEST_F(Pictures, AChangeInManyPacketsIsShownOnceItIsWhole) {
    start_driver_and_wait();
    const std::size_t before = told.size();
    const std::uint64_t version = studio().version;
    driver->tell_change({{"input 4", "Fourth"}}, true);
    driver->tell_change({{"input 2", "Second"}}, true);
    driver->tell(bytes_of("takes", {{"epoch", driver->epoch}, {"lost", "2"}}));
    wait_for("the packet behind it", [&] { return told.size() > before; });
    EXPECT_EQ(name_of_input(4), "the input 4");
    EXPECT_EQ(studio().version, version);
    EXPECT_EQ(studio().state, router_state::up);
    EXPECT_EQ(news_from(before)[0].news.takes_lost, 2U);
    driver->tell_change({{"input 3", "Third"}});
    wait_for("all of it", [&] { return studio().version > version; });
    EXPECT_EQ(told.back().news.places.inputs, (numbers{2, 3, 4}));
    EXPECT_EQ(name_of_input(2) + name_of_input(3) + name_of_input(4), "SecondThirdFourth");
    EXPECT_EQ(studio().picture.sequence, driver->sequence);
}

TEST_F(Pictures, AChangeThatNeverEndsIsNotWaitedForForEver) {
    start_driver_and_wait();
    const std::size_t before = told.size();
    driver->tell_change({{"input 4", "Fourth"}}, true);
    driver->tell(bytes_of("takes", {{"epoch", driver->epoch}, {"lost", "1"}}));
    wait_for("the packet behind it", [&] { return told.size() > before; });
    clock_pushed_us += 40000000;
    driver->tell(bytes_of("alive", {{"epoch", driver->epoch}})); // it lives
    wait_for_state("studio", router_state::stale);
    EXPECT_NE(studio().reason.find("does not come to the end"), std::string::npos) << studio().reason;
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(name_of_input(4), "the input 4");
}

TEST_F(Pictures, AStateHasATimeSinceWhenUntilTheNextOne) {
    start_driver_and_wait();
    const std::uint64_t since = studio().since_ms;
    EXPECT_GT(since, 1700000000000U); // no count of a clock that began with the machine
    driver->tell_change({{"input 1", "Camera"}});
    wait_for("the change", [&] { return name_of_input(1) == "Camera"; });
    EXPECT_EQ(studio().since_ms, since);
    wait_for("another millisecond", [&] { return now_ms() > since; });
    driver.reset();
    wait_for_state("studio", router_state::no_driver);
    const std::uint64_t gone_since = studio().since_ms;
    EXPECT_GT(gone_since, since);
    std::filesystem::remove(socket_path("studio"));
    wait_for("another reason", [&] { return studio().reason.find("no socket") != std::string::npos; });
    EXPECT_EQ(studio().since_ms, gone_since);
}

TEST_F(Pictures, TheOldPictureStaysVisibleUntilTheNewOneIsWhole) {
    start_driver_and_wait();
    driver->tell_change({{"input 1", "of the old driver"}});
    wait_for("it", [&] { return name_of_input(1) == "of the old driver"; });
    driver.reset();
    wait_for_state("studio", router_state::no_driver);
    EXPECT_EQ(name_of_input(1), "of the old driver");
    EXPECT_FALSE(gateway::is_picture_true(studio().state));

    start_driver(second_epoch);
    std::string rest;
    driver->watch = [&] { // the first of two packets
        const std::string whole = driver->whole_picture(3);
        std::size_t first = 0;
        comm_socket_v4_packet_frame(reinterpret_cast<const unsigned char*>(whole.data()), whole.size(),
                                    &first);
        rest = whole.substr(first);
        return driver->watch_reply() + whole.substr(0, first);
    };
    wait_for_state("studio", router_state::reading);
    wait_for("the first packet", [&] { return !rest.empty(); });
    EXPECT_EQ(name_of_input(1), "of the old driver");
    EXPECT_EQ(studio().picture.epoch, first_epoch);
    driver->tell(rest);
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(name_of_input(1), "the input 1");
    EXPECT_EQ(studio().picture.epoch, second_epoch);
    EXPECT_TRUE(told.back().news.whole);
}

TEST_F(Pictures, ARouterMayGrowToTheLargestAndShrinkAgain) {
    start_driver_and_wait();
    const auto resize = [&](int inputs, int outputs) {
        driver->inputs = inputs;
        driver->outputs = outputs;
        told_entries entries = {{"inputs", std::to_string(inputs)}, {"outputs", std::to_string(outputs)}};
        for (int i = 1; i <= inputs; ++i) {
            entries.emplace_back("input " + std::to_string(i), "grown");
            if (i % 1000 == 0) {
                driver->tell_change(entries, true);
                entries.clear();
            }
        }
        for (int i = 1; i <= outputs; ++i)
            entries.emplace_back("output " + std::to_string(i), "grown");
        driver->tell_change(entries);
    };
    for (const auto& [inputs, outputs] : {std::pair(4096, 1024), {2, 1}, {4096, 1024}}) {
        resize(inputs, outputs);
        wait_for_size(static_cast<std::size_t>(inputs), static_cast<std::size_t>(outputs));
        EXPECT_EQ(untold_places(), 0U); // never half
        EXPECT_TRUE(told.back().news.whole);
        EXPECT_EQ(studio().state, router_state::up);
    }
    driver->close_connections(); // and as a whole anew
    wait_for_state("studio", router_state::reading);
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(name_of_input(4096), "the input 4096");
    EXPECT_EQ(untold_places(), 0U);
}

TEST_F(Pictures, ADriverThatTellsNoRouterYetIsNotUp) {
    start_driver();
    driver->inputs = driver->outputs = 0;
    driver->sequence = 0;
    board->start();
    wait_for_state("studio", router_state::link_down);
    EXPECT_NE(studio().reason.find("has not reported"), std::string::npos);
    driver->tell_change({{"inputs", "1"}, {"outputs", "1"}, {"input 1", "in"}, {"output 1", "out"}});
    wait_for_state("studio", router_state::up);
}

TEST_F(Pictures, DecidedTakesArePassedOn) {
    start_driver_and_wait();
    const std::uint64_t version = studio().version;
    driver->tell(bytes_of("takes", {{"epoch", driver->epoch},
                                    {"lost", "3"},
                                    {"take", "7"},
                                    {"time", "1000"},
                                    {"way", "take"},
                                    {"user", "1"},
                                    {"pid", "2"},
                                    {"by", "desk"},
                                    {"output", "2"},
                                    {"level", "all"},
                                    {"from", "1,1"},
                                    {"to", "3,3"},
                                    {"result", "confirmed"},
                                    {"milliseconds", "5"}}));
    wait_for("the take", [&] { return !told.back().news.takes.empty(); });
    EXPECT_EQ(told.back().news.takes_lost, 3U);
    EXPECT_EQ(told.back().news.takes[0].by, "desk");
    EXPECT_EQ(told.back().news.takes[0].output, 2);
    EXPECT_EQ(studio().version, version);
    EXPECT_EQ(studio().picture.last_take, 7U);

    driver->last_take = 11; // four more, while nobody watched
    driver->close_connections();
    wait_for_state("studio", router_state::reading);
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(told.back().news.takes_lost, 4U);
}

TEST_F(Pictures, ADriverThatLiesIsAskedMoreAndMoreSeldom) {
    start_driver();
    driver->watch = [] { return bytes_of("watch", {}); };
    board->start();
    wait_for_state("studio", router_state::stale);
    std::vector<std::uint64_t> attempts;
    wait_for("seven attempts", [&] {
        if (attempts.size() < driver->connections_ever())
            attempts.push_back(monotonic_us());
        return attempts.size() >= 7;
    });
    // Each pause is twice the one before, so that the last one alone is longer than all before it together.
    // It is never shorter than it has to be, however slow the machine.
    EXPECT_GE(attempts[6] - attempts[5], 300000U);
    EXPECT_EQ(studio().state, router_state::stale);
}

// --- listeners ---------------------------------------------------------------------------------------------

TEST_F(Pictures, AListenerMayStopItselfAndAskForWhateverItLikes) {
    int calls = 0;
    int number = 0;
    int nested_calls = 0;
    number = board->listen([&](const gateway::router_news& news) {
        ++calls;
        board->stop_listening(number);
        board->listen([&](const gateway::router_news&) { ++nested_calls; });
        take(news.router->name, {{1, 1}});
        board->drop_lane("lane");
    });
    start_driver_and_wait();
    EXPECT_EQ(calls, 1);
    EXPECT_GT(nested_calls, 0);
}
