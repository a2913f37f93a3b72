#include "settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

class SierraSettings : public testing::Test {
protected:
    sierra_settings read(const std::map<std::string, std::string>& values) {
        return settings_from_item(values, log);
    }
    log_lines log;
};

} // namespace

TEST_F(SierraSettings, HaveDefaults) {
    const sierra_settings settings = read({{"driver", "route_sierra_video_aspen_hdsdi"}});
    EXPECT_EQ(settings.port, 10001);
    EXPECT_EQ(settings.baud, 9600);
    EXPECT_EQ(settings.connect_timeout_ms, 3000);
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SierraSettings, AreRead) {
    const sierra_settings settings = read({{"address", " 10.0.0.7 "},
                                           {"port", "4001"},
                                           {"device", "/dev/ttyS1"},
                                           {"baud", "115200"},
                                           {"connect timeout ms", "500"},
                                           {"video level", "1"},
                                           {"audio level", "2,3"},
                                           {"input name 12", "VTR 1"},
                                           {"output name 3", "Air"}});
    EXPECT_EQ(settings.address, "10.0.0.7");
    EXPECT_EQ(settings.port, 4001);
    EXPECT_EQ(settings.device, "/dev/ttyS1");
    EXPECT_EQ(settings.baud, 115200);
    EXPECT_EQ(settings.connect_timeout_ms, 500);
    EXPECT_EQ(settings.video_level, "1");
    EXPECT_EQ(settings.audio_level, "2,3");
    EXPECT_THAT(settings.input_names, ElementsAre(Pair(12, "VTR 1")));
    EXPECT_THAT(settings.output_names, ElementsAre(Pair(3, "Air")));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SierraSettings, MalformedOnesAreToldAndKeepTheirDefaults) {
    const sierra_settings settings =
        read({{"port", "0"}, {"baud", "9601"}, {"connect timeout ms", "soon"}, {"address", "a\nb"}});
    EXPECT_EQ(settings.port, 10001);
    EXPECT_EQ(settings.baud, 9600);
    EXPECT_EQ(settings.connect_timeout_ms, 3000);
    EXPECT_EQ(settings.address, "");
    EXPECT_EQ(log.size(), 4U);
    EXPECT_EQ(log[2], "<ERR>setting baud = 9601 is malformed, the default is used");
}

TEST_F(SierraSettings, ChangeWhileItRuns) {
    sierra_settings settings;
    EXPECT_EQ(change_sierra_setting(settings, "address", "router", log), changed_part::line);
    EXPECT_EQ(change_sierra_setting(settings, "address", "router", log), changed_part::nothing); // as it was
    EXPECT_EQ(change_sierra_setting(settings, "video level", "2", log), changed_part::levels);
    EXPECT_EQ(change_sierra_setting(settings, "input name 1", "CAM", log), changed_part::names);
    EXPECT_EQ(change_sierra_setting(settings, "colour", "red", log), changed_part::nothing);
    EXPECT_EQ(change_sierra_setting(settings, "input name 0", "CAM", log), changed_part::nothing);
    EXPECT_EQ(change_sierra_setting(settings, "input name 4097", "CAM", log), changed_part::nothing);
    EXPECT_THAT(settings.input_names, ElementsAre(Pair(1, "CAM")));
    EXPECT_THAT(log, IsEmpty());
    EXPECT_EQ(change_sierra_setting(settings, "port", "70000", log), changed_part::nothing);
    EXPECT_THAT(log, ElementsAre(HasSubstr("nothing is changed")));
    EXPECT_EQ(settings.port, 10001);
}
