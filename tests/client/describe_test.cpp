// "describe": the whole router in pages, and the record of takes.
#include "served_driver.h"

#include <cstdlib>

using testing::ElementsAre;
using testing::Pair;

namespace {

class Describe : public served_driver {
protected:
    Describe() {
        timed_errors.clear();
        timed_notes.clear();
    }
    ~Describe() override {
        timed_errors.clear();
        timed_notes.clear();
    }
    static test_reply describe(const test_client& client, const std::vector<std::string>& arguments = {},
                               const name_values& entries = {}) {
        return ask_one(client, "describe", arguments, entries);
    }
    static std::size_t body_bytes(const test_reply& page) {
        return request_bytes(page.command, page.arguments, page.entries).size() - comm_packet_header_bytes;
    }
    // All pages, one after the other.
    static std::vector<test_reply> all_pages(const test_client& client) {
        std::vector<test_reply> pages = {describe(client)};
        while (pages.back().entry("next") != "(none)" && pages.size() < 1000)
            pages.push_back(describe(client, {pages.back().entry("next")}));
        return pages;
    }
    // Takes that are decided at once.
    static void decide(int takes) {
        for (int i = 0; i < takes; ++i)
            ask_takes({{max_outputs, {1, 1}, {}}}, {{0, 1000, 4711}, "", 1000000, 1});
    }
};

constexpr std::size_t page_bytes = 131072;

} // namespace

// --- the first page ----------------------------------------------------------------------------------------

TEST_F(Describe, FirstPageBeginsWithWhatIsTrueOfAllOfIt) {
    const auto client = connect();
    tell_backend(backend_state::running, "/usr/bin/vrdx_route_x");
    report_link(link_state::down, "no route to host");
    const test_reply page = describe(*client);
    EXPECT_EQ(page.command, "describe");
    EXPECT_EQ(page.result, 0U);
    std::vector<std::string> names;
    for (const auto& [name, value] : entries_between(page, "epoch", "input 1"))
        names.push_back(name);
    EXPECT_THAT(names, ElementsAre("epoch", "sequence", "inputs", "outputs", "levels", "backend",
                                   "backend text", "link", "link text", "clients", "uptime", "takes asked",
                                   "takes confirmed", "takes refused", "takes rolled back", "takes unknown",
                                   "backend starts", "last take"));
    EXPECT_THAT(page.entry("epoch"), testing::MatchesRegex("[0-9a-f]{16}"));
    EXPECT_EQ(page.entry("sequence"), std::to_string(picture_version));
    EXPECT_EQ(page.entry("inputs"), "4");
    EXPECT_EQ(page.entry("outputs"), "3");
    EXPECT_EQ(page.entry("levels"), "video,audio");
    EXPECT_EQ(page.entry("backend"), "running");
    EXPECT_EQ(page.entry("backend text"), "/usr/bin/vrdx_route_x");
    EXPECT_EQ(page.entry("link"), "down");
    EXPECT_EQ(page.entry("link text"), "no route to host");
    EXPECT_EQ(page.entry("clients"), "1");
    EXPECT_EQ(page.entry("last take"), std::to_string(last_take_record));
    EXPECT_EQ(page.entry("next"), "(none)");
}

TEST_F(Describe, FirstPageTellsTheLastErrorsAndNotesWithTheirTimes) {
    const auto client = connect();
    append_log_line(last_error, "link lost");
    append_log_line(last_notes, "link is back");
    append_log_line(last_error, std::string(2000, 'x'));
    const test_reply page = describe(*client);
    std::vector<std::string> told;
    for (const auto& [name, value] : entries_between(page, "error", "input 1")) {
        const std::size_t blank = value.find(' ');
        EXPECT_GT(std::strtoull(value.substr(0, blank).c_str(), nullptr, 10), 1600000000000U);
        told.push_back(name + ": " + value.substr(blank + 1));
    }
    EXPECT_THAT(told, ElementsAre("error: link lost", "error: " + std::string(timed_line_bytes, 'x'),
                                  "note: link is back"));
}

TEST_F(Describe, CountersAreTheWholeAndTheLastHour) {
    const auto client = connect();
    const std::string before = describe(*client).entry("takes refused");
    decide(3);
    const std::string after = describe(*client).entry("takes refused");
    const auto numbers = [](const std::string& text) {
        const std::size_t blank = text.find(' ');
        return std::pair(std::stol(text.substr(0, blank)), std::stol(text.substr(blank + 1)));
    };
    EXPECT_EQ(numbers(after).first, numbers(before).first + 3);
    EXPECT_EQ(numbers(after).second, numbers(before).second + 3);
}

TEST_F(Describe, UptimeIsInMilliseconds) {
    const auto client = connect();
    const auto uptime = [&] { return std::stoll(describe(*client).entry("uptime")); };
    const auto before = uptime();
    settable_clock_us += 2500000;
    EXPECT_EQ(uptime() - before, 2500);
}

// --- places ------------------------------------------------------------------------------------------------

TEST_F(Describe, InputIsItsNameAndItsProperties) {
    const auto client = connect();
    report_input_property(1, "format", "sdi");
    report_input_property(1, "cable", "12=b\nx");
    const test_reply page = describe(*client);
    EXPECT_THAT(entries_between(page, "input 2", "input 3"),
                ElementsAre(Pair("input 2", "Camera 2"), Pair("input 2 property cable", "12=b\nx"),
                            Pair("input 2 property format", "sdi")));
}

TEST_F(Describe, OutputIsItsNameItsSourcesAndWhoTookLast) {
    const auto client = connect();
    name_output(1, "Studio");
    report_output_property(1, "lock", "on");
    EXPECT_THAT(entries_between(describe(*client), "output 2", "output 3"),
                ElementsAre(Pair("output 2", "Studio"), Pair("output 2 sources", "1,1"),
                            Pair("output 2 property lock", "on")));
    client->send_bytes(request_bytes("take", {"2=3,0"}, {{"id", "x"}, {"by", "desk 3"}}));
    serve();
    EXPECT_THAT(entries_between(describe(*client), "output 2", "output 3"),
                ElementsAre(Pair("output 2", "Studio"), Pair("output 2 sources", "3,0"),
                            Pair("output 2 waits", "1000"), Pair("output 2 taken", own_process() + " desk 3"),
                            Pair("output 2 property lock", "on")));
    send_all();
    settable_clock_us += 300500;
    EXPECT_EQ(describe(*client).entry("output 2 waits"), "700");
    report("*COMMAND=outputs\n*TYPE=message\no1.input.audio=2\no1.input.video=none\n\n");
    EXPECT_THAT(commands_of(received(*client)), ElementsAre("take"));
    EXPECT_EQ(describe(*client).entry("output 2 waits"), "(none)");
    EXPECT_EQ(describe(*client).entry("output 2 taken"), own_process() + " desk 3");
}

TEST_F(Describe, OnlyWhatIsNotTakenBackByItselfWaitsZeroMilliseconds) {
    const auto client = connect();
    ask(*client, "route", {"2=3"});
    settable_clock_us += assume_timeout; // due, and not done yet
    EXPECT_EQ(describe(*client).entry("output 2 waits"), "1");
    ask(*client, "route", {"2=4"});
    send_all();
    pass_time(assume_timeout); // back to what was not confirmed either
    const test_reply page = describe(*client);
    EXPECT_EQ(page.entry("output 2 sources"), "3,3");
    EXPECT_EQ(page.entry("output 2 waits"), "0");
}

TEST_F(Describe, SourceThatNobodyHasNamedIsUnknown) {
    const auto client = connect();
    resize_picture(4, 5, true);
    report_source(3, true, true, -1, false);
    report_source(4, true, false, -1);
    const test_reply page = describe(*client);
    EXPECT_EQ(page.entry("output 4 sources"), "unknown,unknown");
    EXPECT_EQ(page.entry("output 5 sources"), "0,unknown");
}

TEST_F(Describe, NameBeyondAThousandAndTwentyFourBytesIsCutShort) {
    const auto client = connect();
    name_input(0, std::string(1025, 'n'));
    name_output(0, std::string(1025, 'm'));
    const test_reply page = describe(*client);
    EXPECT_EQ(page.entry("input 1"), std::string(1024, 'n'));
    EXPECT_EQ(page.entry("output 1"), std::string(1024, 'm'));
}

TEST_F(Describe, PropertiesBeyondTheLimitsAreNotKept) {
    const auto client = connect();
    const std::string name(property_name_bytes, 'n');
    const std::string value(property_value_bytes, 'v');
    report_input_property(0, name, value);
    report_input_property(0, name + "n", "long name");
    report_input_property(0, "long value", value + "v");
    report_input_property(0, "", "no name");
    for (int i = 1; i < 20; ++i)
        report_input_property(0, "p" + std::to_string(100 + i), "x");
    const name_values kept = entries_between(describe(*client), "input 1", "input 2");
    ASSERT_EQ(kept.size(), 1 + properties_per_port);
    EXPECT_THAT(kept[1], Pair("input 1 property " + name, value));
    EXPECT_EQ(kept.back().first, "input 1 property p115");
}

// --- pages -------------------------------------------------------------------------------------------------

TEST_F(Describe, PagesNameEveryPlaceOnceAndNoneIsTooLarge) {
    resize_picture(max_inputs, max_outputs, true);
    for (std::int32_t input = 0; input < max_inputs; ++input)
        name_input(input, std::string(100 + static_cast<std::size_t>(input % 900), 'n'));
    for (std::int32_t output = 0; output < max_outputs; output += 100)
        for (int i = 0; i < 16; ++i)
            report_output_property(output, "property " + std::to_string(i), std::string(1024, 'v'));
    const auto client = connect();
    const auto pages = all_pages(*client);
    EXPECT_GT(pages.size(), 10U);
    std::vector<std::string> places;
    for (const test_reply& page : pages) {
        EXPECT_LE(body_bytes(page), page_bytes);
        EXPECT_EQ(page.entry("sequence"), std::to_string(picture_version));
        EXPECT_EQ(page.entry("inputs"), &page == &pages.front() ? "4096" : "(none)");
        for (const auto& [name, value] : page.entries)
            if ((name.starts_with("input ") || name.starts_with("output ")) &&
                std::count(name.begin(), name.end(), ' ') == 1)
                places.push_back(name);
    }
    std::vector<std::string> wanted;
    for (std::int32_t input = 1; input <= max_inputs; ++input)
        wanted.push_back("input " + std::to_string(input));
    for (std::int32_t output = 1; output <= max_outputs; ++output)
        wanted.push_back("output " + std::to_string(output));
    EXPECT_EQ(places, wanted);
}

TEST_F(Describe, GoesOnWhereItIsAskedTo) {
    const auto client = connect();
    const test_reply page = describe(*client, {"output 2"});
    ASSERT_EQ(page.entries.size(), 6U);
    EXPECT_EQ(page.entries[2].first, "output 2");
    EXPECT_EQ(page.entries[4].first, "output 3");
    EXPECT_EQ(describe(*client, {"input 4"}).entries[2].first, "input 4");
}

TEST_F(Describe, GoesOnAtTheFirstOutputWhenTheInputIsGone) {
    const auto client = connect();
    EXPECT_EQ(describe(*client, {"input 6"}).entry("output 1"), "");
    EXPECT_EQ(describe(*client, {"output 4"}).entries.size(), 2U);
}

TEST_F(Describe, WrongUseIsAnError) {
    const auto client = connect();
    const auto what = [&](const std::vector<std::string>& arguments, const name_values& entries) {
        const test_reply reply = describe(*client, arguments, entries);
        EXPECT_EQ(reply.command, "error");
        EXPECT_EQ(reply.result, 1U);
        return reply.arguments.empty() ? "" : reply.arguments.front();
    };
    const std::string form = "describe goes on at 'input N', 'output N' or 'takes'";
    for (const char* argument :
         {"", "input", "input ", "input 0", "input x", "input 1x", "input -1", "input 4097", "output 1025",
          "Output 1", "takes ", "input  1", "input 99999999999"})
        EXPECT_EQ(what({argument}, {}), form) << argument;
    EXPECT_EQ(what({"input 1", "x"}, {}), "describe has one argument at most, and no entries");
    EXPECT_EQ(what({}, {{"from", "1"}}), "describe has one argument at most, and no entries");
    for (const char* from : {"", "x", "1x", "-1", " 1", "99999999999999999999"})
        EXPECT_EQ(what({"takes"}, {{"from", from}}), "describe takes: its only entry is 'from', a number")
            << from;
    EXPECT_EQ(what({"takes"}, {{"to", "1"}}), "describe takes: its only entry is 'from', a number");
    EXPECT_EQ(describe(*client, {"x"}, {{"id", "7"}}).entry("id"), "7");
}

TEST_F(Describe, TellsWhatThisDriverKnowsAndThoseBeforeItDidNot) {
    const auto client = connect();
    const test_reply page = describe(*client, {"features"});
    EXPECT_EQ(page.command, "describe");
    EXPECT_EQ(page.result, 0U);
    EXPECT_THAT(page.entries, ElementsAre(Pair("epoch", testing::SizeIs(16)), Pair("feature", "take until")));
    EXPECT_EQ(describe(*client, {"features"}, {{"from", "1"}}).command, "error");
}

// --- the record --------------------------------------------------------------------------------------------

TEST_F(Describe, RecordTellsAllOfATake) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"2=3,0"}, {{"id", "x"}, {"by", "desk 3"}}));
    send_all();
    settable_clock_us += 40000;
    report("*COMMAND=outputs\n*TYPE=message\no1.input.audio=2\no1.input.video=none\n\n");
    received(*client);
    const std::string number = std::to_string(last_take_record);
    const test_reply page = describe(*client, {"takes"}, {{"from", number}});
    EXPECT_EQ(page.entry("last take"), number);
    name_values group = entries_between(page, "take", "");
    ASSERT_GE(group.size(), 2U);
    EXPECT_GT(std::strtoull(group[1].second.c_str(), nullptr, 10), 1600000000000U);
    group.erase(group.begin() + 1);
    EXPECT_THAT(
        group, ElementsAre(Pair("take", number), Pair("way", "take"), Pair("user", std::to_string(geteuid())),
                           Pair("pid", std::to_string(getpid())), Pair("by", "desk 3"), Pair("output", "2"),
                           Pair("level", "video,audio"), Pair("from", "1,1"), Pair("to", "3,0"),
                           Pair("result", "confirmed"), Pair("milliseconds", "40")));
}

TEST_F(Describe, RecordOfARouteHasNoName) {
    const auto client = connect();
    ask(*client, "route", {"2=3"});
    pass_time(assume_timeout);
    const test_reply page = describe(*client, {"takes"}, {{"from", std::to_string(last_take_record)}});
    EXPECT_EQ(page.entry("way"), "route");
    EXPECT_EQ(page.entry("by"), "(none)");
    EXPECT_EQ(page.entry("level"), "all");
    EXPECT_EQ(page.entry("result"), "unknown not confirmed in time");
}

TEST_F(Describe, RecordComesInPagesAndFromANumber) {
    const auto client = connect();
    decide(1100);
    const std::uint64_t oldest = last_take_record - takes_in_record + 1;
    std::vector<std::string> told;
    std::string next;
    int pages = 0;
    do {
        const test_reply page =
            describe(*client, {"takes"}, next.empty() ? name_values{} : name_values{{"from", next}});
        EXPECT_LE(body_bytes(page), page_bytes);
        for (const auto& [name, value] : page.entries)
            if (name == "take")
                told.push_back(value);
        next = page.entry("next");
        ++pages;
    } while (next != "(none)");
    EXPECT_GT(pages, 1);
    std::vector<std::string> wanted;
    for (std::uint64_t number = oldest; number <= last_take_record; ++number)
        wanted.push_back(std::to_string(number));
    EXPECT_EQ(told, wanted);
    const test_reply none = describe(*client, {"takes"}, {{"from", std::to_string(last_take_record + 1)}});
    EXPECT_EQ(none.entry("take"), "(none)");
    EXPECT_EQ(none.entry("next"), "(none)");
}
