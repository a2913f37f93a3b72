#include "gateway/presets/recall_store.h"

#include "gateway/access/database.h"
#include "gateway/presets/preset_store.h"
#include "opened_store.h"

namespace gateway {
namespace {

preset_take way_back(const std::string& router, int output) {
    preset_take take{router, {output, 7, 0}};
    vrdx::level_sources brought;
    brought.video = 3;
    brought.audio = 4;
    take.wish.only_if = brought;
    return take;
}

class KeptRecalls : public testing::Test {
protected:
    temporary_directory state;
    std::unique_ptr<access_store> access = opened(state.path());

    void write_preset(const std::string& name) {
        std::string problem;
        const auto presets = preset_store::open(*access, &problem);
        ASSERT_TRUE(presets) << problem;
        ASSERT_EQ(presets->write(name, {{"studio", {1, 1, 1}}}, wish("desk"), noon).result,
                  preset_answer::kind::done);
    }
    bool write(recall_memory* memory) {
        return recall_store(*access).write(memory);
    }
    // What a gateway that starts now remembers.
    recall_memory of_the_disk() {
        recall_memory memory;
        std::string problem;
        EXPECT_TRUE(recall_store(*access).read(&memory, &problem)) << problem;
        return memory;
    }
    std::int64_t outputs_on_the_disk() {
        std::int64_t rows = -1;
        std::string problem;
        EXPECT_TRUE(access->kept().number("SELECT count(*) FROM recalled_outputs", &rows, &problem));
        return rows;
    }
};

TEST_F(KeptRecalls, AreReadAsTheyWereWritten) {
    write_preset("one");
    write_preset("two");
    recall_memory memory;
    memory.keep({"two", noon + 1, {way_back("studio", 2), way_back("archive", 1)}});
    memory.keep({"one", noon, {way_back("studio", 9)}});
    ASSERT_TRUE(write(&memory));
    EXPECT_TRUE(memory.unwritten().empty());
    access.reset();
    access = opened(state.path());
    const recall_memory read = of_the_disk();
    EXPECT_TRUE(read.unwritten().empty());
    EXPECT_EQ(read.takes(), 3U);
    ASSERT_NE(read.of("two"), nullptr);
    const remembered_recall& two = *read.of("two");
    EXPECT_EQ(two.time, noon + 1);
    ASSERT_EQ(two.back.size(), 2U);
    EXPECT_EQ(two.back[1].router, "archive");
    EXPECT_EQ(two.back[0].wish.output, 2);
    EXPECT_EQ(two.back[0].wish.video, source_wish(7));
    EXPECT_EQ(two.back[0].wish.audio, source_wish(0));
    EXPECT_EQ(two.back[0].wish.only_if, way_back("studio", 2).wish.only_if);
}

TEST_F(KeptRecalls, AreForgottenByTheDiskToo) {
    write_preset("one");
    recall_memory memory;
    memory.keep({"one", noon, {way_back("studio", 1)}});
    ASSERT_TRUE(write(&memory));
    memory.keep({"one", noon, {way_back("studio", 2), way_back("studio", 3)}});
    ASSERT_TRUE(write(&memory));
    EXPECT_EQ(outputs_on_the_disk(), 2) << "those of the last recall";
    memory.forget("one");
    ASSERT_TRUE(write(&memory));
    EXPECT_EQ(outputs_on_the_disk(), 0);
    EXPECT_EQ(of_the_disk().of("one"), nullptr);
}

TEST_F(KeptRecalls, GoWithTheirPreset) {
    write_preset("one");
    recall_memory memory;
    memory.keep({"one", noon, {way_back("studio", 1)}});
    ASSERT_TRUE(write(&memory));
    write_preset("one"); // another one of its name
    EXPECT_EQ(outputs_on_the_disk(), 0);
    EXPECT_EQ(of_the_disk().of("one"), nullptr);
}

TEST_F(KeptRecalls, StayUnwrittenWhileADiskRefusesThem) {
    write_preset("one");
    std::string problem;
    ASSERT_TRUE(access->kept().script("PRAGMA query_only = 1", &problem)) << problem;
    recall_memory memory;
    memory.keep({"one", noon, {way_back("studio", 1)}});
    EXPECT_FALSE(write(&memory));
    EXPECT_FALSE(recall_store(*access).is_busy());
    EXPECT_EQ(memory.unwritten().size(), 1U);
    ASSERT_TRUE(access->kept().script("PRAGMA query_only = 0", &problem)) << problem;
    EXPECT_TRUE(write(&memory));
    EXPECT_NE(of_the_disk().of("one"), nullptr);
}

TEST_F(KeptRecalls, WaitForAnotherProgramThatWrites) {
    write_preset("one");
    access->wait_no_more();
    std::string problem;
    const auto other = opened(state.path());
    recall_memory memory;
    memory.keep({"one", noon, {way_back("studio", 1)}});
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    EXPECT_FALSE(write(&memory));
    EXPECT_TRUE(recall_store(*access).is_busy());
    ASSERT_TRUE(other->kept().script("ROLLBACK", &problem)) << problem;
    EXPECT_TRUE(write(&memory));
    EXPECT_NE(of_the_disk().of("one"), nullptr);
}

} // namespace
} // namespace gateway
