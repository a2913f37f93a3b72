#include "settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

videohub_settings settings_from_item(const std::map<std::string, std::string>& values, log_lines& log) {
    videohub_settings settings;
    read_settings(videohub_setting_table(settings), values, log);
    return settings;
}

bool change(videohub_settings& settings, const std::string& name, const std::string& value, log_lines& log) {
    return change_setting(videohub_setting_table(settings), name, value, log);
}

} // namespace

TEST(VideohubSettings, HaveTheirDefaults) {
    log_lines log;
    const videohub_settings settings = settings_from_item({{"driver", "route_videohub"}}, log);
    EXPECT_EQ(settings.address, "");
    EXPECT_EQ(settings.port, 9990);
    EXPECT_EQ(settings.connect_timeout_ms, 3000);
    EXPECT_EQ(settings.ping_ms, 15000);
    EXPECT_EQ(settings.silence_ms, 30000);
    EXPECT_THAT(log, IsEmpty());
}

TEST(VideohubSettings, AreReadFromTheItem) {
    log_lines log;
    const videohub_settings settings = settings_from_item(
        {{"address", " router.example "}, {"port", "1234"}, {"connect timeout ms", "500"}}, log);
    EXPECT_EQ(settings.address, "router.example");
    EXPECT_EQ(settings.port, 1234);
    EXPECT_EQ(settings.connect_timeout_ms, 500);
}

TEST(VideohubSettings, MalformedOnesKeepTheirDefaultsAndAreTold) {
    log_lines log;
    const videohub_settings settings =
        settings_from_item({{"connect timeout ms", "0"}, {"port", "65536"}}, log);
    EXPECT_EQ(settings.port, 9990);
    EXPECT_EQ(settings.connect_timeout_ms, 3000);
    EXPECT_THAT(log, ElementsAre("<ERR>setting port = 65536 is malformed, the default is used",
                                 "<ERR>setting connect timeout ms = 0 is malformed, the default is used"));
}

TEST(VideohubSettings, ChangeWhileTheProgramRuns) {
    log_lines log;
    videohub_settings settings;
    EXPECT_TRUE(change(settings, "address", "10.0.0.5", log));
    EXPECT_TRUE(change(settings, "port", "9991", log));
    EXPECT_TRUE(change(settings, "connect timeout ms", "1", log));
    EXPECT_FALSE(change(settings, "videohub ping ms", "1", log));
    EXPECT_FALSE(change(settings, "somebody else's", "1", log));
    EXPECT_THAT(log, IsEmpty());
    EXPECT_FALSE(change(settings, "port", "ninety", log));
    EXPECT_THAT(log, ElementsAre("<ERR>setting port = ninety is malformed, nothing is changed"));
    EXPECT_EQ(settings.port, 9991);
}

TEST(VideohubSettings, LongValueDoesNotFillTheLog) {
    log_lines log;
    videohub_settings settings;
    EXPECT_FALSE(change(settings, "port", std::string(10000, '9'), log));
    EXPECT_THAT(log, ElementsAre("<ERR>setting port = " + std::string(60, '9') +
                                 " is malformed, nothing is changed"));
}
