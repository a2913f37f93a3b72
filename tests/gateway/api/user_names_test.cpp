#include "gateway/api/user_names.h"

#include "gateway/settings/limits.h"
#include "wait_until.h"

#include <atomic>
#include <gtest/gtest.h>

namespace gateway {
namespace {

std::atomic<int> looked_up{0};
std::atomic<bool> hangs{false};

std::string name_of(std::uint64_t user) {
    looked_up++;
    while (hangs)
        std::this_thread::yield();
    return user == 13 ? "" : "user" + std::to_string(user);
}

std::vector<std::uint64_t> wait_for_found(user_names* names) {
    std::vector<std::uint64_t> found;
    wait_until("a name", [&] {
        found = names->found();
        return !found.empty();
    });
    return found;
}

TEST(UserNames, AreKnownOnceTheyWereLookedUp) {
    user_names names(name_of);
    EXPECT_EQ(names.of(7), "");
    EXPECT_EQ(wait_for_found(&names), std::vector<std::uint64_t>{7});
    EXPECT_EQ(names.of(7), "user7");
    EXPECT_TRUE(names.found().empty());
}

TEST(UserNames, AreLookedUpOnce) {
    looked_up = 0;
    user_names names(name_of);
    names.of(13); // has none
    names.of(7);
    wait_for_found(&names);
    for (int count = 0; count < 10; count++)
        EXPECT_EQ(names.of(13), "");
    names.of(8);
    wait_for_found(&names);
    EXPECT_EQ(looked_up, 3);
}

TEST(UserNames, OfANameServiceThatHangsAreWaitedForByNobody) {
    hangs = true;
    {
        user_names names(name_of);
        for (std::uint64_t user = 0; user < 10 * user_names_limit; user++)
            EXPECT_EQ(names.of(user), "");
        EXPECT_TRUE(names.found().empty());
    } // nor at the end
    hangs = false;
}

} // namespace
} // namespace gateway
