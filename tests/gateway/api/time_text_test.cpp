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
