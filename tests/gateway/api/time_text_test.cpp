#include "gateway/api/time_text.h"

namespace gateway {
namespace {

TEST(TimeText, TimesAreRfc3339InUtc) {
    EXPECT_EQ(rfc3339(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(rfc3339(1709208000250), "2024-02-29T12:00:00.250Z");
    EXPECT_EQ(rfc3339_of_seconds(1709208000), "2024-02-29T12:00:00Z");
    EXPECT_EQ(rfc3339_of_seconds(253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(rfc3339_of_seconds(253402300800), "1970-01-01T00:00:00Z");
    EXPECT_EQ(rfc3339_of_seconds(-1), "1970-01-01T00:00:00Z");
    EXPECT_EQ(rfc3339(~0ULL).size(), 24U);
}

} // namespace
} // namespace gateway

TEST(TimeText, MicrosecondsAreWrittenAndReadBack) {
    EXPECT_EQ(gateway::rfc3339_of_microseconds(1709208000250001), "2024-02-29T12:00:00.250001Z");
    for (const std::int64_t us : {std::int64_t{0}, std::int64_t{1}, std::int64_t{1709208000250001}})
        EXPECT_EQ(gateway::microseconds_of_rfc3339(gateway::rfc3339_of_microseconds(us)), us);
}

TEST(TimeText, TimesAreReadAsPeopleWriteThem) {
    constexpr std::int64_t noon = 1709208000000000;
    const auto read = [](const char* text) { return gateway::microseconds_of_rfc3339(text); };
    EXPECT_EQ(read("2024-02-29T12:00:00Z"), noon);
    EXPECT_EQ(read("2024-02-29T12:00:00.5Z"), noon + 500000);
    EXPECT_EQ(read("2024-02-29T12:00:00.1234567Z"), noon + 123456) << "what is finer is cut off";
    EXPECT_EQ(read("2024-02-29T13:30:00+01:30"), noon);
    EXPECT_EQ(read("2024-02-29T10:00:00-02:00"), noon);
    for (const char* wrong :
         {"", "Z", "2024-02-29", "2024-02-29T12:00:00", "2023-02-29T12:00:00Z", "2024-02-29T24:00:00Z",
          "2024-02-29T12:60:00Z", "2024-02-29T12:00:00.Z", "2024-02-29T12:00:00Zx", "2024-02-29 12:00:00Z",
          "2024-02-29T12:00:00+1:00", "2024-02-29T12:00:00+24:00", "2024-13-01T12:00:00Z", "yesterday"})
        EXPECT_FALSE(read(wrong)) << wrong;
}
