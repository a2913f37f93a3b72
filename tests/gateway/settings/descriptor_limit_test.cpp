#include "gateway/settings/descriptor_limit.h"

#include <gtest/gtest.h>

#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// In a process of its own: limits do not come back.
bool holds(const std::function<bool()>& what) {
    const pid_t child = fork();
    if (child == 0)
        _exit(what() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool set_limits(rlim_t soft, rlim_t hard) {
    const rlimit limit{soft, hard};
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

rlim_t soft_limit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

} // namespace

TEST(DescriptorLimit, IsRaisedAsFarAsTheSystemLets) {
    EXPECT_TRUE(holds([] {
        return set_limits(64, 256) && (geteuid() != 0 || seteuid(65534) == 0) &&
               gateway::raise_descriptor_limit(128) == 128 && soft_limit() == 128 &&
               gateway::raise_descriptor_limit(1000) == 256 && soft_limit() == 256;
    }));
}

TEST(DescriptorLimit, IsNeverLowered) {
    EXPECT_TRUE(holds([] {
        return set_limits(200, 256) && gateway::raise_descriptor_limit(100) == 200 && soft_limit() == 200;
    }));
}

TEST(DescriptorLimit, RootGoesBeyondTheHardLimit) {
    if (geteuid() != 0)
        GTEST_SKIP() << "root alone may";
    const bool may = holds([] { return set_limits(64, 128) && set_limits(64, 256); });
    if (!may)
        GTEST_SKIP() << "root may not here either";
    EXPECT_TRUE(holds([] { return set_limits(64, 128) && gateway::raise_descriptor_limit(1000) == 1000; }));
}
