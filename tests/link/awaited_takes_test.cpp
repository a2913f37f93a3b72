// Takes that wait for the router's word.
#include "awaited_takes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(AwaitedTakes, AreAwaitedUntilEveryLevelIsShown) {
    awaited_takes awaited;
    for (int level = 1; level <= 3; ++level) {
        await_take(awaited, 2, level, 5, 100);
    }
    EXPECT_FALSE(note_shown(awaited, 2, 1, 5));
    EXPECT_FALSE(note_shown(awaited, 2, 2, 4)); // an interim report
    EXPECT_FALSE(note_shown(awaited, 2, 2, 5));
    EXPECT_FALSE(note_shown(awaited, 3, 3, 5));
    EXPECT_TRUE(note_shown(awaited, 2, 3, std::nullopt)); // this crosspoint does not exist
    EXPECT_THAT(awaited, IsEmpty());
}

TEST(AwaitedTakes, NewerTakeReplacesTheOlder) {
    awaited_takes awaited;
    await_take(awaited, 2, 0, 5, 100);
    await_take(awaited, 2, 0, 6, 200);
    EXPECT_FALSE(is_awaited(awaited, 2, 0, 5));
    EXPECT_TRUE(is_awaited(awaited, 2, 0, 6));
    EXPECT_EQ(next_awaited_deadline(awaited), 200U);
    EXPECT_FALSE(note_shown(awaited, 2, 0, 5));
    EXPECT_TRUE(note_shown(awaited, 2, 0, 6));
}

TEST(AwaitedTakes, RefusedOneEndsWithWhateverIsShown) {
    awaited_takes awaited;
    await_take(awaited, 2, 0, 5, 100);
    awaited[2].refused = true;
    EXPECT_TRUE(note_shown(awaited, 2, 0, 1));
}

TEST(AwaitedTakes, EndAtTheirDeadlineSilentOrContradicted) {
    awaited_takes awaited;
    await_take(awaited, 1, 0, 5, 100);
    await_take(awaited, 2, 0, 5, 100);
    await_take(awaited, 3, 0, 5, 101);
    note_shown(awaited, 2, 0, 4);
    const expired_takes expired = expire_awaited(awaited, 100);
    EXPECT_THAT(expired.silent, ElementsAre(1));
    EXPECT_THAT(expired.contradicted, ElementsAre(2));
    EXPECT_EQ(awaited.size(), 1U);
}
