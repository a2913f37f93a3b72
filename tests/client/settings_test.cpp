#include "fresh_driver.h"
#include "wired_backend.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Pair;

namespace {

class Settings : public fresh_driver {
protected:
    static void change(const char* name, const std::string& value) {
        my_vrdx_on_set(nullptr, name, value);
    }
    static std::string message(const std::string& name, const std::string& value) {
        return "*COMMAND=set\n*TYPE=message\nname=" + name + "\nvalue=" + value + "\n\n";
    }

    wired_backend backend_;
};

struct debug_row {
    const char* name;
    const char* value;
    bool set;
};

void PrintTo(const debug_row& row, std::ostream* stream) {
    *stream << row.name;
}

class DebugMessages : public Settings, public testing::WithParamInterface<debug_row> {};

TEST_P(DebugMessages, AreSwitchedAndForwardedAsTheyAre) {
    debug_messages = !GetParam().set;
    change("enable debug messages", GetParam().value);
    EXPECT_EQ(debug_messages, GetParam().set);
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre(message("enable debug messages", GetParam().value)));
    EXPECT_THAT(pending_settings, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Settings, DebugMessages,
                         testing::Values(debug_row{"One", "1", true}, debug_row{"Five", "5", true},
                                         debug_row{"Zero", "0", false}, debug_row{"Negative", "-1", false},
                                         debug_row{"Empty", "", false}, debug_row{"Word", "yes", false},
                                         debug_row{"Hexadecimal", "0x10", false},
                                         debug_row{"LeadingBlank", " 2", true},
                                         debug_row{"LettersAfterTheDigits", "1x", true},
                                         debug_row{"NegativeInItsLowBits", "2147483648", false},
                                         debug_row{"ZeroInItsLowBits", "4294967296", false},
                                         debug_row{"OneInItsLowBits", "4294967297", true},
                                         debug_row{"Beyond64Bits", "99999999999999999999", false},
                                         debug_row{"NegativeBeyond64Bits", "-9223372036854775809", false}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(Settings, OtherNamesDoNotSwitchDebugMessages) {
    for (const char* name : {"Enable debug messages", "enable debug", "enable debug messages ", "debug", ""})
        change(name, "1");
    EXPECT_FALSE(debug_messages);
    EXPECT_EQ(pending_settings.size(), 5U);
}

TEST_F(Settings, LatestValueWinsAndNamesAreInOrder) {
    change("b", "1");
    change("a", "2");
    change("b", "3");
    notify_backend_settings();
    EXPECT_EQ(
        trace(),
        "Notify server 'a' = '2'\n"
        "STDIN: '*COMMAND=set'\nSTDIN: '*TYPE=message'\nSTDIN: 'name=a'\nSTDIN: 'value=2'\nSTDIN: ''\n"
        "Notify server 'b' = '3'\n"
        "STDIN: '*COMMAND=set'\nSTDIN: '*TYPE=message'\nSTDIN: 'name=b'\nSTDIN: 'value=3'\nSTDIN: ''\n");
    EXPECT_THAT(pending_texts(), ElementsAre(message("a", "2"), message("b", "3")));
}

TEST_F(Settings, NamesAreOrderedByTheirBytes) {
    for (const char* name : {"b", "a b", "a", "B", "\xc3\xa9"})
        change(name, "");
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre(message("B", ""), message("a", ""), message("a b", ""),
                                             message("b", ""), message("\xc3\xa9", "")));
}

TEST_F(Settings, NothingIsSentBeforeThePass) {
    change("gain", "1");
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(trace(), "");
}

TEST_F(Settings, NothingChangedSendsNothing) {
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(trace(), "");
}

TEST_F(Settings, AreSentOnce) {
    change("gain", "1");
    notify_backend_settings();
    notify_backend_settings();
    EXPECT_EQ(pending_line_count(), 1U);
}

TEST_F(Settings, EmptyValueIsForwardedEmpty) {
    change("gain", "");
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre(message("gain", "")));
}

TEST_F(Settings, ValueOfSeveralLinesIsForwardedLineByLine) {
    change("text", "a\nb");
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre("*COMMAND=set\n*TYPE=message\nname=text\nvalue=a\nvalue=b\n\n"));
}

TEST_F(Settings, PipesCountNotTheProcess) {
    backend_pid = -1;
    change("gain", "1");
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre(message("gain", "1")));
}

struct closed_row {
    const char* name;
    std::int32_t* fd;
};

void PrintTo(const closed_row& row, std::ostream* stream) {
    *stream << row.name;
}

class ClosedPipe : public Settings, public testing::WithParamInterface<closed_row> {};

TEST_P(ClosedPipe, KeepsTheSettingsUntilAllAreOpen) {
    std::int32_t& fd = *GetParam().fd;
    const std::int32_t open_fd = fd;
    fd = -1;
    change("gain", "1");
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_THAT(pending_settings, ElementsAre(Pair("gain", Field(&pending_setting::value, "1"))));
    EXPECT_EQ(trace(), "");
    fd = open_fd;
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre(message("gain", "1")));
}

INSTANTIATE_TEST_SUITE_P(Settings, ClosedPipe,
                         testing::Values(closed_row{"StandardInput", &backend_stdin_fd},
                                         closed_row{"StandardOutput", &backend_stdout_fd},
                                         closed_row{"StandardError", &backend_stderr_fd}),
                         [](const auto& instance) { return instance.param.name; });

// --- what waits --------------------------------------------------------------------------------------------

constexpr requester nobody{}; // whose settings the driver's own changes are

TEST_F(Settings, CountForWhoChangedThemUntilTheyAreReplaced) {
    change("a", std::string(600000, 'x'));
    EXPECT_FALSE(requester_must_wait(nobody, 100));
    change("b", std::string(600000, 'x'));
    EXPECT_TRUE(requester_must_wait(nobody, 100));
    change("a", "1");
    EXPECT_FALSE(requester_must_wait(nobody, 100));
    change("a", std::string(600000, 'x'));
    EXPECT_TRUE(requester_must_wait(nobody, 100));
}

TEST_F(Settings, CountUntilTheirMessageIsMoved) {
    change("a", std::string(600000, 'x'));
    change("b", std::string(600000, 'x'));
    notify_backend_settings();
    EXPECT_TRUE(requester_must_wait(nobody, 100));
    ASSERT_NE(pending_line(), nullptr);
    pending_line_moved();
    EXPECT_FALSE(requester_must_wait(nobody, 100));
    pending_texts();
    const auto limit = static_cast<std::ptrdiff_t>(waiting_bytes_per_client);
    count_waiting_settings(nobody, limit - 1);
    EXPECT_FALSE(requester_must_wait(nobody, 100)) << "nothing of them counts any more";
    count_waiting_settings(nobody, 1 - limit);
}

TEST_F(Settings, CountNoLongerWhenNoPipeTakesThem) {
    change("a", std::string(1048576, 'x'));
    EXPECT_TRUE(requester_must_wait(nobody, 100));
    notify_backend_settings();
    EXPECT_EQ(pending_line_count(), 0U);
    EXPECT_FALSE(requester_must_wait(nobody, 100));
}

TEST_F(Settings, ChangedWithoutBackendReachTheNextOne) {
    stop_backend();
    change("gain", "1");
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), IsEmpty());
    const wired_backend next;
    notify_backend_settings();
    EXPECT_THAT(pending_texts(), ElementsAre(message("gain", "1")));
}

} // namespace
