// Settings of a running driver on their way to the backend, and what the report tells of both.
#include "take_fixture.h"

#include <csignal>
#include <gmock/gmock.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Settings : public take_fixture {};

std::string notified(const std::string& name, const std::string& value) {
    return "Notify server '" + name + "' = '" + value + "'\n";
}

std::string sent_setting(const std::string& name, const std::string& value) {
    return notified(name, value) + sent({"*COMMAND=set", "*TYPE=message", "name=" + name, "value=" + value});
}

} // namespace

TEST_F(Settings, ChangesGoOutInNameOrderAndOnlyTheLatestOfEach) {
    const std::string heard = directory_.file("heard");
    driver_process driver(scripted(join({announce_router(4, 4), {"copy-stdin " + heard}})));
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "4");
    const test_reply reply = client.request("set", {}, {{"b", "1"}, {"a", "2"}, {"b", "3"}});
    EXPECT_EQ(reply.command, "set");
    EXPECT_EQ(reply.result, 0U);
    driver.wait_for_trace(sent_setting("a", "2") + sent_setting("b", "3"));
    EXPECT_THAT(driver.trace(), Not(HasSubstr(notified("b", "1"))));
    wait_until("the backend has both", [&] {
        return file_exists(heard) &&
               read_file(heard).find("*COMMAND=set\n*TYPE=message\nname=a\nvalue=2\n\n"
                                     "*COMMAND=set\n*TYPE=message\nname=b\nvalue=3\n\n") != std::string::npos;
    });
}

TEST_F(Settings, EmptyAndManyLinedValuesArriveWhole) {
    driver_process driver(simulated(""));
    test_client client(driver.socket_path());
    wait_for_status(client, "output 1", "1,1");
    client.request("set", {}, {{"nothing", ""}});
    driver.wait_for_trace(sent_setting("nothing", ""));
    client.request("set", {}, {{"poem", "one\ntwo\n"}});
    driver.wait_for_trace(
        sent({"*COMMAND=set", "*TYPE=message", "name=poem", "value=one", "value=two", "value="}));
    driver.wait_for_trace("STDERR<NOTE>: 'setting poem = one two '\n");
}

TEST_F(Settings, ChangesMadeWithoutABackendWaitForIt) {
    const std::string item = scripted(announce_router(4, 4));
    write_file(item, "");
    driver_process driver(item);
    test_client client(driver.socket_path());
    client.request("set", {}, {{"tally", "on"}, {"gain", "1"}});
    client.request("set", {}, {{"gain", "2"}});
    EXPECT_THAT(driver.trace(), Not(HasSubstr("Notify server")));
    replace_file(item, "driver=route_scripted\nscript=" + directory_.file("script") + "\n");
    driver.wait_for_trace(sent_setting("gain", "2") + sent_setting("tally", "on"));
}

TEST_F(Settings, NextBackendIsOnlyToldOfWhatChangesAgain) {
    driver_process driver(scripted(join({announce_router(4, 4), {"expect name=first", "exit 0"}})));
    test_client client(driver.socket_path());
    const std::size_t first = driver.wait_for_trace("STDOUT: '*COMMAND=info'\n");
    client.request("set", {}, {{"first", "1"}});
    const std::size_t next = driver.wait_for_trace("STDOUT: '*COMMAND=info'\n", first);
    client.request("set", {}, {{"second", "2"}});
    driver.wait_for_trace(sent_setting("second", "2"), next);
    EXPECT_EQ(count_of("Notify server 'first'", driver.trace()), 1U);
}

TEST_F(Settings, DebugLinesAreNotedWhileTheSettingSaysSo) {
    driver_process driver(
        scripted(join({announce_router(4, 4),
                       {"log <DBG>hidden", "log <NOTE>quiet", at("on"), "log <DBG>seen", "log <NOTE>loud",
                        at("off"), "log <DBG>hidden again", "log <NOTE>end"}})));
    test_client client(driver.socket_path());
    driver.wait_for_trace("STDERR<NOTE>: 'quiet'\n");
    EXPECT_THAT(client.request("report").entry("*last notes"), EndsWith("\nquiet"));
    client.request("set", {}, {{"enable debug messages", "1"}});
    go("on");
    driver.wait_for_trace("STDERR<NOTE>: 'loud'\n");
    client.request("set", {}, {{"enable debug messages", "no"}});
    go("off");
    driver.wait_for_trace("STDERR<NOTE>: 'end'\n");
    EXPECT_THAT(client.request("report").entry("*last notes"), EndsWith("quiet\nseen\nloud\nend"));
    EXPECT_THAT(driver.trace(), HasSubstr("STDERR<DBG>: 'hidden'\n"));
    driver.wait_for_trace(sent_setting("enable debug messages", "1"));
    driver.wait_for_trace(sent_setting("enable debug messages", "no"));
}

TEST_F(Settings, ReportShowsTheBackendTheMachineAndTheLogs) {
    driver_process driver(
        scripted(join({announce_router(4, 4), {"log <NOTE>settled", "log <WARN>warm", "log untagged"}})));
    test_client client(driver.socket_path());
    driver.wait_for_trace("STDERR<ERR>: 'untagged'\n");
    const test_reply report = client.request("report", {"any text"});
    EXPECT_EQ(report.command, "report");
    EXPECT_EQ(report.result, 0U);
    ASSERT_EQ(report.entries.size(), 3U);
    EXPECT_EQ(report.entries[0].first, "*active");
    EXPECT_THAT(report.entry("*active"), StartsWith("1; "));
    for (const char* part : {"; shm ", "; mem ", "; cpu "})
        EXPECT_THAT(report.entry("*active"), HasSubstr(part));
    EXPECT_EQ(report.entries[1].first, "*last error");
    EXPECT_EQ(report.entry("*last error"), "warm\nuntagged");
    EXPECT_EQ(report.entries[2].first, "*last notes");
    EXPECT_EQ(report.entry("*last notes"), "Starting backend driver\nsettled");
}

TEST_F(Settings, ReportWithoutABackendSaysSo) {
    write_file(directory_.file("item"), "");
    driver_process driver(directory_.file("item"));
    test_client client(driver.socket_path());
    const test_reply report = client.request("report");
    EXPECT_THAT(report.entry("*active"), StartsWith("0; "));
    EXPECT_EQ(report.entry("*last error"), "");
    EXPECT_EQ(report.entry("*last notes"), "");
}

TEST_F(Settings, ReportKeepsTheLinesOfABackendThatIsGone) {
    driver_process driver(scripted({"log <ERR>smoke", "log <NOTE>farewell", at("never")}));
    test_client client(driver.socket_path());
    driver.wait_for_trace("STDERR<NOTE>: 'farewell'\n");
    kill(driver.wait_for_backend(), SIGKILL);
    test_reply report;
    wait_until("the driver has noticed", [&] {
        report = client.request("report");
        return report.entry("*active").starts_with("0");
    });
    EXPECT_EQ(report.entry("*last error"), "smoke");
    EXPECT_EQ(report.entry("*last notes"), "Starting backend driver\nfarewell\nStopping backend driver");
}
