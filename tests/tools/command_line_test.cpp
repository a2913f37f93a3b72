#include "command_line.h"
#include "command_table.h"
#include "program_end.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

int read(const std::vector<std::string>& words, invocation* call) {
    std::vector<const char*> argv{"vrdx_routectl"};
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    return read_command_line(static_cast<int>(argv.size()), argv.data(), call);
}

invocation good(const std::vector<std::string>& words) {
    invocation call;
    EXPECT_EQ(read(words, &call), -1);
    return call;
}

// The one line that a wrong use is answered with.
std::string refusal(const std::vector<std::string>& words) {
    invocation call;
    testing::internal::CaptureStderr();
    EXPECT_EQ(read(words, &call), exit_usage);
    std::string line = testing::internal::GetCapturedStderr();
    EXPECT_THAT(line, testing::StartsWith("vrdx_routectl: "));
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    return line;
}

std::string help(const std::vector<std::string>& words) {
    invocation call;
    testing::internal::CaptureStdout();
    EXPECT_EQ(read(words, &call), exit_done);
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(CommandLine, ItemLeadsToItsSocket) {
    const invocation call = good({"/srv/items/router", "status"});
    EXPECT_STREQ(call.what->name, "status");
    EXPECT_EQ(call.place.socket, "/srv/items/.tavrixsock.router");
    EXPECT_EQ(call.timeout_us, 5000000U);
    EXPECT_FALSE(call.json);
    EXPECT_EQ(good({"--metadir", "/run/meta", "/srv/items/router", "ping"}).place.socket,
              "/run/meta/.tavrixsock.router");
}

TEST(CommandLine, SocketCanBeGivenInsteadOfAnItem) {
    EXPECT_EQ(good({"--sock", "/run/s", "ping"}).place.socket, "/run/s");
    EXPECT_EQ(good({"--sock=/run/s", "item", "ping"}).place.socket, "/run/s");
}

TEST(CommandLine, OptionsMayStandBehindTheCommand) {
    const invocation call = good({"item", "route", "--json", "3=2", "--timeout", "0.25", "--wait", "4=5"});
    EXPECT_TRUE(call.json);
    EXPECT_FALSE(call.no_wait);
    EXPECT_EQ(call.timeout_us, 250000U);
    EXPECT_THAT(call.words, ElementsAre("3=2", "4=5"));
}

TEST(CommandLine, SendTakesWordsAndEntries) {
    const invocation call = good(
        {"item", "send", "route", "3=2", "--entry", "set=4=5", "status", "--entry=a=b c", "--", "--json"});
    EXPECT_THAT(call.words, ElementsAre("route", "3=2", "status", "--json"));
    EXPECT_THAT(call.entries, ElementsAre("set=4=5", "a=b c"));
    EXPECT_FALSE(call.json);
}

TEST(CommandLine, WordsArriveAsTheyWereWritten) {
    const std::vector<std::string> words{"[a,b]", "++",   "{}",    "%%", "\x01x",
                                         "",      "a\nb", "\"q\"", "+1", "[[x]]"};
    std::vector<std::string> line{"item", "send"};
    line.insert(line.end(), words.begin(), words.end());
    EXPECT_EQ(good(line).words, words);
    EXPECT_THAT(good({"item", "send", "x", "--entry", "[a=b]", "--entry=[c=d]"}).entries,
                ElementsAre("[a=b]", "[c=d]"));
    EXPECT_EQ(good({"./[item]", "ping"}).place.socket, "./.tavrixsock.[item]");
}

TEST(CommandLine, NamesOfCommandsAreWordsBehindACommand) {
    EXPECT_THAT(good({"item", "send", "ping", "status"}).words, ElementsAre("ping", "status"));
    EXPECT_THAT(refusal({"item", "ping", "status"}), HasSubstr("status"));
}

TEST(CommandLine, VeryLongWordsPass) {
    const std::string word = std::string(100000, 'n') + "=v";
    EXPECT_THAT(good({"item", "set", word}).words, ElementsAre(word));
}

TEST(CommandLine, WrongUseIsToldInOneLine) {
    EXPECT_THAT(refusal({}), HasSubstr("command"));
    EXPECT_THAT(refusal({"item"}), HasSubstr("command"));
    EXPECT_THAT(refusal({"item", "statsu"}), HasSubstr("no command \"statsu\""));
    EXPECT_THAT(refusal({"status"}), HasSubstr("item file"));
    EXPECT_THAT(refusal({"/srv/items/", "status"}), HasSubstr("item file"));
    EXPECT_THAT(refusal({"item", "status", "extra"}), HasSubstr("extra"));
    EXPECT_THAT(refusal({"item", "status", "--", "extra"}), HasSubstr("status"));
    EXPECT_THAT(refusal({"item", "status", "--wait"}), HasSubstr("--wait"));
    EXPECT_THAT(refusal({"item", "route"}), HasSubstr("route needs OUT=IN"));
    EXPECT_THAT(refusal({"item", "save"}), HasSubstr("save needs FILE"));
    EXPECT_THAT(refusal({"item", "save", "a", "b"}), HasSubstr("save"));
    EXPECT_THAT(refusal({"item", "ping", "--sock"}), HasSubstr("--sock"));
    EXPECT_THAT(refusal({"--unknown", "item", "ping"}), HasSubstr("--unknown"));
}

TEST(CommandLine, OwnOptionsOfACommandAreItsAlone) {
    EXPECT_TRUE(good({"item", "logs", "-f", "--lines", "7"}).follow);
    EXPECT_EQ(good({"item", "logs", "--lines", "7"}).lines, 7);
    EXPECT_EQ(good({"item", "logs"}).lines, -1);
    EXPECT_EQ(good({"item", "status", "--outputs", "1-8,12", "--name", "[A]"}).outputs, "1-8,12");
    EXPECT_EQ(good({"item", "status", "--input", "+Cam"}).input, "+Cam");
    EXPECT_TRUE(good({"item", "route", "--no-wait", "--dry-run", "1=2"}).no_wait);
    EXPECT_EQ(good({"item", "undo"}).by, usual_by);
    EXPECT_THAT(refusal({"item", "ping", "--lines", "7"}), HasSubstr("--lines"));
    EXPECT_THAT(refusal({"item", "logs", "--lines", "-1"}), HasSubstr("--lines"));
    EXPECT_THAT(refusal({"item", "route", "--wait", "--no-wait", "1=2"}), HasSubstr("contradict"));
    EXPECT_THAT(refusal({"item", "undo", "--by", "a\nb"}), HasSubstr("--by"));
    EXPECT_THAT(refusal({"item", "undo", "--by", std::string(65, 'x')}), HasSubstr("--by"));
}

TEST(CommandLine, ListTakesNoItem) {
    EXPECT_EQ(good({"list", "--json"}).place.socket, "");
    EXPECT_THAT(refusal({"item", "list"}), HasSubstr("all routers"));
    EXPECT_THAT(refusal({"--sock", "/run/s", "list"}), HasSubstr("all routers"));
}

TEST(CommandLine, TimeoutIsAPositiveNumberOfSeconds) {
    for (const char* text : {"", "x", "0", "-1", "1x", "nan", "inf", "1e99"})
        EXPECT_THAT(refusal({"item", "ping", std::string("--timeout=") + text}), HasSubstr("--timeout"))
            << text;
    EXPECT_EQ(good({"item", "ping", "--timeout", "2"}).timeout_us, 2000000U);
    EXPECT_EQ(good({"--timeout", "0.0000001", "item", "ping"}).timeout_us, 1U);
}

TEST(CommandLine, HelpNamesTheExitCodesAndEveryCommand) {
    const std::string text = help({"--help"});
    EXPECT_THAT(text, HasSubstr("Exit codes:"));
    for (const command& what : all_commands())
        EXPECT_THAT(text, HasSubstr(std::string("\n  ") + what.name + " "));
}

TEST(CommandLine, EachCommandHasAHelpWithExamples) {
    for (const command& what : all_commands()) {
        const std::string text = help({what.name, "--help"});
        EXPECT_THAT(text, HasSubstr("Example")) << what.name;
        const bool about_all = (what.options & without_item) != 0;
        const std::string call = about_all ? "vrdx_routectl " : "vrdx_routectl studio ";
        EXPECT_THAT(text, HasSubstr(call + what.name));
    }
}
