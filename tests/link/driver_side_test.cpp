// The half of a backend that faces the driver, with a router that the test plays.
#include "driver_side.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DriverSide : public testing::Test {
protected:
    void announce(bool split_levels = false) {
        driver.state = router_state::ready;
        announce_size(driver, {4, 3, split_levels});
        told();
    }

    void hear(const std::string& command, const std::map<std::string, std::string>& fields) {
        protocol_requests requests;
        requests.switch_takes = [&](const endpoint_takes& takes, std::uint64_t) { switched = takes; };
        requests.set_properties = [&](const auto& properties) { set = properties; };
        requests.why_not_ready = [] { return "it is asleep"; };
        hear_driver(driver, {command, "", "command", "", fields}, 1000000, requests);
    }

    void take(const std::string& output, const std::string& source) {
        hear("route output", {{"queue", "add"}, {"to output", output}, {"from input", source}});
        hear("route output", {{"queue", "flush"}});
    }

    // The reports so far, as "outputs o0.input.all=3"; they are forgotten.
    std::vector<std::string> told() {
        report_news(driver);
        std::vector<std::string> texts;
        for (const TavrixAPIRouterMessage& report : std::exchange(driver.reports, {})) {
            std::string text = report.command;
            for (const auto& [name, value] : report.fields) {
                text.append(" ").append(name).append("=").append(value);
            }
            texts.push_back(text);
        }
        return texts;
    }

    driver_side driver;
    endpoint_takes switched;
    std::vector<endpoint_property> set;
};

} // namespace

TEST_F(DriverSide, TakesAreRefusedWhileTheRouterIsNotReady) {
    take("2", "3");
    EXPECT_THAT(switched, IsEmpty());
    EXPECT_THAT(told(), ElementsAre("refused from input=3 text=it is asleep to output=2"));
    EXPECT_THAT(driver.log, ElementsAre("<WARN>take to output 3 refused: it is asleep"));
}

TEST_F(DriverSide, TakesThatTheRouterCannotDoAreRefusedAndTheOthersAreNot) {
    announce();
    hear("route outputs", {{"expires", "2000"},
                           {"take.0000", "3 0"},
                           {"take.0001", "0 4"},
                           {"take.0002", "1 1 audio"},
                           {"take.0003", "2 none"}});
    EXPECT_THAT(told(), ElementsAre("refused from input=0 text=there is no output 4 to output=3",
                                    "refused from input=4 text=there is no input 5 to output=0",
                                    "refused control=audio from input=1 text=this router has no separate "
                                    "levels to output=1"));
    ASSERT_EQ(switched.size(), 1U);
    EXPECT_EQ(switched[0].output, 2);
}

TEST_F(DriverSide, SourceIsToldOnceItsTakeIsNotAwaitedAnyMore) {
    announce();
    await_take(driver.awaited, 0, 0, 3, never_expires);
    show_source(driver, 0, endpoint_level::all, 1);
    EXPECT_THAT(told(), IsEmpty());
    hear("report", {{"what", "outputs"}});
    EXPECT_THAT(told(), ElementsAre("outputs o1.input.all=unknown o2.input.all=unknown"));
    driver.awaited.clear();
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.all=1"));
}

TEST_F(DriverSide, SourcesAreUnknownUntilThePictureIsRead) {
    driver.state = router_state::reading;
    announce_size(driver, {2, 1, true});
    EXPECT_THAT(told(), ElementsAre("info inputs=2 output routing controls=video,audio outputs=1 salvo=yes",
                                    "outputs o0.input.audio=unknown o0.input.video=unknown"));
    show_source(driver, 0, endpoint_level::audio, 1);
    show_source(driver, 0, endpoint_level::video, no_source);
    EXPECT_THAT(told(), IsEmpty());
    driver.state = router_state::ready;
    EXPECT_THAT(told(), ElementsAre("outputs o0.input.audio=1 o0.input.video=none"));
}

TEST_F(DriverSide, NothingIsAnsweredAboutARouterThatIsForgotten) {
    announce();
    show_input(driver, 0, "name", "Camera");
    EXPECT_THAT(told(), ElementsAre("inputs i0.name=Camera"));
    forget_router(driver, router_state::away);
    hear("report", {{"what", "outputs"}});
    hear("report", {{"what", "inputs"}});
    show_input(driver, 0, "name", "Camera");
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(DriverSide, PropertiesOfPortsThatDoNotExistAreNotSet) {
    announce();
    hear("router set", {{"input.3.name", "A"}, {"input.4.name", "B"}, {"output.3.lock", "own"}});
    ASSERT_EQ(set.size(), 1U);
    EXPECT_EQ(set[0].value, "A");
    EXPECT_THAT(driver.log, ElementsAre("<WARN>property not set: there is no input 5",
                                        "<WARN>property not set: there is no output 4"));
}

TEST_F(DriverSide, LinkIsToldOncePerChange) {
    report_link(driver, false, "Connection refused");
    report_link(driver, false, "Connection refused");
    report_link(driver, true, "connected");
    report_link(driver, false, "Connection refused");
    EXPECT_THAT(told(), ElementsAre("link state=down text=Connection refused", "link state=up text=connected",
                                    "link state=down text=Connection refused"));
}

TEST_F(DriverSide, ManyOutputsAreNamedShortly) {
    EXPECT_EQ(shown_outputs({2}), "output 3");
    EXPECT_EQ(shown_outputs({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}), "outputs 1, 2, 3, 4, 5, 6, 7, 8 and 2 more");
}
