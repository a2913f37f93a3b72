#include "settable_clock.h"
#include "vrdx_access_cache.h"

#include <gtest/gtest.h>

namespace {

class AccessCache : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(cache_, nullptr);
    }
    void TearDown() override {
        vrdx_global_access_cache_free(cache_);
    }

    std::string peer(uid_t user, gid_t group) const {
        return vrdx_global_access_cache_peer(cache_, user, group);
    }
    [[nodiscard]] std::size_t size() const {
        return vrdx_global_access_cache_size(cache_);
    }
    void pass_time(std::uint64_t us) const {
        settable_clock_us += us;
        vrdx_global_access_cache_cleanup_idle(cache_);
    }

    vrdx_global_access_cache* cache_ = vrdx_global_access_cache_create();
};

TEST_F(AccessCache, TellsUsersAndGroupsByNumber) {
    EXPECT_EQ(peer(1000, 200), "user 1000, group 200");
    EXPECT_EQ(peer(0, 0), "user 0, group 0");
    EXPECT_EQ(peer(4294967294, 4294967293), "user 4294967294, group 4294967293");
}

TEST_F(AccessCache, KnowsEachPairOnce) {
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(peer(1000, 200), "user 1000, group 200");
        EXPECT_EQ(peer(200, 1000), "user 200, group 1000");
        EXPECT_EQ(peer(1000, 201), "user 1000, group 201");
    }
    EXPECT_EQ(size(), 3U);
}

TEST_F(AccessCache, ForgetsAfterAMinuteWithoutUse) {
    peer(1000, 200);
    peer(1001, 200);
    pass_time(60 * second_us - 1);
    EXPECT_EQ(size(), 2U);
    peer(1001, 200);
    pass_time(1);
    EXPECT_EQ(size(), 1U) << "the other was used again";
    EXPECT_EQ(peer(1001, 200), "user 1001, group 200");
    pass_time(60 * second_us);
    EXPECT_EQ(size(), 0U);
    EXPECT_EQ(peer(1000, 200), "user 1000, group 200");
}

TEST_F(AccessCache, IsDispensable) {
    EXPECT_EQ(vrdx_global_access_cache_peer(nullptr, 1000, 200), "user 1000, group 200");
    EXPECT_EQ(vrdx_global_access_cache_size(nullptr), 0U);
    vrdx_global_access_cache_cleanup_idle(nullptr);
    vrdx_global_access_cache_free(nullptr);
}

} // namespace
