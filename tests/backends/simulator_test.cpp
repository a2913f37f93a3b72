#include "simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

using entries = std::map<std::string, std::string>;

namespace {

constexpr std::uint64_t noon = 1000000; // some moment, microseconds

TavrixAPIRouterMessage message_of(const std::string& command, const std::string& type,
                                  const entries& fields) {
    TavrixAPIRouterMessage message;
    message.command = command;
    message.type = type;
    message.fields = fields;
    return message;
}

TavrixAPIRouterMessage take_of(const std::string& input, const std::string& output,
                               const std::string& control = "") {
    auto take = message_of("route output", "command",
                           {{"queue", "add"}, {"from input", input}, {"to output", output}});
    if (!control.empty()) {
        take.fields["control"] = control;
    }
    return take;
}

// What one message or moment led to.
struct outcome {
    std::vector<TavrixAPIRouterMessage> reports;
    log_lines log;
    bool router_changed = false;
};

class Simulator : public testing::Test {
protected:
    void SetUp() override {
        use_router(4, 3, false);
    }

    void use_router(int inputs, int outputs, bool split_levels) {
        simulated.router = new_router(inputs, outputs, split_levels);
        announce_router(simulated);
        announced = finish();
    }

    outcome finish() {
        return {std::exchange(simulated.driver.reports, {}), std::exchange(simulated.driver.log, {}),
                std::exchange(simulated.router_changed, false)};
    }

    outcome handle(const TavrixAPIRouterMessage& message, std::uint64_t now = noon) {
        handle_message(simulated, message, now);
        return finish();
    }

    outcome run_due(std::uint64_t now) {
        run_due_takes(simulated, now);
        return finish();
    }

    outcome flush(std::uint64_t now = noon) {
        return handle(message_of("route output", "command", {{"queue", "flush"}}), now);
    }

    // Expects a warning and nothing else.
    void expect_skipped(const TavrixAPIRouterMessage& message) {
        const outcome outcome = handle(message);
        EXPECT_THAT(outcome.log, ElementsAre(StartsWith("<WARN>")));
        EXPECT_THAT(outcome.reports, IsEmpty());
        EXPECT_FALSE(outcome.router_changed);
        EXPECT_THAT(simulated.driver.collected.takes, IsEmpty());
    }

    entries outputs_now() {
        return handle(message_of("report", "command", {{"what", "outputs"}})).reports.at(0).fields;
    }

    simulator simulated;
    outcome announced;
};

entries fields_of_only_report(const outcome& outcome) {
    if (outcome.reports.size() != 1) {
        ADD_FAILURE() << outcome.reports.size() << " reports";
        return {};
    }
    EXPECT_EQ(outcome.reports.front().type, "message");
    return outcome.reports.front().fields;
}

} // namespace

TEST_F(Simulator, NewRouterShowsEachInputOnTheOutputOfTheSameNumber) {
    use_router(2, 3, false);
    ASSERT_THAT(announced.reports, SizeIs(3));
    EXPECT_THAT(announced.reports[2].fields,
                ElementsAre(Pair("o0.input.all", "0"), Pair("o0.name", "Output 1"), Pair("o1.input.all", "1"),
                            Pair("o1.name", "Output 2"), Pair("o2.input.all", "none"),
                            Pair("o2.name", "Output 3")));
    EXPECT_THAT(announced.reports[1].fields,
                ElementsAre(Pair("i0.name", "Input 1"), Pair("i1.name", "Input 2")));
}

TEST_F(Simulator, InfoTellsTheSizeAndTheLevels) {
    EXPECT_THAT(announced.reports[0].fields,
                ElementsAre(Pair("inputs", "4"), Pair("outputs", "3"), Pair("salvo", "yes")));
    use_router(1, 1, true);
    EXPECT_THAT(announced.reports[0].fields, Contains(Pair("output routing controls", "video,audio")));
}

TEST_F(Simulator, ReportAnswersWithNamesAndRouting) {
    const auto outputs = handle(message_of("report", "command", {{"what", "outputs"}}));
    EXPECT_EQ(fields_of_only_report(outputs), announced.reports[2].fields);
    EXPECT_EQ(outputs.reports.front().command, "outputs");
    const auto inputs = handle(message_of("report", "command", {{"what", "inputs"}}));
    EXPECT_EQ(fields_of_only_report(inputs), announced.reports[1].fields);
    EXPECT_EQ(inputs.reports.front().command, "inputs");
}

TEST_F(Simulator, ReportOfSomethingElseIsSkipped) {
    expect_skipped(message_of("report", "command", {{"what", "weather"}}));
    expect_skipped(message_of("report", "command", {}));
}

TEST_F(Simulator, TakeWaitsForItsFlush) {
    const auto added = handle(take_of("3", "0"));
    EXPECT_THAT(added.reports, IsEmpty());
    EXPECT_THAT(added.log, IsEmpty());
    EXPECT_EQ(simulated.router.outputs[0].video_input, 0);

    const auto flushed = flush();
    EXPECT_THAT(fields_of_only_report(flushed), ElementsAre(Pair("o0.input.all", "3")));
    EXPECT_EQ(flushed.reports.front().command, "outputs");
    EXPECT_THAT(flushed.log, ElementsAre("<INFO>took 1 crosspoint"));
    EXPECT_TRUE(flushed.router_changed);
}

TEST_F(Simulator, OneFlushMakesOneReport) {
    handle(take_of("3", "0"));
    handle(take_of("none", "2"));
    const auto flushed = flush();
    EXPECT_THAT(fields_of_only_report(flushed),
                ElementsAre(Pair("o0.input.all", "3"), Pair("o2.input.all", "none")));
    EXPECT_THAT(flushed.log, ElementsAre("<INFO>took 2 crosspoints"));
}

TEST_F(Simulator, LaterTakeOfTheSameOutputWins) {
    handle(take_of("3", "0"));
    handle(take_of("1", "0"));
    EXPECT_THAT(fields_of_only_report(flush()), ElementsAre(Pair("o0.input.all", "1")));
}

TEST_F(Simulator, TakeOfTheSourcePresentIsConfirmedWithoutAChange) {
    handle(take_of("1", "1"));
    const auto flushed = flush();
    EXPECT_THAT(fields_of_only_report(flushed), ElementsAre(Pair("o1.input.all", "1")));
    EXPECT_FALSE(flushed.router_changed);
}

TEST_F(Simulator, FlushOfNothingReportsNothing) {
    const auto flushed = flush();
    EXPECT_THAT(flushed.reports, IsEmpty());
    EXPECT_THAT(flushed.log, ElementsAre("<INFO>took 0 crosspoints"));
}

TEST_F(Simulator, SplitTakesSwitchOneLevelEach) {
    use_router(4, 3, true);
    handle(take_of("3", "1", "video"));
    EXPECT_THAT(fields_of_only_report(flush()),
                ElementsAre(Pair("o1.input.audio", "1"), Pair("o1.input.video", "3")));
    handle(take_of("none", "1", "audio"));
    EXPECT_THAT(fields_of_only_report(flush()),
                ElementsAre(Pair("o1.input.audio", "none"), Pair("o1.input.video", "3")));
    handle(take_of("2", "1"));
    EXPECT_THAT(fields_of_only_report(flush()),
                ElementsAre(Pair("o1.input.audio", "2"), Pair("o1.input.video", "2")));
}

TEST_F(Simulator, TakeOfOneLevelIsSkippedOnARouterWithoutLevels) {
    handle(take_of("3", "1", "video"));
    EXPECT_THAT(flush().log, Contains("<WARN>take to output 2 refused: this router has no separate levels"));
}

TEST_F(Simulator, TakeOfAnUnknownLevelIsSkipped) {
    use_router(4, 3, true);
    expect_skipped(take_of("3", "1", "smell"));
}

TEST_F(Simulator, UnreadableTakesAreSkipped) {
    for (const char* const output : {"-1", "1024", "-99999999999999999999", "", "1x", " 1"}) {
        expect_skipped(take_of("0", output));
    }
    for (const char* const input : {"4096", "-1", "99999999999999999999", "", "None", "0x1", "1 "}) {
        expect_skipped(take_of(input, "0"));
    }
}

TEST_F(Simulator, TakesBeyondTheRouterAreRefusedAndCountFromOne) {
    handle(take_of("0", "3"));
    handle(take_of("4", "0"));
    const auto flushed = flush();
    EXPECT_THAT(flushed.log, ElementsAre("<WARN>take to output 4 refused: there is no output 4",
                                         "<WARN>take to output 1 refused: there is no input 5",
                                         "<INFO>took 0 crosspoints"));
    ASSERT_THAT(flushed.reports, SizeIs(2));
    EXPECT_EQ(flushed.reports[1].command, "refused");
    EXPECT_THAT(
        flushed.reports[1].fields,
        ElementsAre(Pair("from input", "4"), Pair("text", "there is no input 5"), Pair("to output", "0")));
}

TEST_F(Simulator, RefusedOutputIsNeitherSwitchedNorShown) {
    simulated.settings.refused_outputs = {1};
    handle(take_of("3", "0"));
    handle(take_of("3", "1"));
    const auto flushed = flush();
    ASSERT_THAT(flushed.reports, SizeIs(2));
    EXPECT_THAT(flushed.reports[0].fields,
                ElementsAre(Pair("from input", "3"), Pair("text", "output 2 refuses to switch"),
                            Pair("to output", "1")));
    EXPECT_THAT(flushed.reports[1].fields, ElementsAre(Pair("o0.input.all", "3")));
    EXPECT_THAT(flushed.log, ElementsAre("<WARN>output 2 refuses to switch", "<INFO>took 1 crosspoint"));
    EXPECT_EQ(simulated.router.outputs[1].video_input, 1);
}

TEST_F(Simulator, SalvoInOneMessageIsSwitchedWhenItIsWhole) {
    use_router(4, 3, true);
    const auto salvo = message_of("route outputs", "command",
                                  {{"expires", "1001"},
                                   {"take.0000", "0 3 video"},
                                   {"take.0001", "2 none"},
                                   {"take.0002", "0 2 audio"},
                                   {"take.0003", "x 1"}});
    const auto switched = handle(salvo);
    EXPECT_THAT(fields_of_only_report(switched),
                ElementsAre(Pair("o0.input.audio", "2"), Pair("o0.input.video", "3"),
                            Pair("o2.input.audio", "none"), Pair("o2.input.video", "none")));
    EXPECT_THAT(switched.log,
                ElementsAre("<WARN>take to the unreadable output 'x' skipped", "<INFO>took 3 crosspoints"));
}

TEST_F(Simulator, SalvoThatCameTooLateIsRefusedTakeByTake) {
    const auto late = handle(message_of("route outputs", "command",
                                        {{"expires", "1000"}, {"take.0000", "0 3"}, {"take.0001", "1 3"}}));
    ASSERT_THAT(late.reports, SizeIs(2));
    EXPECT_THAT(late.reports[1].fields,
                ElementsAre(Pair("from input", "3"), Pair("text", "came too late"), Pair("to output", "1")));
    EXPECT_EQ(simulated.router.outputs[0].video_input, 0);
}

TEST_F(Simulator, SalvoThatIsDelayedBeyondItsTimeIsRefused) {
    simulated.settings.delay_ms = 500;
    handle(message_of("route outputs", "command", {{"expires", "1400"}, {"take.0000", "0 3"}}));
    const outcome due = run_due(noon + 500000);
    EXPECT_THAT(fields_of_only_report(due), Contains(Pair("text", "came too late")));
    EXPECT_EQ(simulated.router.outputs[0].video_input, 0);
}

TEST_F(Simulator, SalvoWithAnUnreadableTimeToEndAtIsSkippedAndOneWithoutIsDone) {
    expect_skipped(message_of("route outputs", "command", {{"take.0000", "0 3"}, {"expires", "soon"}}));
    EXPECT_EQ(simulated.router.outputs[0].video_input, 0);
    handle(message_of("route outputs", "command", {{"take.0000", "0 3"}}));
    EXPECT_EQ(simulated.router.outputs[0].video_input, 3);
}

TEST_F(Simulator, SalvosInOneMessageAreOfferedUnlessTheItemSaysNo) {
    log_lines log;
    simulated.settings = settings_from_item({{"simulated salvo", "no"}}, "item", log);
    use_router(4, 3, false);
    EXPECT_THAT(announced.reports[0].fields, ElementsAre(Pair("inputs", "4"), Pair("outputs", "3")));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(Simulator, DelayedFlushIsTakenWhenItIsDue) {
    simulated.settings.delay_ms = 500;
    handle(take_of("3", "0"));
    const auto flushed = flush(noon);
    EXPECT_THAT(flushed.reports, IsEmpty());
    EXPECT_THAT(flushed.log, IsEmpty());
    EXPECT_EQ(next_due_time(simulated), noon + 500000);

    const outcome early = run_due(noon + 499999);
    EXPECT_THAT(early.reports, IsEmpty());
    EXPECT_EQ(simulated.router.outputs[0].video_input, 0);

    const outcome due = run_due(noon + 500000);
    EXPECT_THAT(fields_of_only_report(due), ElementsAre(Pair("o0.input.all", "3")));
    EXPECT_EQ(next_due_time(simulated), never_expires);
}

TEST_F(Simulator, SeveralFlushesAreUnderWayAtOnce) {
    simulated.settings.delay_ms = 500;
    handle(take_of("3", "0"));
    flush(noon);
    handle(take_of("2", "1"));
    flush(noon + 100000);
    EXPECT_EQ(next_due_time(simulated), noon + 500000);

    const outcome outcome = run_due(noon + 600000);
    ASSERT_THAT(outcome.reports, SizeIs(2));
    EXPECT_THAT(outcome.reports[0].fields, ElementsAre(Pair("o0.input.all", "3")));
    EXPECT_THAT(outcome.reports[1].fields, ElementsAre(Pair("o1.input.all", "2")));
    EXPECT_THAT(outcome.log, ElementsAre("<INFO>took 1 crosspoint", "<INFO>took 1 crosspoint"));
}

// The driver would take the old source for the router's answer to the take.
TEST_F(Simulator, ReportKeepsQuietAboutTheRoutingOfDelayedTakes) {
    use_router(4, 3, true);
    simulated.settings.delay_ms = 500;
    handle(take_of("3", "0", "video"));
    handle(take_of("2", "2"));
    flush(noon);
    const auto ask = message_of("report", "command", {{"what", "outputs"}});
    EXPECT_THAT(fields_of_only_report(handle(ask, noon + 499999)),
                ElementsAre(Pair("o0.name", "Output 1"), Pair("o1.input.audio", "1"),
                            Pair("o1.input.video", "1"), Pair("o1.name", "Output 2"),
                            Pair("o2.name", "Output 3")));
    const outcome due = run_due(noon + 500000);
    EXPECT_EQ(due.log.size(), 1U);
    EXPECT_THAT(fields_of_only_report(handle(ask, noon + 500000)), Contains(Pair("o0.input.video", "3")));
}

TEST_F(Simulator, TakeWithoutItsFlushIsNotUnderWay) {
    simulated.settings.delay_ms = 500;
    handle(take_of("3", "0"));
    const auto outputs = handle(message_of("report", "command", {{"what", "outputs"}}));
    EXPECT_THAT(outputs.reports.at(0).fields, Contains(Pair("o0.input.all", "0")));
}

TEST_F(Simulator, ChangedDelayHoldsForTheNextFlush) {
    simulated.settings.delay_ms = 500;
    handle(take_of("3", "0"));
    flush(noon);
    handle(message_of("set", "message", {{"name", "simulated delay ms"}, {"value", "0"}}));
    handle(take_of("2", "1"));
    EXPECT_THAT(fields_of_only_report(flush(noon + 1)), ElementsAre(Pair("o1.input.all", "2")));
    EXPECT_EQ(next_due_time(simulated), noon + 500000);
}

TEST_F(Simulator, RouteOutputNeedsAKnownQueue) {
    expect_skipped(message_of("route output", "command", {{"from input", "1"}, {"to output", "1"}}));
    expect_skipped(message_of("route output", "command", {{"queue", "jump"}}));
}

TEST_F(Simulator, NamesAreSetAndReportedAtOnce) {
    const auto output = handle(message_of("router set", "command", {{"output.2.name", "Studio\nA"}}));
    EXPECT_THAT(fields_of_only_report(output), ElementsAre(Pair("o2.name", "Studio\nA")));
    EXPECT_EQ(output.reports.front().command, "outputs");
    EXPECT_TRUE(output.router_changed);
    EXPECT_THAT(output.log, IsEmpty());
    const auto input = handle(message_of("router set", "command", {{"input.3.name", ""}}));
    EXPECT_THAT(fields_of_only_report(input), ElementsAre(Pair("i3.name", "")));
    EXPECT_EQ(input.reports.front().command, "inputs");
    EXPECT_THAT(outputs_now(), Contains(Pair("o2.name", "Studio\nA")));
}

TEST_F(Simulator, OtherPropertiesAreNotedAndIgnored) {
    const auto outcome = handle(
        message_of("router set", "command", {{"output.0.lock", "1"}, {"output.1.name", "Transmission"}}));
    EXPECT_THAT(outcome.log, ElementsAre("<NOTE>output 1: property 'lock' is ignored"));
    EXPECT_THAT(fields_of_only_report(outcome), ElementsAre(Pair("o1.name", "Transmission")));
}

TEST_F(Simulator, PropertiesOfWhatDoesNotExistAreSkipped) {
    for (const char* const key : {"output.3.name", "input.4.name", "output.99999999999.name"}) {
        expect_skipped(message_of("router set", "command", {{key, "x"}}));
    }
}

TEST_F(Simulator, MalformedPropertiesAreSkipped) {
    for (const char* const key : {"name", "output", "output.", "output.1", "output.x.name", "output..name",
                                  "output.-1.name", "outputs.1.name", "input.1x.name", ""}) {
        expect_skipped(message_of("router set", "command", {{key, "x"}}));
    }
}

TEST_F(Simulator, SettingsAreNoted) {
    const auto outcome =
        handle(message_of("set", "message", {{"name", "enable debug messages"}, {"value", "1"}}));
    EXPECT_THAT(outcome.log, ElementsAre("<NOTE>setting enable debug messages = 1"));
    EXPECT_THAT(outcome.reports, IsEmpty());
}

TEST_F(Simulator, DelayAndRefusedOutputsChangeWhileRunning) {
    handle(message_of("set", "message", {{"name", "simulated delay ms"}, {"value", "250"}}));
    EXPECT_EQ(simulated.settings.delay_ms, 250);
    handle(message_of("set", "message", {{"name", "simulated refuse outputs"}, {"value", "1, 3"}}));
    EXPECT_THAT(simulated.settings.refused_outputs, ElementsAre(0, 2));
    handle(message_of("set", "message", {{"name", "simulated refuse outputs"}, {"value", ""}}));
    EXPECT_THAT(simulated.settings.refused_outputs, IsEmpty());
}

TEST_F(Simulator, MalformedSettingIsAnErrorAndChangesNothing) {
    simulated.settings.delay_ms = 250;
    const auto outcome =
        handle(message_of("set", "message", {{"name", "simulated delay ms"}, {"value", "soon"}}));
    EXPECT_THAT(outcome.log, ElementsAre("<NOTE>setting simulated delay ms = soon", StartsWith("<ERR>")));
    EXPECT_EQ(simulated.settings.delay_ms, 250);
}

TEST_F(Simulator, SizeDoesNotChangeWhileRunning) {
    handle(message_of("set", "message", {{"name", "simulated inputs"}, {"value", "8"}}));
    EXPECT_EQ(simulated.settings.inputs, 16);
}

TEST_F(Simulator, LogLinesNeverHoldLineFeeds) {
    const auto outcome = handle(message_of("set", "message", {{"name", "a\nb"}, {"value", "<ERR>\n\r\tc"}}));
    EXPECT_THAT(outcome.log, ElementsAre("<NOTE>setting a b = <ERR>   c"));
    EXPECT_THAT(handle(message_of("x\ny", "\x7f", {})).log,
                ElementsAre("<WARN>unknown message 'x y' of type ' ' skipped"));
}

TEST(LogLines, TextIsCutAfter4096Bytes) {
    log_lines log;
    add_log_line(log, "NOTE", std::string(4096, 'a') + "b");
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log.front(), "<NOTE>" + std::string(4096, 'a'));
}

TEST_F(Simulator, UnknownMessagesAreSkipped) {
    expect_skipped(message_of("dance", "command", {}));
    expect_skipped(message_of("", "", {{"a", "1"}}));
    expect_skipped(message_of("report", "message", {{"what", "outputs"}}));
    expect_skipped(message_of("set", "command", {{"name", "a"}, {"value", "1"}}));
    expect_skipped(message_of("set", "message", {{"value", "1"}}));
}

TEST(SimulatorSettings, MissingOnesUseTheirDefaultsSilently) {
    log_lines log;
    const auto settings = settings_from_item({{"driver", "route_simulator"}}, "/items/r", log);
    EXPECT_EQ(settings.inputs, 16);
    EXPECT_EQ(settings.outputs, 16);
    EXPECT_FALSE(settings.split_levels);
    EXPECT_EQ(settings.delay_ms, 0);
    EXPECT_THAT(settings.refused_outputs, IsEmpty());
    EXPECT_EQ(settings.state_file, "");
    EXPECT_THAT(log, IsEmpty());
}

TEST(SimulatorSettings, AreReadFromTheItem) {
    log_lines log;
    const auto settings = settings_from_item({{"simulated inputs", "4096"},
                                              {"simulated outputs", "1024 "},
                                              {"simulated levels", "video,audio"},
                                              {"simulated delay ms", "60000"},
                                              {"simulated refuse outputs", "2,, 7\n1024"},
                                              {"simulated state file", "state/r"}},
                                             "/items/r", log);
    EXPECT_EQ(settings.inputs, 4096);
    EXPECT_EQ(settings.outputs, 1024);
    EXPECT_TRUE(settings.split_levels);
    EXPECT_EQ(settings.delay_ms, 60000);
    EXPECT_THAT(settings.refused_outputs, ElementsAre(1, 6, 1023));
    EXPECT_EQ(settings.state_file, "/items/state/r");
    EXPECT_THAT(log, IsEmpty());
}

TEST(SimulatorSettings, MalformedOnesAreErrorsAndUseTheirDefaults) {
    const std::pair<std::string, std::string> cases[] = {
        {"simulated inputs", "0"},
        {"simulated inputs", "4097"},
        {"simulated inputs", ""},
        {"simulated inputs", "12abc"},
        {"simulated outputs", "-1"},
        {"simulated outputs", "1025"},
        {"simulated outputs", "1\n2"},
        {"simulated levels", "audio"},
        {"simulated delay ms", "60001"},
        {"simulated delay ms", "-1"},
        {"simulated delay ms", "1e3"},
        {"simulated refuse outputs", "0"},
        {"simulated refuse outputs", "1;2"},
        {"simulated state file", ""},
        {"simulated state file", "dir/"},
        {"simulated delay ms", "99999999999999999999"},
    };
    for (const auto& [name, value] : cases) {
        log_lines log;
        const auto settings = settings_from_item({{name, value}}, "item", log);
        EXPECT_THAT(log, ElementsAre(StartsWith("<ERR>setting " + name))) << value;
        EXPECT_EQ(settings.inputs, 16);
        EXPECT_EQ(settings.outputs, 16);
        EXPECT_EQ(settings.delay_ms, 0);
        EXPECT_FALSE(settings.split_levels);
        EXPECT_THAT(settings.refused_outputs, IsEmpty());
        EXPECT_EQ(settings.state_file, "");
    }
}

TEST(SimulatorSettings, StateFilePathCountsFromTheItemsDirectory) {
    log_lines log;
    const auto path = [&](const std::string& item, const std::string& file) {
        return settings_from_item({{"simulated state file", file}}, item, log).state_file;
    };
    EXPECT_EQ(path("/a/b/item", "s"), "/a/b/s");
    EXPECT_EQ(path("a/item", "../s"), "a/../s");
    EXPECT_EQ(path("item", "s"), "s");
    EXPECT_EQ(path("/a/item", "/var/s"), "/var/s");
    EXPECT_THAT(log, IsEmpty());
}
