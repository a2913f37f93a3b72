#include "gateway/sites/asked_stream.h"
#include "gateway/sites/history_message.h"
#include "gateway/sites/stream_texts.h"

#include <gtest/gtest.h>
#include <tuple>

using namespace gateway;

namespace {

far_entry whole_entry() {
    far_entry told;
    history_entry& entry = told.entry;
    entry.site_epoch = "00112233445566aa";
    entry.site_number = 17;
    entry.time_us = 1700000000000001;
    entry.kind = entry_kind::take;
    entry.router = "B 1\xff";
    entry.output = 3;
    entry.level = "video,audio";
    entry.by = "desk";
    entry.through = through_gateway;
    entry.user = 0;
    entry.process = 4711;
    entry.address = "192.0.2.7";
    entry.before = "1,2";
    entry.after = "3,2";
    entry.result = "confirmed";
    entry.milliseconds = 0;
    entry.epoch = "ff112233445566bb";
    entry.number = 9;
    return told;
}

} // namespace

TEST(HistoryMessage, IsReadAsItWasWritten) {
    const auto message = read_history_message(history_text(whole_entry()));
    ASSERT_TRUE(message);
    const history_entry &read = message->told.entry, written = whole_entry().entry;
    EXPECT_EQ(read.site_epoch, written.site_epoch);
    EXPECT_EQ(read.site_number, 17);
    EXPECT_EQ(read.time_us, written.time_us);
    EXPECT_EQ(read.router, written.router);
    EXPECT_EQ(std::tie(read.output, read.input, read.level, read.by, read.through, read.user, read.process),
              std::tie(written.output, written.input, written.level, written.by, written.through,
                       written.user, written.process));
    EXPECT_EQ(std::tie(read.address, read.before, read.after, read.result, read.milliseconds, read.count),
              std::tie(written.address, written.before, written.after, written.result, written.milliseconds,
                       written.count));
    EXPECT_EQ(std::tie(read.epoch, read.number), std::tie(written.epoch, written.number));
    EXPECT_EQ(history_text(message->told), history_text(whole_entry()));
}

TEST(HistoryMessage, IsKeptUnderTheNameOfItsSite) {
    const history_entry kept = entry_of_site("north", whole_entry()).entry;
    EXPECT_EQ(kept.site, "north");
    EXPECT_EQ(kept.router, "north:B 1\xff");
    EXPECT_EQ(kept.by, "north:desk");
    far_entry asked_elsewhere = whole_entry();
    asked_elsewhere.entry.by = "control:desk";
    asked_elsewhere.entry.through = through_site;
    EXPECT_EQ(entry_of_site("north", asked_elsewhere).entry.by, "control:desk");
    EXPECT_EQ(entry_of_site("north", {}).entry.router, "");
}

TEST(HistoryMessage, UnknownMembersAreSkippedAndOtherVersionsKnown) {
    std::string text = history_text(whole_entry());
    text.insert(1, R"("newer":{"a":[1]},)");
    EXPECT_TRUE(read_history_message(text));
    const auto other = read_history_message(R"({"v":2,"epoch":5})");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->version, 2);
}

TEST(HistoryMessage, WhatIsNoEntryIsNotRead) {
    const std::string begin = R"({"v":1,"epoch":"00112233445566aa","number":1,"time":5,"kind":"take")";
    ASSERT_TRUE(read_history_message(begin + "}"));
    for (const char* wrong :
         {R"(,"output":-1})", R"(,"record":["x",1]})", R"(,"record":["00112233445566aa",0]})",
          R"(,"share":3})", R"(,"router":"a=4"})", R"(,"by":5})", R"(,"count":-1})", R"(,"until":-1})"})
        EXPECT_FALSE(read_history_message(begin + wrong)) << wrong;
    for (const char* wrong :
         {"", "{", "[]", R"({"v":1})", R"({"v":1,"epoch":"0","number":1,"time":5,"kind":"take"})",
          R"({"v":1,"epoch":"00112233445566aa","number":0,"time":5,"kind":"take"})",
          R"({"v":1,"epoch":"00112233445566aa","number":1,"time":5,"kind":"x"})"})
        EXPECT_FALSE(read_history_message(wrong)) << wrong;
}

TEST(HistoryMessage, SubjectNamesTheSite) {
    EXPECT_EQ(history_subject("north"), "vr.north.history");
    EXPECT_EQ(site_of_history_subject("vr.north.history"), "north");
    for (const char* other : {"vr.history", "vr..history", "vr.a.b.history", "vr.north.alive", "history"})
        EXPECT_FALSE(site_of_history_subject(other)) << other;
}

TEST(StreamTexts, AnswersOfTheBrokerAreTold) {
    const stored_entry stored = read_stored(R"({"stream":"VR_AUDIT","seq":5})");
    EXPECT_EQ(std::tie(stored.said.problem, stored.sequence, stored.was_there),
              std::make_tuple("", 5U, false));
    EXPECT_TRUE(read_stored(R"({"stream":"VR_AUDIT","seq":5,"duplicate":true})").was_there);
    EXPECT_EQ(read_stored(R"({"error":{"code":503,"err_code":10077,"description":"maximum bytes exceeded"}})")
                  .said.problem,
              "the broker says: maximum bytes exceeded");
    EXPECT_NE(read_stored("").said.problem, "");
    EXPECT_TRUE(
        read_stream_state(R"({"error":{"err_code":10059,"description":"stream not found"}})").said.no_stream);
    const stream_state state =
        read_stream_state(R"({"created":"then","state":{"messages":3,"first_seq":2,"last_seq":4}})");
    EXPECT_EQ(std::tie(state.created, state.said.problem), std::make_tuple("then", ""));
    EXPECT_EQ(std::make_tuple(state.first, state.last, state.messages), std::make_tuple(2U, 4U, 3U));
    const stream_message message =
        read_stream_message(R"({"message":{"subject":"vr.north.history","seq":9,"data":"eyJ2IjoxfQ=="}})");
    EXPECT_EQ(message.data, R"({"v":1})");
    EXPECT_EQ(message.subject, "vr.north.history");
}

TEST(AskedStream, KnowsAStreamThatWasMadeAnewOrHasLostAll) {
    const auto state = [](const std::string& created, std::uint64_t first, std::uint64_t last,
                          const std::string& first_time) {
        stream_state now;
        now.created = created;
        now.first = first;
        now.last = last;
        now.messages = last + 1 - first;
        now.first_time = first_time;
        return now;
    };
    const stream_mark mark = mark_of_text(mark_text(mark_of(state("monday", 5, 9, "noon"))));
    EXPECT_TRUE(is_same_stream(mark, state("monday", 5, 12, "noon")));
    EXPECT_TRUE(is_same_stream(mark, state("monday", 6, 12, "one"))) << "the oldest went";
    EXPECT_FALSE(is_same_stream(mark, state("tuesday", 5, 12, "noon")));
    EXPECT_FALSE(is_same_stream(mark, state("monday", 1, 12, "noon")));
    EXPECT_FALSE(is_same_stream(mark, state("monday", 5, 12, "evening"))) << "the same, begun anew";
    EXPECT_FALSE(is_same_stream({}, state("monday", 5, 9, "noon")));
    const stream_mark empty = mark_of_text(mark_text(mark_of(state("monday", 1, 0, "never"))));
    EXPECT_TRUE(is_same_stream(empty, state("monday", 1, 1, "noon")));
    EXPECT_TRUE(is_same_stream(mark_of_text("monday"), state("monday", 5, 9, "noon")))
        << "as it was kept before";
}
