#include "gateway/metrics/metrics_format.h"

#include <gtest/gtest.h>
#include <string>

namespace gateway {
namespace {

TEST(MetricsFormat, IsPlainTextUnlessOpenMetricsIsWanted) {
    for (const char* accept :
         {"", "*/*", "text/plain", "text/plain;version=0.0.4", "application/json", "text/html,*/*;q=0.8",
          ",,;;=", "application/openmetrics-text;version=2.0.0", "application/openmetrics-text;version=0.0.1",
          "application/openmetrics-text;q=0", "application/openmetrics-text;q=0.000",
          "application/openmetrics-text;q=high", "application/openmetrics-text;q=1.1",
          "text/plain;q=0.9,application/openmetrics-text;q=0.8", "application/openmetrics-textual"})
        EXPECT_EQ(wanted_format(accept), metrics_format::plain) << accept;
}

TEST(MetricsFormat, IsOpenMetricsForWhoWantsThatAtLeastAsMuch) {
    for (const char* accept :
         {"application/openmetrics-text", "Application/OpenMetrics-Text ; Version=1.0.0",
          "application/openmetrics-text; version=\"1.0.0\"",
          "application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
          "text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
          "text/plain;q=0.25 , application/openmetrics-text;q=0.251",
          "text/plain, application/openmetrics-text"})
        EXPECT_EQ(wanted_format(accept), metrics_format::open) << accept;
}

TEST(MetricsFormat, TellsItsVersion) {
    EXPECT_STREQ(content_type_of(metrics_format::plain), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_STREQ(content_type_of(metrics_format::open),
                 "application/openmetrics-text; version=1.0.0; charset=utf-8");
}

} // namespace
} // namespace gateway
