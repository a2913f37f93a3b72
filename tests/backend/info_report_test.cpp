#include "reporting_backend.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using InfoReport = reporting_backend;

TEST_F(InfoReport, InfoSetsTheRoutersSize) {
    make_router(12, 8);
    EXPECT_EQ(input_count, 12);
    EXPECT_EQ(output_count, 8);
    EXPECT_FALSE(split_levels);
    EXPECT_EQ(input_names.size(), 12U);
    EXPECT_EQ(router_outputs.size(), 8U);
}

TEST_F(InfoReport, InfoBeyondTheBoundsGivesTheLargestAndTheEmptyRouter) {
    split_the_levels();
    report("info", {"inputs=5000", "outputs=-3"});
    EXPECT_EQ(input_count, 4096);
    EXPECT_EQ(output_count, 0);
    EXPECT_FALSE(split_levels);
    EXPECT_EQ(input_names.size(), 4096U);
    EXPECT_THAT(router_outputs, IsEmpty());
}

struct count_row {
    const char* name;
    const char* text;
    std::int32_t inputs;
    std::int32_t outputs;
};

void PrintTo(const count_row& row, std::ostream* stream) {
    *stream << row.name;
}

class ReportedCount : public InfoReport, public testing::WithParamInterface<count_row> {};

TEST_P(ReportedCount, IsReadAsADecimalWithinItsBounds) {
    report("info", {std::string("inputs=") + GetParam().text, std::string("outputs=") + GetParam().text});
    EXPECT_EQ(input_count, GetParam().inputs);
    EXPECT_EQ(output_count, GetParam().outputs);
    EXPECT_EQ(input_names.size(), static_cast<std::size_t>(GetParam().inputs));
    EXPECT_EQ(router_outputs.size(), static_cast<std::size_t>(GetParam().outputs));
}

INSTANTIATE_TEST_SUITE_P(Reports, ReportedCount,
                         testing::Values(count_row{"Zero", "0", 0, 0}, count_row{"One", "1", 1, 1},
                                         count_row{"Empty", "", 0, 0}, count_row{"NoNumber", "many", 0, 0},
                                         count_row{"LettersAfterTheDigits", "12abc", 12, 12},
                                         count_row{"LeadingBlank", " 7", 7, 7},
                                         count_row{"Hexadecimal", "0x10", 0, 0},
                                         count_row{"LeadingZero", "010", 10, 10},
                                         count_row{"LargestOutputCount", "1024", 1024, 1024},
                                         count_row{"OneOutputTooMany", "1025", 1025, 1024},
                                         count_row{"LargestInputCount", "4096", 4096, 1024},
                                         count_row{"OneInputTooMany", "4097", 4096, 1024},
                                         count_row{"Beyond32Bits", "4294967297", 4096, 1024},
                                         count_row{"Beyond64Bits", "99999999999999999999", 4096, 1024},
                                         count_row{"NegativeBeyond32Bits", "-4294967295", 0, 0},
                                         count_row{"NegativeBeyond64Bits", "-99999999999999999999", 0, 0}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(InfoReport, InfoWithoutCountsMakesTheRouterEmpty) {
    make_router(4, 4);
    report("info", {"model=unknown"});
    EXPECT_EQ(input_count, 0);
    EXPECT_EQ(output_count, 0);
    EXPECT_THAT(input_names, IsEmpty());
    EXPECT_THAT(router_outputs, IsEmpty());
}

TEST_F(InfoReport, InfoWithoutInputsHasOutputsOnly) {
    make_router(4, 4);
    report("info", {"outputs=3"});
    EXPECT_EQ(input_count, 0);
    EXPECT_EQ(output_count, 3);
}

TEST_F(InfoReport, VideoAudioControlsSplitTheLevels) {
    report("info", {"inputs=1", "outputs=1", "output routing controls=video,audio"});
    EXPECT_TRUE(split_levels);
}

TEST_F(InfoReport, OtherControlsDoNotSplitTheLevels) {
    for (const char* controls : {"audio,video", "video", "video,audio ", "Video,Audio", "video, audio", ""}) {
        split_the_levels();
        report("info", {"inputs=1", "outputs=1", std::string("output routing controls=") + controls});
        EXPECT_FALSE(split_levels) << controls;
    }
}

TEST_F(InfoReport, InfoWithoutControlsJoinsTheLevelsAgain) {
    report("info", {"inputs=1", "outputs=1", "output routing controls=video,audio"});
    make_router(1, 1);
    EXPECT_FALSE(split_levels);
}

TEST_F(InfoReport, NewOutputsHaveNoSourceAndNewInputsNoName) {
    make_router(2, 1);
    EXPECT_THAT(input_names, ElementsAre("", ""));
    EXPECT_EQ(current(router_outputs[0]), (levels{-1, -1}));
    EXPECT_EQ(saved(router_outputs[0]), (levels{-1, -1}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, 0U);
    EXPECT_EQ(router_outputs[0].name, "");
}

TEST_F(InfoReport, InfoKeepsWhatIsKnownOfPointsThatStay) {
    make_router(2, 2);
    report("inputs", {"i0.name=Camera 1"});
    report("outputs", {"o0.name=Studio", "o0.input.all=1"});
    paint_output(0, {1, 1}, {0, 0}, 77, "Studio");
    make_router(3, 3);
    EXPECT_THAT(input_names, ElementsAre("Camera 1", "", ""));
    EXPECT_THAT(output_names(), ElementsAre("Studio", "", ""));
    EXPECT_EQ(current(router_outputs[0]), (levels{1, 1}));
    EXPECT_EQ(router_outputs[0].confirm_deadline, 77U);
}

TEST_F(InfoReport, ShrunkRouterForgetsItsLastPoints) {
    make_router(8, 8);
    for (std::int32_t input = 0; input < 8; ++input)
        name_input(input, "in");
    paint_outputs({1, 2}, {3, 4}, 5, "out");
    make_router(2, 2);
    ASSERT_EQ(router_outputs.size(), 2U);
    make_router(8, 8);
    EXPECT_THAT(input_names, ElementsAre("in", "in", "", "", "", "", "", ""));
    EXPECT_THAT(output_names(), ElementsAre("out", "out", "", "", "", "", "", ""));
    EXPECT_EQ(current(router_outputs[1]), (levels{1, 2}));
    for (std::size_t i = 2; i < 8; ++i) {
        EXPECT_EQ(current(router_outputs[i]), (levels{-1, -1}));
        EXPECT_EQ(saved(router_outputs[i]), (levels{-1, -1}));
        EXPECT_EQ(router_outputs[i].confirm_deadline, 0U);
    }
}

} // namespace
