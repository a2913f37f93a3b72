#include "fresh_driver.h"

#include <limits>

namespace {

constexpr std::uint64_t never = 0;
constexpr std::uint64_t latest = std::numeric_limits<std::uint64_t>::max();

class AutoTermination : public fresh_driver {
protected:
    AutoTermination() {
        vrdx_file = "/items/studio";
        mono_auto_shutdown = 1000;
    }
};

TEST_F(AutoTermination, IsDueAtItsTimeAndTold) {
    EXPECT_FALSE(auto_termination_due(999));
    EXPECT_EQ(trace(), "");
    EXPECT_TRUE(auto_termination_due(1000));
    EXPECT_EQ(trace(), "Auto terminate: /items/studio\n");
    EXPECT_TRUE(auto_termination_due(1001));
}

TEST_F(AutoTermination, TimeZeroIsNever) {
    mono_auto_shutdown = never;
    EXPECT_FALSE(auto_termination_due(0));
    EXPECT_FALSE(auto_termination_due(latest));
    EXPECT_EQ(trace(), "");
}

TEST_F(AutoTermination, ResidentItemStays) {
    stay_resident = true;
    EXPECT_FALSE(auto_termination_due(latest));
}

TEST_F(AutoTermination, SwitchedOffItNeverComes) {
    vrdx_no_autoshutdown = true;
    EXPECT_FALSE(auto_termination_due(latest));
    vrdx_no_autoshutdown = false;
    EXPECT_TRUE(auto_termination_due(latest));
}

} // namespace
