#include "gateway/api/json_reading.h"

namespace gateway {
namespace {

std::string problem(std::string_view text) {
    std::string what;
    const auto value = read_json(text, &what);
    EXPECT_EQ(value.has_value(), what.empty()) << text;
    return what;
}

TEST(JsonReading, UsualBodiesPass) {
    EXPECT_EQ(problem(R"({"takes": [{"output": 1, "input": "Künstler"}], "within": 3000})"), "");
    EXPECT_EQ(problem(R"({"a": {"x": 1}, "b": {"x": 1}, "c": [-2147483648, 2147483647, true, null]})"), "");
    EXPECT_EQ(problem("[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]"), ""); // 16
}

TEST(JsonReading, MembersThatAreThereTwiceAreRefused) {
    EXPECT_THAT(problem(R"({"a": 1, "a": 2})"), testing::HasSubstr("\"a\" twice"));
    EXPECT_THAT(problem(R"({"a": 1, "\u0061": 2})"), testing::HasSubstr("twice"));
    EXPECT_THAT(problem(R"([{"b": {"a": 1, "c": {}, "a": 2}}])"), testing::HasSubstr("twice"));
}

TEST(JsonReading, DeepNestingIsRefused) {
    EXPECT_THAT(problem(std::string(17, '[')), testing::HasSubstr("deep"));
    EXPECT_THAT(problem(std::string(500000, '[')), testing::HasSubstr("deep"));
    std::string objects;
    for (int depth = 0; depth < 17; depth++)
        objects += R"({"a":)";
    EXPECT_THAT(problem(objects), testing::HasSubstr("deep"));
}

TEST(JsonReading, NumbersThatAreNotWholeOrTooLargeAreRefused) {
    for (const char* number : {"2147483648", "-2147483649", "18446744073709551615", "99999999999999999999",
                               "1.0", "1e2", "1e400", "-0.0", "0.5"})
        EXPECT_THAT(problem(std::string("[") + number + "]"), testing::HasSubstr("number")) << number;
}

TEST(JsonReading, OtherTextIsRefusedWithItsPlace) {
    for (const char* text : {"", "{", "nul", "[1,]", "{'a': 1}", "[01]", "[1] 2", "\"\xff\"",
                             "[\"\xed\xa0\x80\"]", "NaN", "[\"a\nb\"]", "// a\n[]"})
        EXPECT_THAT(problem(text), testing::HasSubstr("no JSON in UTF-8")) << text;
}

TEST(JsonReading, NothingHidesBehindANul) {
    EXPECT_THAT(problem(std::string_view("{}\0{", 4)), testing::HasSubstr("byte 3"));
    EXPECT_THAT(problem(std::string_view("{}\0", 3)), testing::HasSubstr("byte 3"));
}

TEST(JsonReading, UnknownMembersAreNamedWithThePossibleOnes) {
    EXPECT_EQ(members_problem(json::parse(R"({"a": 1, "b": 2})"), {"a", "b"}), "");
    EXPECT_EQ(members_problem(json::parse(R"({"c": 1})"), {"a", "b"}),
              "There is no member \"c\"; possible are \"a\", \"b\".");
    EXPECT_THAT(members_problem(json::parse("[]"), {"a"}), testing::HasSubstr("\"a\""));
}

TEST(JsonReading, PlainTextHasNoControlCharacters) {
    EXPECT_TRUE(is_plain_text("Kamera \xc3\xa4", 9));
    EXPECT_FALSE(is_plain_text("Kamera \xc3\xa4", 8));
    for (const char* text : {"a\nb", "\t", "\x1b[0m", "\x7f"})
        EXPECT_FALSE(is_plain_text(text, 100));
    EXPECT_FALSE(is_plain_text(std::string_view("\0", 1), 100));
}

} // namespace
} // namespace gateway
