// The picture of the router, its levels, and takes on it.
#include "levels.h"
#include "sierra_picture.h"
#include "takes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::vector<std::string> usual_levels = {"VIDEO", "AudioL", "AudioR"};

sierra_picture picture_of(const std::string& size) {
    sierra_picture picture;
    set_size(picture, parse_replies(size).at(0));
    return picture;
}

std::vector<seen_crosspoint> apply(sierra_picture& picture, const std::string& routing) {
    std::vector<seen_crosspoint> all;
    for (const reply& part : parse_replies(routing)) {
        for (const seen_crosspoint& seen : apply_routing(picture, part)) {
            all.push_back(seen);
        }
    }
    return all;
}

std::vector<int> sources_of(const sierra_picture& picture, int output) {
    std::vector<int> sources;
    for (int level = 1; level <= static_cast<int>(picture.levels.size()); ++level) {
        sources.push_back(source_of(picture, output, level));
    }
    return sources;
}

class SierraLevels : public testing::Test {
protected:
    level_groups group(const std::vector<std::string>& names, const std::string& video = "",
                       const std::string& audio = "") {
        return group_levels(names, video, audio, log);
    }
    log_lines log;
};

class SierraTakes : public testing::Test {
protected:
    std::vector<crosspoint_take> plan(const std::vector<endpoint_take>& takes) {
        std::vector<crosspoint_take> planned;
        for (const endpoint_take& take : takes) {
            plan_take(take, groups, planned);
        }
        return planned;
    }
    log_lines log;
    level_groups groups = group_levels(usual_levels, "", "", log);
};

} // namespace

TEST(SierraPicture, IsUnknownUntilToldOtherwise) {
    sierra_picture picture;
    EXPECT_FALSE(size_known(picture));
    EXPECT_THAT(apply(picture, "X1,1,1 Y1,1 V1,1"), IsEmpty());
    picture = picture_of("L4,3,8,VIDEO~AudioL~AudioR~~");
    EXPECT_THAT(sources_of(picture, 1), ElementsAre(0, 0, 0));
}

TEST(SierraPicture, FollowsEachKindOfReport) {
    sierra_picture picture = picture_of("L4,3,8,VIDEO~AudioL~AudioR~~");
    apply(picture, "X2,5,3");
    EXPECT_THAT(sources_of(picture, 2), ElementsAre(0, 0, 5));
    apply(picture, "Y2,7");
    EXPECT_THAT(sources_of(picture, 2), ElementsAre(7, 7, 7));
    apply(picture, "V2,1,-,0");
    EXPECT_THAT(sources_of(picture, 2), ElementsAre(1, source_disconnected, source_unknown));
    apply(picture, "X2,6,0");
    EXPECT_THAT(sources_of(picture, 2), ElementsAre(6, 6, 6));
    EXPECT_THAT(sources_of(picture, 1), ElementsAre(0, 0, 0));
}

TEST(SierraPicture, TellsWhatWasSeenAndWhatChanged) {
    sierra_picture picture = picture_of("L4,2,8,VIDEO~AUDIO~~");
    apply(picture, "X2,5,1");
    const auto seen = apply(picture, "Y2,5");
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_FALSE(seen[0].changed);
    EXPECT_TRUE(seen[1].changed);
    EXPECT_EQ(seen[1].level, 2);
}

TEST(SierraPicture, NumbersBeyondTheRouterAreLeftOut) {
    sierra_picture picture = picture_of("L4,2,8,VIDEO~AUDIO~~");
    EXPECT_THAT(apply(picture, "X5,1,1 X1,1,3 Y2147483647,1"), IsEmpty());
    EXPECT_THAT(apply(picture, "V1,1,1,1"), SizeIs(2));
    apply(picture, "X1,9,1");
    EXPECT_EQ(source_of(picture, 1, 1), source_unknown);
    EXPECT_EQ(source_of(picture, 9, 1), source_unknown);
}

TEST(SierraPicture, SourceOfAGroupIsTheFirstKnownOne) {
    sierra_picture picture = picture_of("L4,3,8,VIDEO~AudioL~AudioR~~");
    apply(picture, "V1,1,0,3 V2,1,2,3");
    EXPECT_EQ(source_of(picture, 1, std::vector{2, 3}), 3);
    EXPECT_EQ(source_of(picture, 2, std::vector{2, 3}), 2);
    EXPECT_EQ(source_of(picture, 3, std::vector{2, 3}), source_unknown);
}

TEST_F(SierraLevels, AreGroupedByTheirNames) {
    const level_groups groups = group(usual_levels);
    EXPECT_TRUE(groups.split);
    EXPECT_THAT(groups.video, ElementsAre(1));
    EXPECT_THAT(groups.audio, ElementsAre(2, 3));
    EXPECT_TRUE(groups.cover_all);
}

TEST_F(SierraLevels, OtherLevelsAreLeftAlone) {
    const level_groups groups = group({"audio", "TC", "Video1", "VIDEO2"});
    EXPECT_THAT(groups.video, ElementsAre(3, 4));
    EXPECT_THAT(groups.audio, ElementsAre(1));
    EXPECT_FALSE(groups.cover_all);
}

TEST_F(SierraLevels, WithoutBothKindsAllAreTakenTogether) {
    for (const auto& names : {std::vector<std::string>{"VIDEO"}, {"SDI", "AES"}, {"VIDEO", "VIDEO2"}}) {
        const level_groups groups = group(names);
        EXPECT_FALSE(groups.split);
        EXPECT_THAT(groups.video, SizeIs(names.size()));
        EXPECT_TRUE(groups.cover_all);
    }
}

TEST_F(SierraLevels, SettingsNameOrNumberThem) {
    const level_groups groups = group({"SDI", "AES1", "AES2", "TC"}, "1", "aes1, 3");
    EXPECT_TRUE(groups.split);
    EXPECT_THAT(groups.video, ElementsAre(1));
    EXPECT_THAT(groups.audio, ElementsAre(2, 3));
    EXPECT_FALSE(groups.cover_all);
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SierraLevels, OneSettingTakesALevelFromTheOtherGroup) {
    EXPECT_THAT(group(usual_levels, "VIDEO,2").audio, ElementsAre(3));
    EXPECT_FALSE(group(usual_levels, "", "1,2,3").split);
}

TEST_F(SierraLevels, SettingWithAnUnknownLevelSaysNothing) {
    EXPECT_THAT(group(usual_levels, "", "2,PCM").audio, ElementsAre(2, 3));
    EXPECT_THAT(log, ElementsAre(HasSubstr("<ERR>setting audio level: the router has no level 'PCM'")));
    EXPECT_THAT(group(usual_levels, "0").video, ElementsAre(1));
    EXPECT_THAT(group(usual_levels, "4").video, ElementsAre(1));
}

TEST_F(SierraTakes, TakeOfBothSwitchesAllLevelsAtOnce) {
    EXPECT_THAT(plan({{2, 4, endpoint_level::all}}), ElementsAre(crosspoint_take{3, 0, 5}));
    EXPECT_THAT(plan({{2, -1, endpoint_level::all}}),
                ElementsAre(crosspoint_take{3, 0, source_disconnected}));
}

TEST_F(SierraTakes, BreakawaySwitchesTheLevelsOfItsKind) {
    EXPECT_THAT(plan({{2, 4, endpoint_level::video}, {2, 1, endpoint_level::audio}}),
                ElementsAre(crosspoint_take{3, 1, 5}, crosspoint_take{3, 2, 2}, crosspoint_take{3, 3, 2}));
}

TEST_F(SierraTakes, TakeOfBothLeavesOtherLevelsAlone) {
    groups = group_levels({"VIDEO", "TC", "AUDIO"}, "", "", log);
    EXPECT_THAT(plan({{0, 0, endpoint_level::all}}),
                ElementsAre(crosspoint_take{1, 1, 1}, crosspoint_take{1, 3, 1}));
}

TEST_F(SierraTakes, LaterTakeOfTheSameCrosspointReplacesTheEarlier) {
    EXPECT_THAT(plan({{2, 4, endpoint_level::all}, {2, 5, endpoint_level::all}}),
                ElementsAre(crosspoint_take{3, 0, 6}));
    EXPECT_THAT(plan({{2, 4, endpoint_level::audio}, {2, 5, endpoint_level::all}}),
                ElementsAre(crosspoint_take{3, 0, 6}));
    EXPECT_THAT(plan({{2, 4, endpoint_level::all}, {2, 5, endpoint_level::video}}),
                ElementsAre(crosspoint_take{3, 0, 5}, crosspoint_take{3, 1, 6}));
}

TEST_F(SierraTakes, WhatTheDriverAskedForIsFoundAgain) {
    const auto asked = asked_takes(
        plan({{2, 4, endpoint_level::all}, {0, 1, endpoint_level::video}, {1, -1, endpoint_level::audio}}),
        groups);
    ASSERT_THAT(asked, SizeIs(3));
    EXPECT_EQ(asked[0].level, endpoint_level::video);
    EXPECT_EQ(asked[1].source, no_source);
    EXPECT_EQ(asked[1].level, endpoint_level::audio);
    EXPECT_EQ(asked[2].output, 2);
    EXPECT_EQ(asked[2].source, 4);
    EXPECT_EQ(asked[2].level, endpoint_level::all);
}

TEST_F(SierraTakes, WhatANewerTakeWantsIsNotLeftOfTheOlder) {
    awaited_takes awaited;
    const std::vector<crosspoint_take> older = {{3, 1, 5}, {4, 0, 5}};
    await_takes(awaited, older, 3, 100);
    EXPECT_EQ(not_shown(awaited, older), older);
    await_takes(awaited, {{3, 1, 6}}, 3, 200);
    EXPECT_THAT(not_shown(awaited, older), ElementsAre(crosspoint_take{4, 0, 5}));
    for (int level = 1; level <= 3; ++level) {
        note_shown(awaited, 3, level, 5);
    }
    EXPECT_THAT(not_shown(awaited, older), IsEmpty());
}
