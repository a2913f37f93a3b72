#include "gateway/presets/recall_memory.h"

#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

namespace gateway {
namespace {

std::vector<preset_take> takes(std::size_t count) {
    std::vector<preset_take> all(count);
    for (std::size_t at = 0; at < count; at++)
        all[at] = {"studio", {static_cast<int>(at) + 1, 1, 1}};
    return all;
}

TEST(RecallMemory, KnowsTheLastRecallOfEachPreset) {
    recall_memory memory;
    memory.keep({"one", 0, takes(3)});
    memory.keep({"two", 0, takes(2)});
    memory.keep({"one", 0, takes(1)});
    ASSERT_NE(memory.of("one"), nullptr);
    EXPECT_EQ(memory.of("one")->back.size(), 1U);
    EXPECT_EQ(memory.of("two")->back.size(), 2U);
    EXPECT_EQ(memory.of("three"), nullptr);
    EXPECT_EQ(memory.takes(), 3U);
}

TEST(RecallMemory, ForgetsWhatItIsTold) {
    recall_memory memory;
    memory.keep({"one", 0, takes(3)});
    memory.forget("one");
    memory.forget("never there");
    EXPECT_EQ(memory.of("one"), nullptr);
    EXPECT_EQ(memory.takes(), 0U);
}

TEST(RecallMemory, KeepsARecallWhenItEnds) {
    recall_memory memory;
    const std::uint64_t first = memory.begin("one"), second = memory.begin("one");
    EXPECT_EQ(memory.of("one"), nullptr);
    memory.end(first, takes(3), 0);
    EXPECT_EQ(memory.takes(), 3U);
    memory.end(second, {}, 0);
    EXPECT_EQ(memory.takes(), 3U) << "one that changed nothing leaves what was known";
    memory.end(first, takes(2), 0);
    EXPECT_EQ(memory.takes(), 3U) << "it has ended already";
}

TEST(RecallMemory, RecallOfAReplacedPresetIsNotKept) {
    recall_memory memory;
    memory.keep({"one", 0, takes(1)});
    const std::uint64_t of_one = memory.begin("one"), of_two = memory.begin("two");
    memory.forget_replaced("one");
    const std::uint64_t of_new_one = memory.begin("one");
    memory.end(of_one, takes(3), 0);
    EXPECT_EQ(memory.of("one"), nullptr);
    memory.end(of_two, takes(2), 0);
    EXPECT_NE(memory.of("two"), nullptr) << "another preset goes on";
    memory.end(of_new_one, takes(4), 0);
    ASSERT_NE(memory.of("one"), nullptr);
    EXPECT_EQ(memory.of("one")->back.size(), 4U);
}

TEST(RecallMemory, ForgetsTheOldestBeyondItsLimit) {
    recall_memory memory;
    constexpr std::size_t fit = preset_undo_takes_limit / preset_takes_limit;
    for (std::size_t at = 0; at < fit; at++)
        memory.keep({std::to_string(at), 0, takes(preset_takes_limit)});
    EXPECT_NE(memory.of("0"), nullptr);
    memory.keep({"0", 0, takes(preset_takes_limit)}); // as new as any
    memory.keep({"one more", 0, takes(1)});
    EXPECT_EQ(memory.of("1"), nullptr);
    EXPECT_NE(memory.of("0"), nullptr);
    EXPECT_NE(memory.of("one more"), nullptr);
    EXPECT_LE(memory.takes(), preset_undo_takes_limit);
}

TEST(RecallMemory, ForgetsAfterADay) {
    recall_memory memory;
    memory.keep({"one", 1000, takes(1)});
    memory.keep({"two", 2000, takes(1)});
    memory.forget_old(1000 + preset_undo_time_s - 1);
    EXPECT_NE(memory.of("one"), nullptr);
    memory.forget_old(1000 + preset_undo_time_s);
    EXPECT_EQ(memory.of("one"), nullptr);
    EXPECT_NE(memory.of("two"), nullptr);
}

TEST(RecallMemory, TellsWhatTheDiskDoesNotHave) {
    recall_memory memory;
    const auto unwritten = [&memory] {
        return std::vector<std::string>(memory.unwritten().begin(), memory.unwritten().end());
    };
    memory.keep({"one", 0, takes(1)});
    memory.keep({"two", 0, takes(1)});
    EXPECT_EQ(unwritten(), (std::vector<std::string>{"one", "two"}));
    memory.written("one");
    memory.written("two");
    memory.forget("never there");
    EXPECT_TRUE(unwritten().empty());
    memory.forget("one");
    EXPECT_EQ(unwritten(), std::vector<std::string>{"one"});
    memory.forget_replaced("two");
    EXPECT_EQ(unwritten(), std::vector<std::string>{"one"}) << "it went from the disk with its preset";
    memory.keep({"one", 0, takes(1)});
    memory.forget_replaced("one");
    EXPECT_TRUE(unwritten().empty());
}

} // namespace
} // namespace gateway
