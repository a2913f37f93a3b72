#include "settable_clock.h"
#include "system_status.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>

namespace {

struct machine {
    bool answers = true;
    unsigned long free_blocks = 237UL * 256; // of 4 KiB, out of 960 MiB
    unsigned long free_ram = 9000;           // MiB
    long cpu_ms = 0;                         // used by this process
    double load = 0.52;
};

machine the_machine;

} // namespace

// What this program's system answers about itself.
int statvfs(const char* path, struct statvfs* volume) noexcept {
    if (!the_machine.answers || std::string(path) != "/dev/shm")
        return -1;
    *volume = {};
    volume->f_bsize = 65536; // not the unit of the block counts
    volume->f_frsize = 4096;
    volume->f_blocks = 960UL * 256;
    volume->f_bfree = the_machine.free_blocks;
    return 0;
}

int sysinfo(struct sysinfo* info) noexcept {
    *info = {};
    info->freeram = the_machine.free_ram * 1024;
    info->mem_unit = 1024;
    return the_machine.answers ? 0 : -1;
}

int getrusage(__rusage_who_t, rusage* usage) noexcept {
    *usage = {};
    usage->ru_utime.tv_sec = the_machine.cpu_ms / 1000;
    usage->ru_stime.tv_usec = the_machine.cpu_ms % 1000 * 1000;
    return the_machine.answers ? 0 : -1;
}

int getloadavg(double* loads, int) noexcept {
    *loads = the_machine.load;
    return the_machine.answers ? 1 : -1;
}

namespace {

class SystemStatus : public testing::Test {
protected:
    void SetUp() override {
        the_machine = {};
        init_zel_utils_cpu();
        settable_clock_us += second_us; // whatever another test left behind is too old to be shown
    }
};

TEST_F(SystemStatus, TellsSharedMemoryInUse) {
    EXPECT_EQ(shm_status(), "; shm 723.0 MiB of 960.0 MiB used");
}

TEST_F(SystemStatus, TellsMemoryResidentAndFree) {
    EXPECT_THAT(mem_status(), testing::MatchesRegex("; mem [0-9]+\\.[0-9] MiB resident, 9000\\.0 MiB free"));
    const double resident = std::strtod(mem_status().c_str() + 6, nullptr);
    EXPECT_GT(resident, 0.5);
    EXPECT_LT(resident, 4096);
}

TEST_F(SystemStatus, TellsCpuUseSinceItWasLastTold) {
    the_machine.cpu_ms = 3;
    EXPECT_EQ(cpu_status(), "; cpu 0.3 % of one core, load 0.52");
    the_machine.cpu_ms = 2003;
    settable_clock_us += 4 * second_us;
    EXPECT_EQ(cpu_status(), "; cpu 50.0 % of one core, load 0.52");
}

TEST_F(SystemStatus, IsRenewedOnceASecond) {
    EXPECT_EQ(shm_status(), "; shm 723.0 MiB of 960.0 MiB used");
    EXPECT_EQ(cpu_status(), "; cpu 0.0 % of one core, load 0.52");
    EXPECT_THAT(mem_status(), testing::EndsWith(", 9000.0 MiB free"));
    the_machine.free_blocks = 960UL * 256;
    the_machine.free_ram = 1;
    the_machine.load = 7;
    settable_clock_us += second_us - 1;
    EXPECT_EQ(shm_status(), "; shm 723.0 MiB of 960.0 MiB used");
    EXPECT_EQ(cpu_status(), "; cpu 0.0 % of one core, load 0.52");
    EXPECT_THAT(mem_status(), testing::EndsWith(", 9000.0 MiB free"));
    settable_clock_us += 1;
    EXPECT_EQ(shm_status(), "; shm 0.0 MiB of 960.0 MiB used");
    EXPECT_EQ(cpu_status(), "; cpu 0.0 % of one core, load 7.00");
    EXPECT_THAT(mem_status(), testing::EndsWith(", 1.0 MiB free"));
}

TEST_F(SystemStatus, SaysWhenItDoesNotKnow) {
    the_machine.answers = false;
    EXPECT_EQ(shm_status(), "; shm unknown");
    EXPECT_EQ(mem_status(), "; mem unknown");
    EXPECT_EQ(cpu_status(), "; cpu unknown");
    the_machine.answers = true;
    settable_clock_us += second_us;
    EXPECT_EQ(cpu_status(), "; cpu unknown") << "there is nothing to measure from";
    settable_clock_us += second_us;
    EXPECT_EQ(cpu_status(), "; cpu 0.0 % of one core, load 0.52");
}

} // namespace
