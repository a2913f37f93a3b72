#include "watched_picture.h"

namespace {

using Picture = watched_picture;

TEST_F(Picture, NewOutputHasNoSourceAndAwaitsNothing) {
    const router_output output;
    EXPECT_EQ(current(output), (levels{-1, -1}));
    EXPECT_EQ(saved(output), (levels{-1, -1}));
    EXPECT_EQ(output.confirm_deadline, 0U);
    EXPECT_EQ(output.name, "");
    EXPECT_EQ(output.assumed_for.connection, 0U);
}

TEST_F(Picture, NewRequestAsksForNothing) {
    EXPECT_EQ(route_request(), (route_request{-1, -1, -1}));
}

// --- size and names ----------------------------------------------------------------------------------------

TEST_F(Picture, NewSizeIsTold) {
    resize_picture(4, 1, true);
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 1);
    EXPECT_TRUE(split_levels);
    EXPECT_EQ(input_names.size(), 4U);
    EXPECT_EQ(router_outputs.size(), 1U);
    const told one = only_event(picture_change::resized, change_cause::backend, -1);
    expect_no_sources(one);
    expect_no_names(one);
}

TEST_F(Picture, LevelsThatAreJoinedAreANewSize) {
    resize_picture(3, 2, false);
    EXPECT_FALSE(split_levels);
    only_event(picture_change::resized, change_cause::backend, -1);
}

TEST_F(Picture, SameSizeTellsNothing) {
    resize_picture(3, 2, true);
    expect_nothing_told();
}

TEST_F(Picture, NewNameOfAnInputIsToldWithTheOneBefore) {
    name_input(2, "Camera 1");
    EXPECT_EQ(input_names[2], "Camera 1");
    told one = only_event(picture_change::input_named, change_cause::backend, 2);
    EXPECT_EQ(one.name_before, "");
    EXPECT_EQ(one.name_after, "Camera 1");
    expect_no_sources(one);

    listen();
    name_input(2, "VT");
    one = only_event(picture_change::input_named, change_cause::backend, 2);
    EXPECT_EQ(one.name_before, "Camera 1");
    EXPECT_EQ(one.name_after, "VT");
}

TEST_F(Picture, NewNameOfAnOutputIsToldWithTheOneBefore) {
    name_output(1, "Studio");
    EXPECT_EQ(router_outputs[1].name, "Studio");
    told one = only_event(picture_change::output_named, change_cause::backend, 1);
    EXPECT_EQ(one.name_before, "");
    EXPECT_EQ(one.name_after, "Studio");
    expect_no_sources(one);

    listen();
    name_output(1, "");
    one = only_event(picture_change::output_named, change_cause::backend, 1);
    EXPECT_EQ(one.name_before, "Studio");
    EXPECT_EQ(one.name_after, "");
}

TEST_F(Picture, SameNameTellsNothing) {
    name_input(0, "VT");
    name_output(0, "Studio");
    listen();
    name_input(0, "VT");
    name_output(0, "Studio");
    name_output(1, "");
    expect_nothing_told();
}

// --- reports -----------------------------------------------------------------------------------------------

TEST_F(Picture, ReportedSourceIsToldWithItsLevels) {
    report_sources(0, {1, 1});
    listen();
    report_source(0, true, true, 2);
    EXPECT_EQ(current(router_outputs[0]), (levels{2, 2}));
    told one = only_event(picture_change::reported, change_cause::backend, 0);
    EXPECT_TRUE(one.event.audio);
    EXPECT_TRUE(one.event.video);
    EXPECT_EQ(one.event.before, (levels{1, 1}));
    EXPECT_EQ(one.event.after, (levels{2, 2}));
    expect_from(one, {});
    expect_no_names(one);

    listen();
    report_source(0, false, true, -1);
    one = only_event(picture_change::reported, change_cause::backend, 0);
    EXPECT_FALSE(one.event.audio);
    EXPECT_TRUE(one.event.video);
    EXPECT_EQ(one.event.before, (levels{2, 2}));
    EXPECT_EQ(one.event.after, (levels{2, -1}));

    listen();
    report_source(0, true, false, 0);
    one = only_event(picture_change::reported, change_cause::backend, 0);
    EXPECT_TRUE(one.event.audio);
    EXPECT_FALSE(one.event.video);
    EXPECT_EQ(one.event.after, (levels{0, -1}));
}

TEST_F(Picture, ReportThatConfirmsIsToldWithTheClientWhoseTakeItIs) {
    show_take(1, {2, 2}, anna);
    listen();
    report_source(1, true, true, 2);
    EXPECT_EQ(router_outputs[1].confirm_deadline, 0U);
    const told one = only_event(picture_change::reported, change_cause::backend, 1);
    EXPECT_EQ(one.event.before, (levels{2, 2}));
    EXPECT_EQ(one.event.after, (levels{2, 2}));
    expect_from(one, anna);
}

TEST_F(Picture, ReportBehindTheConfirmationIsNobodysTake) {
    show_take(1, {2, 2}, anna);
    report_source(1, true, true, 2);
    listen();
    report_source(1, true, true, 0);
    expect_from(only_event(picture_change::reported, change_cause::backend, 1), {});
}

TEST_F(Picture, ReportOfTheSameSourceTellsNothingWhenNoTakeWaits) {
    report_sources(0, {1, 2});
    listen();
    report_source(0, true, false, 1);
    report_source(0, false, true, 2);
    expect_nothing_told();
}

TEST_F(Picture, ReportOfAnUnknownLevelTellsNothingWhenNoTakeWaits) {
    report_source(0, false, false, 2);
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, -1}));
    expect_nothing_told();
}

TEST_F(Picture, ReportOfAnUnknownLevelEndsTheWaitingAndIsToldWithoutLevels) {
    show_take(0, {1, 2}, anna);
    listen();
    report_source(0, false, false, 0);
    EXPECT_EQ(current(router_outputs[0]), (levels{1, 2}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, 0U);
    const told one = only_event(picture_change::reported, change_cause::backend, 0);
    EXPECT_FALSE(one.event.audio);
    EXPECT_FALSE(one.event.video);
    EXPECT_EQ(one.event.before, (levels{1, 2}));
    EXPECT_EQ(one.event.after, (levels{1, 2}));
    expect_from(one, anna);
}

TEST_F(Picture, EachWatcherHearsOfTheChangeThatWasMade) {
    static std::vector<std::int32_t> counts_seen;
    static const bool watching = [] {
        watch_picture([](const picture_event& event) {
            if (event.what == picture_change::resized)
                counts_seen.push_back(input_count);
        });
        return true;
    }();
    EXPECT_TRUE(watching);
    counts_seen.clear();
    resize_picture(9, 2, true);
    EXPECT_EQ(counts_seen, (std::vector<std::int32_t>{9}));
    only_event(picture_change::resized, change_cause::backend, -1);
}

} // namespace
