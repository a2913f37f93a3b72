#include "system_user.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

TEST(SystemUser, HasTheNameThatTheSystemHasForIt) {
    const passwd* root = getpwuid(0);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(system_user_name(0), root->pw_name);
}

TEST(SystemUser, WithoutANameIsNone) {
    std::uint64_t nobodys = 4000000000U;
    while (getpwuid(static_cast<uid_t>(nobodys)) != nullptr)
        nobodys++;
    EXPECT_EQ(system_user_name(nobodys), "");
    EXPECT_EQ(system_user_name(0xffffffffU), "");
    EXPECT_EQ(system_user_name(0x100000000U), "") << "is not user 0";
    EXPECT_EQ(system_user_name(UINT64_MAX), "");
}
