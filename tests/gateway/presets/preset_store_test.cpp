#include "gateway/presets/preset_store.h"

#include "gateway/access/database.h"
#include "gateway/settings/limits.h"
#include "opened_store.h"

#include <gmock/gmock.h>

namespace gateway {
namespace {

using kind = preset_answer::kind;
using testing::ElementsAre;
using testing::HasSubstr;

const std::vector<preset_take> on_two_routers = {
    {"studio", {1, 7, 7}},
    {"archive", {2, "Camera: 1", std::nullopt}},
    {"studio", {3, 0, ":"}},
};

class Presets : public testing::Test {
protected:
    temporary_directory state;
    std::unique_ptr<access_store> access;
    std::unique_ptr<preset_store> presets;
    token all = wish("all", role::lock);
    token studio_alone = wish("studio alone", role::lock);

    void SetUp() override {
        studio_alone.routers = {"studio"};
        open();
    }
    void open() {
        presets.reset();
        access.reset();
        access = opened(state.path());
        std::string problem;
        presets = preset_store::open(*access, &problem);
        ASSERT_TRUE(presets) << problem;
    }
    preset_answer write(const std::string& name, const std::vector<preset_take>& takes, const token& who) {
        return presets->write(name, takes, who, noon);
    }
    std::vector<std::string> names(const token& who) {
        std::vector<std::string> found;
        for (const preset_row* row : presets->list(who))
            found.push_back(row->name);
        return found;
    }
};

} // namespace

TEST_F(Presets, AreAsTheyWereWrittenAlsoAfterARestart) {
    ASSERT_EQ(write("show", on_two_routers, all).result, kind::done);
    for (int start = 0; start < 2; start++) {
        preset found;
        ASSERT_EQ(presets->read("show", all, &found).result, kind::done);
        EXPECT_EQ(found.row.author, "all");
        EXPECT_EQ(found.row.changed, noon);
        EXPECT_THAT(found.row.routers, ElementsAre("archive", "studio"));
        EXPECT_EQ(found.row.takes, 3U);
        ASSERT_EQ(found.takes.size(), on_two_routers.size());
        for (std::size_t at = 0; at < found.takes.size(); at++) {
            EXPECT_EQ(found.takes[at].router, on_two_routers[at].router);
            EXPECT_EQ(found.takes[at].wish.output, on_two_routers[at].wish.output);
            EXPECT_EQ(found.takes[at].wish.video, on_two_routers[at].wish.video);
            EXPECT_EQ(found.takes[at].wish.audio, on_two_routers[at].wish.audio);
        }
        open();
    }
}

TEST_F(Presets, AreReplacedAndRemovedAsAWhole) {
    ASSERT_EQ(write("show", on_two_routers, all).result, kind::done);
    ASSERT_EQ(write("show", {on_two_routers[0]}, all).result, kind::done);
    open();
    preset found;
    ASSERT_EQ(presets->read("show", all, &found).result, kind::done);
    EXPECT_EQ(found.takes.size(), 1U);
    EXPECT_THAT(found.row.routers, ElementsAre("studio"));
    ASSERT_EQ(presets->remove("show", all).result, kind::done);
    EXPECT_EQ(presets->read("show", all, &found).result, kind::not_here);
    open();
    EXPECT_THAT(names(all), ElementsAre());
    std::int64_t left = -1;
    std::string problem;
    ASSERT_TRUE(access->kept().number("SELECT count(*) FROM preset_takes", &left, &problem)) << problem;
    EXPECT_EQ(left, 0);
}

TEST_F(Presets, AreThereForWhoSeesAllTheirRouters) {
    ASSERT_EQ(write("both", on_two_routers, all).result, kind::done);
    ASSERT_EQ(write("mine", {on_two_routers[0]}, studio_alone).result, kind::done);
    EXPECT_THAT(names(all), ElementsAre("both", "mine"));
    EXPECT_THAT(names(studio_alone), ElementsAre("mine"));
    preset found;
    EXPECT_EQ(presets->read("both", studio_alone, &found).result, kind::not_here);
    EXPECT_EQ(presets->remove("both", studio_alone).result, kind::not_here);
    EXPECT_EQ(write("both", {on_two_routers[0]}, studio_alone).result, kind::taken);
    EXPECT_EQ(presets->read("both", all, &found).result, kind::done);
    EXPECT_EQ(found.takes.size(), 3U);
}

TEST_F(Presets, AreLimitedInTheirNumber) {
    for (std::size_t at = 0; at < presets_limit; at++)
        ASSERT_EQ(write(std::to_string(at), {on_two_routers[0]}, all).result, kind::done);
    const preset_answer answer = write("one more", {on_two_routers[0]}, all);
    EXPECT_EQ(answer.result, kind::too_many);
    EXPECT_THAT(answer.problem, HasSubstr("1024"));
    EXPECT_EQ(write("7", on_two_routers, all).result, kind::done); // one that is there
}

TEST_F(Presets, AreLimitedInTheirBytes) {
    const std::vector<preset_take> large(preset_takes_limit, {"studio", {1, std::string(1100, 'n'), 1}});
    std::size_t written = 0;
    while (written < presets_limit && write(std::to_string(written), large, all).result == kind::done)
        written++;
    EXPECT_EQ(written, 3U);
    EXPECT_EQ(write("0", large, all).result, kind::done);
    EXPECT_EQ(write("small", {on_two_routers[0]}, all).result, kind::done);
    open(); // counted anew, and the same
    EXPECT_EQ(write("3", large, all).result, kind::too_many);
    ASSERT_EQ(presets->remove("0", all).result, kind::done);
    EXPECT_EQ(write("3", large, all).result, kind::done);
}

TEST_F(Presets, AreKeptWhenADiskRefusesOthers) {
    ASSERT_EQ(write("show", on_two_routers, all).result, kind::done);
    std::string problem;
    ASSERT_TRUE(access->kept().script("PRAGMA query_only = 1", &problem)) << problem;
    const preset_answer refused = write("show", {on_two_routers[0]}, all);
    EXPECT_EQ(refused.result, kind::failed);
    EXPECT_FALSE(refused.problem.empty());
    EXPECT_EQ(presets->remove("show", all).result, kind::failed);
    preset found;
    EXPECT_EQ(presets->read("show", all, &found).result, kind::done);
    EXPECT_EQ(found.takes.size(), 3U);
}

TEST(PresetName, IsAShortLineWithoutSlashes) {
    for (const std::string& name : {std::string("a"), std::string("Morning show"), std::string("Größe"),
                                    std::string(preset_name_limit, 'n')})
        EXPECT_EQ(preset_name_problem(name), "") << name;
    for (const std::string& name :
         {std::string(), std::string("a/b"), std::string("a\nb"), std::string(1, '\0'), std::string("\x7f"),
          std::string(preset_name_limit + 1, 'n')})
        EXPECT_THAT(preset_name_problem(name), HasSubstr("128 bytes")) << name;
    // Browsers take these out of a path.
    for (const std::string& name : {std::string("."), std::string("..")})
        EXPECT_THAT(preset_name_problem(name), HasSubstr("but not \".\" and \"..\"")) << name;
    EXPECT_EQ(preset_name_problem("..."), "");
}

TEST(KeptSource, IsReadAsItWasWritten) {
    for (const std::optional<source_wish>& source :
         {std::optional<source_wish>(), std::optional<source_wish>(0), std::optional<source_wish>(4096),
          std::optional<source_wish>("7"), std::optional<source_wish>(":"),
          std::optional<source_wish>("Cam 1")})
        EXPECT_EQ(source_of_kept(kept_source(source)), source) << kept_source(source);
    for (const char* text : {"", ":", "-1", "4097", "1a", " 1", "99999999999999999999"})
        EXPECT_EQ(source_of_kept(text), std::nullopt) << text;
}

} // namespace gateway
