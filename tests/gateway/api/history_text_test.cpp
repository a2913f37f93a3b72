#include "gateway/api/history_text.h"

#include <gtest/gtest.h>

using namespace gateway;

namespace {

history_entry a_take() {
    history_entry entry;
    entry.id = 5;
    entry.time_us = 1709208000250001;
    entry.router = "studio";
    entry.output = 3;
    entry.level = "all";
    entry.before = "?";
    entry.after = "7";
    entry.result = "confirmed";
    return entry;
}

// The lines of a CSV text, without their ends.
std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find("\r\n", begin);
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
    return lines;
}

std::string name_in_csv(const std::string& name) {
    history_entry entry;
    entry.kind = entry_kind::name;
    entry.after = name;
    const std::string line = lines_of(history_csv_text({entry})).at(1);
    const std::string before = "name,,,,,,,,,,,,";
    const std::size_t begin = line.find(before) + before.size();
    return line.substr(begin, line.rfind(",,,,1,,,") - begin);
}

} // namespace

TEST(HistoryText, SourcesOfATakeAreAnObject) {
    const json told = entry_json(a_take());
    EXPECT_EQ(told["before"].dump(), R"({"all":null})");
    EXPECT_EQ(told["after"].dump(), R"({"all":7})");
    EXPECT_EQ(told["time"], "2024-02-29T12:00:00.250001Z");
    EXPECT_TRUE(told["input"].is_null() && told["number"].is_null() && told["until"].is_null());
    history_entry split = a_take();
    split.before = "0,4";
    split.after = "";
    EXPECT_EQ(entry_json(split)["before"].dump(), R"({"video":0,"audio":4})");
    EXPECT_TRUE(entry_json(split)["after"].is_null());
}

TEST(HistoryText, NamesAreTexts) {
    history_entry entry;
    entry.kind = entry_kind::name;
    entry.before = "3";
    EXPECT_EQ(entry_json(entry)["before"], "3");
}

TEST(HistoryText, EntriesStandInTheirOrder) {
    EXPECT_EQ(history_json_text({}), R"({"history":[]})");
    history_entry second = a_take();
    second.id = 4;
    const json told = json::parse(history_json_text({a_take(), second}));
    ASSERT_EQ(told["history"].size(), 2U);
    EXPECT_EQ(told["history"][0]["id"], 5);
    EXPECT_EQ(told["history"][1]["id"], 4);
}

TEST(HistoryText, BytesThatAreNoTextAreReplaced) {
    history_entry entry = a_take();
    entry.reason = "\xff";
    EXPECT_EQ(json::parse(history_json_text({entry}))["history"][0]["reason"], "\xef\xbf\xbd");
    EXPECT_NE(history_csv_text({entry}).find("\xef\xbf\xbd"), std::string::npos);
    EXPECT_EQ(history_csv_text({entry}).find('\xff'), std::string::npos);
}

TEST(HistoryText, LineOfCsvHasACellForEachName) {
    const auto lines = lines_of(history_csv_text({a_take()}));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0],
              "id,time,kind,router,output,input,level,by,through,claims,user,process,address,before,after,"
              "result,reason,milliseconds,count,until,epoch,number,site");
    EXPECT_EQ(lines[1], "5,2024-02-29T12:00:00.250001Z,take,studio,3,,all,,,,,,,?,7,confirmed,,,1,,,,");
}

TEST(HistoryText, CellsOfCsvAreQuotedAndNoFormulas) {
    EXPECT_EQ(name_in_csv("plain"), "plain");
    EXPECT_EQ(name_in_csv("a,b"), "\"a,b\"");
    EXPECT_EQ(name_in_csv("say \"x\""), "\"say \"\"x\"\"\"");
    EXPECT_EQ(name_in_csv("=1+1"), "'=1+1");
    EXPECT_EQ(name_in_csv("@x"), "'@x");
    EXPECT_EQ(name_in_csv("-1"), "'-1");
    EXPECT_EQ(name_in_csv("two\nlines"), "\"two\nlines\"");
}
