// The command line: what it accepts, and how a wrong one is told.
#include "finished_driver.h"
#include "test_files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <unistd.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using arguments = std::vector<std::string>;

constexpr const char* usage_start = "Usage: vrdx_routedriver --file PATH [SWITCH ...]\n";
constexpr const char* usage_end =
    " --oneshot\n"
    " --dbg-nochg-assume          [debug] Do not assume changes took, wait for backend to report change\n";

finished_driver run_with(const arguments& switches) {
    return run_to_end({.switches = switches});
}

std::string useless_value(const std::string& name, const std::string& value) {
    return "Switch '" + name + "' cannot use the value '" + value + "'\n";
}

// Exit 1 after exactly one line that tells why, then the usage.
void expect_wrong_use(const arguments& switches, const std::string& line) {
    const finished_driver driver = run_with(switches);
    SCOPED_TRACE(testing::PrintToString(switches));
    EXPECT_EQ(driver.end, refuses);
    EXPECT_THAT(driver.trace, StartsWith(line + usage_start));
    EXPECT_THAT(driver.trace, EndsWith(usage_end));
}

} // namespace

TEST(CommandLine, HelpNamesEverySwitchAndEndsWithOne) {
    for (const char* help : {"--help", "--h", "-h", "-help"}) {
        const finished_driver driver = run_with({help});
        EXPECT_EQ(driver.end, refuses);
        EXPECT_THAT(driver.trace, StartsWith(usage_start));
        EXPECT_THAT(driver.trace, EndsWith(usage_end));
        for (const char* line :
             {"\n --file PATH ", "\n --sock PATH ", "\n --metadir DIR ", "\n --daemon ", "\n --oneshot\n",
              "\n --identify-only ", "\n --temp-clean-only ", "\n --stderr-to-log ", "\n --no-autoshutdown ",
              "\n --auto-shutdown-delay SECONDS ", "\n --auto-shutdown-delay-initial SECONDS ",
              "\n --write-metadata ", "\n --ready-fd N "})
            EXPECT_THAT(driver.trace, HasSubstr(line));
    }
}

TEST(CommandLine, HelpNamesNoSwitchTwice) {
    std::istringstream help(run_with({"--help"}).trace);
    std::vector<std::string> names;
    for (std::string line; std::getline(help, line);) {
        if (line.starts_with(" --"))
            names.push_back(line.substr(0, line.find_first_of(" ,", 1)));
    }
    EXPECT_THAT(names, testing::Contains(" --oneshot"));
    const std::set<std::string> different(names.begin(), names.end());
    EXPECT_EQ(names.size(), different.size()) << testing::PrintToString(names);
}

TEST(CommandLine, HelpStatesADefaultForEverySwitchThatHasOne) {
    const std::string help = run_with({"--help"}).trace;
    std::size_t at = help.find("\n --sock ") + 1;
    for (std::size_t end = help.find('\n', at); help.compare(at, 7, " --help") != 0;
         at = end + 1, end = help.find('\n', at))
        EXPECT_THAT(help.substr(at, end - at), HasSubstr("(default: "));
}

TEST(CommandLine, UnknownSwitchIsNamedBeforeTheUsage) {
    expect_wrong_use({"--bogus"}, "Unknown switch 'bogus'\n");
    expect_wrong_use({"-bogus"}, "Unknown switch 'bogus'\n");
    expect_wrong_use({"--bogus=1"}, "Unknown switch 'bogus=1'\n");
    expect_wrong_use({"--File", "x"}, "Unknown switch 'File'\n");
    expect_wrong_use({"--dbg-nochg-assume=1"}, "Unknown switch 'dbg-nochg-assume=1'\n");
    expect_wrong_use({"--=x"}, "Unknown switch '=x'\n");
    expect_wrong_use({"--oneshot", "--dbg-nochg-assume", "--bogus"}, "Unknown switch 'bogus'\n");
}

TEST(CommandLine, PlainWordIsRefusedWithoutUsage) {
    for (const std::string word : {"word", "-", "--", ""}) {
        const finished_driver driver = run_with({"--oneshot", word, "--help"});
        EXPECT_EQ(driver.end, refuses);
        EXPECT_EQ(driver.trace, "Non-switch argument '" + word + "'\n");
    }
}

TEST(CommandLine, MissingItemFileIsTold) {
    expect_wrong_use({}, "File to play not specified. Use --file parameter\n");
    expect_wrong_use({"--oneshot"}, "File to play not specified. Use --file parameter\n");
}

TEST(CommandLine, SwitchWithoutItsValueIsWrongUse) {
    for (const std::string name :
         {"file", "sock", "metadir", "auto-shutdown-delay", "auto-shutdown-delay-initial", "ready-fd"}) {
        const std::string line = "Switch '" + name + "' needs a value\n";
        expect_wrong_use({"--" + name}, line);
        expect_wrong_use({"--" + name + "="}, line);
        expect_wrong_use({"--" + name, ""}, line);
        expect_wrong_use({"--" + name, "--oneshot"}, line);
    }
}

TEST(CommandLine, MalformedDelayIsWrongUse) {
    for (const std::string name : {"auto-shutdown-delay", "auto-shutdown-delay-initial"})
        for (const std::string value : {"abc", "1x", "1e3", "inf", "nan", "0x10", " 5", "5 ", "1.2.3", "+5",
                                        ".", "1000000001", "99999999999999999999999"})
            expect_wrong_use({"--" + name, value}, useless_value(name, value));
    expect_wrong_use({"--auto-shutdown-delay=-1"}, useless_value("auto-shutdown-delay", "-1"));
}

TEST(CommandLine, ReadyDescriptorMustBeAnOpenOne) {
    for (const std::string value :
         {"abc", "1x", "0x1", " 1", "987", "2147483648", "4294967297", "99999999999999999999999"})
        expect_wrong_use({"--ready-fd", value}, useless_value("ready-fd", value));
    expect_wrong_use({"--ready-fd=-1"}, useless_value("ready-fd", "-1"));
}

TEST(CommandLine, FlagTakesNoValue) {
    for (const std::string name : {"daemon", "oneshot", "identify-only", "temp-clean-only", "stderr-to-log",
                                   "no-autoshutdown", "write-metadata"}) {
        expect_wrong_use({"--" + name + "=1"}, "Switch '" + name + "' takes no value\n");
        expect_wrong_use({"--" + name + "="}, "Switch '" + name + "' takes no value\n");
    }
}

TEST(CommandLine, ValueMayStandBehindItsSwitchOrBehindAnEqualsSign) {
    const temporary_directory directory;
    const temporary_directory metadata;
    const std::string item = directory.file("item=1"); // only the first "=" separates
    write_file(item, "");
    const std::string sock = directory.file("sock=2");
    const std::string setting = "Media item setting:\n   File: " + item + "\n   Meta: " + metadata.path() +
                                "\n   Sock: " + sock + "\n";
    for (const arguments& switches :
         {arguments{"--file", item, "--sock", sock, "--metadir", metadata.path(), "--oneshot"},
          arguments{"--file=" + item, "--sock=" + sock, "--metadir=" + metadata.path(), "--oneshot"},
          arguments{"-file=" + item, "-sock", sock, "-metadir=" + metadata.path(), "-oneshot"}}) {
        const finished_driver driver = run_with(switches);
        EXPECT_EQ(driver.end, ends_well);
        EXPECT_THAT(driver.trace, StartsWith(setting));
    }
}

TEST(CommandLine, LaterValueOfASwitchWins) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const finished_driver driver =
        run_with({"--file", "/nowhere/item", "--oneshot", "--file", directory.file("item")});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_THAT(driver.trace, StartsWith(item_setting(directory.path())));
}

TEST(CommandLine, RelativePathsAreMadeAbsolute) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const finished_driver driver =
        run_to_end({.item = "item", .switches = {"--oneshot"}, .directory = directory.path()});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_THAT(driver.trace, StartsWith(item_setting(directory.path())));
}

TEST(CommandLine, ClosedStandardDescriptorsAreMadeUsable) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const finished_driver driver = run_to_end(
        {.item = directory.file("item"), .switches = {"--oneshot", "--stderr-to-log"}, .before_exec = [] {
             close(STDIN_FILENO);
             close(STDOUT_FILENO);
             close(STDERR_FILENO);
         }});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_EQ(driver.trace, "");
    EXPECT_THAT(read_file(directory.file(".tavrixlog.item")), StartsWith(item_setting(directory.path())));
}
