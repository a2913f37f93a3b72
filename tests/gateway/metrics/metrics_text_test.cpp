#include "gateway/metrics/metrics_text.h"

#include <gmock/gmock.h>
#include <set>

namespace gateway {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST(MetricsText, NamesACounterByItsSamplesInPlainText) {
    metrics_text text(metrics_format::plain);
    text.begin(figure::takes_unheard);
    text.sample({{"router", "studio"}}, std::uint64_t{18446744073709551615ULL});
    EXPECT_EQ(
        text.finish(),
        "# HELP vrdx_takes_unheard_total Takes that were decided while the gateway could not hear of them.\n"
        "# TYPE vrdx_takes_unheard_total counter\n"
        "vrdx_takes_unheard_total{router=\"studio\"} 18446744073709551615\n");
}

TEST(MetricsText, NamesACounterByItsFamilyInOpenMetrics) {
    metrics_text text(metrics_format::open);
    text.begin(figure::takes_unheard);
    text.sample({}, std::uint64_t{3});
    EXPECT_EQ(text.finish(),
              "# HELP vrdx_takes_unheard Takes that were decided while the gateway could not hear of them.\n"
              "# TYPE vrdx_takes_unheard counter\n"
              "vrdx_takes_unheard_total 3\n"
              "# EOF\n");
}

TEST(MetricsText, TellsUnitsInOpenMetricsAlone) {
    metrics_text open(metrics_format::open), plain(metrics_format::plain);
    open.begin(figure::state_age);
    open.sample({}, 0.25);
    plain.begin(figure::state_age);
    EXPECT_THAT(open.finish(),
                HasSubstr("# UNIT vrdx_state_age_seconds seconds\nvrdx_state_age_seconds 0.25\n# EOF\n"));
    EXPECT_THAT(plain.finish(), Not(HasSubstr("UNIT")));
}

TEST(MetricsText, AnInfoIsAGaugeInPlainText) {
    metrics_text open(metrics_format::open), plain(metrics_format::plain);
    open.begin(figure::gateway_version);
    open.sample({{"version", "1"}}, std::uint64_t{1});
    plain.begin(figure::gateway_version);
    plain.sample({{"version", "1"}}, std::uint64_t{1});
    EXPECT_THAT(open.finish(), HasSubstr("# TYPE vrdx_gateway info\nvrdx_gateway_info{version=\"1\"} 1\n"));
    EXPECT_THAT(plain.finish(),
                HasSubstr("# TYPE vrdx_gateway_info gauge\nvrdx_gateway_info{version=\"1\"} 1\n"));
}

TEST(MetricsText, NoNameEndsItsLabelOrItsLine) {
    metrics_text text(metrics_format::plain);
    text.begin(figure::driver_up);
    text.sample({{"router", "a\"} 7\nvrdx_driver_up{router=\"b\\"}}, 1.0);
    EXPECT_THAT(text.finish(),
                EndsWith("\nvrdx_driver_up{router=\"a\\\"} 7\\nvrdx_driver_up{router=\\\"b\\\\\"} 1\n"));
}

TEST(MetricsText, AHistogramCountsEachDurationInAllBucketsThatHoldIt) {
    duration_counts counted;
    for (const std::uint64_t ms : {0, 10, 11, 1000, 5001})
        counted.add(ms);
    metrics_text text(metrics_format::open);
    text.begin(figure::take_time);
    text.sample({{"router", "a"}}, counted);
    const std::string written = text.finish();
    for (const char* line :
         {"vrdx_take_seconds_bucket{router=\"a\",le=\"0.01\"} 2\n", "le=\"0.02\"} 3\n", "le=\"0.7\"} 3\n",
          "le=\"1.0\"} 4\n", "le=\"5.0\"} 4\n", "le=\"+Inf\"} 5\n",
          "vrdx_take_seconds_sum{router=\"a\"} 6.022\nvrdx_take_seconds_count{router=\"a\"} 5\n# EOF\n"})
        EXPECT_THAT(written, HasSubstr(line));
}

TEST(MetricTable, EachRowIsWholeAndThereOnce) {
    std::set<std::string> names;
    for (const metric* each : all_metrics()) {
        const std::string name = each->name, unit = each->unit, help = each->help;
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_TRUE(name.starts_with("vrdx_") || name.starts_with("process_")) << name;
        EXPECT_FALSE(name.ends_with("_total") || name.ends_with("_info")) << name;
        EXPECT_TRUE(unit.empty() || name.ends_with("_" + unit)) << name;
        EXPECT_FALSE(help.empty()) << name;
        EXPECT_EQ(help.find_first_of("\"\\\n"), std::string::npos) << name;
    }
}

TEST(MetricTable, BucketsRise) {
    std::uint64_t before = 0;
    for (const auto& [ms, seconds] : duration_counts::bounds) {
        EXPECT_GT(ms, before);
        EXPECT_DOUBLE_EQ(std::stod(seconds) * 1000, static_cast<double>(ms));
        before = ms;
    }
}

} // namespace
} // namespace gateway
