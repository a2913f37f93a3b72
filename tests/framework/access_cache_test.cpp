#include "settable_clock.h"
#include "vrdx_access_cache.h"

#include <cerrno>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint64_t second_us = 1000000;
constexpr std::size_t long_record_bytes = 5000; // what group 300 asks for

unsigned lookups = 0;
int next_lookup_error = 0;

// Stores `name` where the caller wants the record's strings; ERANGE when it does not fit.
int store(std::string_view name, char* strings, size_t size, char** stored) {
    if (size <= name.size())
        return ERANGE;
    strings[name.copy(strings, size)] = '\0';
    *stored = strings;
    return 0;
}

} // namespace

// The facility's users: 100 "operator"; groups: 200 "vision", 300 "everybody". They take the place of the
// machine's own in this program.
int getpwuid_r(uid_t uid, passwd* user, char* strings, size_t size, passwd** found) {
    lookups++;
    *found = nullptr;
    if (next_lookup_error != 0)
        return std::exchange(next_lookup_error, 0);
    if (uid != 100)
        return 0;
    const int error = store("operator", strings, size, &user->pw_name);
    *found = error == 0 ? user : nullptr;
    return error;
}

int getgrgid_r(gid_t gid, group* group, char* strings, size_t size, struct group** found) {
    lookups++;
    *found = nullptr;
    if (gid != 200 && gid != 300)
        return 0;
    if (gid == 300 && size < long_record_bytes)
        return ERANGE;
    const int error = store(gid == 200 ? "vision" : "everybody", strings, size, &group->gr_name);
    *found = error == 0 ? group : nullptr;
    return error;
}

namespace {

class AccessCache : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(cache_, nullptr);
        lookups = 0;
        next_lookup_error = 0;
    }
    void TearDown() override {
        vrdx_global_access_cache_free(cache_);
    }

    [[nodiscard]] std::string user(uid_t uid) const {
        return vrdx_global_access_cache_user(cache_, uid);
    }
    [[nodiscard]] std::string group(gid_t gid) const {
        return vrdx_global_access_cache_group(cache_, gid);
    }
    [[nodiscard]] unsigned size() const {
        return vrdx_global_access_cache_size(cache_);
    }
    void pass_time(std::uint64_t us) const {
        settable_clock_us += us;
        vrdx_global_access_cache_cleanup_idle(cache_);
    }

    vrdx_global_access_cache* cache_ = vrdx_global_access_cache_create();
};

TEST_F(AccessCache, KnowsUsersAndGroupsByName) {
    EXPECT_EQ(user(100), "operator");
    EXPECT_EQ(group(200), "vision");
    EXPECT_EQ(size(), 2U);
}

TEST_F(AccessCache, KnowsTheNamelessByNumber) {
    EXPECT_EQ(user(4294967294), "4294967294");
    EXPECT_EQ(group(0), "0");
}

TEST_F(AccessCache, DoesNotMistakeAGroupForAUser) {
    EXPECT_EQ(user(200), "200");
    EXPECT_EQ(group(200), "vision");
}

TEST_F(AccessCache, LooksUpOnce) {
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(user(100), "operator");
        EXPECT_EQ(user(101), "101");
    }
    EXPECT_EQ(lookups, 2U);
}

TEST_F(AccessCache, ReadsRecordsOfAnyUsualLength) {
    EXPECT_EQ(group(300), "everybody");
}

TEST_F(AccessCache, LooksAgainWhenALookupWasInterrupted) {
    next_lookup_error = EINTR;
    EXPECT_EQ(user(100), "operator");
}

TEST_F(AccessCache, NamesANumberWhenTheLookupFails) {
    next_lookup_error = EIO;
    EXPECT_EQ(user(100), "100");
}

TEST_F(AccessCache, ForgetsAfterAMinuteWithoutUse) {
    EXPECT_EQ(user(100), "operator");
    EXPECT_EQ(group(200), "vision");
    pass_time(60 * second_us - 1);
    EXPECT_EQ(size(), 2U);
    EXPECT_EQ(user(100), "operator");
    pass_time(1);
    EXPECT_EQ(size(), 1U) << "the user was used again";
    pass_time(60 * second_us);
    EXPECT_EQ(size(), 0U);
    lookups = 0;
    EXPECT_EQ(user(100), "operator");
    EXPECT_EQ(lookups, 1U);
}

TEST_F(AccessCache, IsDispensable) {
    EXPECT_EQ(vrdx_global_access_cache_user(nullptr, 100), "operator");
    EXPECT_EQ(vrdx_global_access_cache_group(nullptr, 200), "vision");
    vrdx_global_access_cache_cleanup_idle(nullptr);
    vrdx_global_access_cache_free(nullptr);
}

} // namespace
