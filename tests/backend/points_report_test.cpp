#include "reporting_backend.h"

#include <gmock/gmock.h>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using PointsReport = reporting_backend;

TEST_F(PointsReport, InputsNameTheInputs) {
    make_router(12, 1);
    report("inputs", {"i0.name=Camera 1", "i2.name=VT", "i11.name=Line"});
    EXPECT_THAT(input_names, ElementsAre("Camera 1", "", "VT", "", "", "", "", "", "", "", "", "Line"));
}

TEST_F(PointsReport, InputIsIgnoredBeforeAnyInfo) {
    report("inputs", {"i2.name=Camera"});
    EXPECT_THAT(input_names, IsEmpty());
    EXPECT_EQ(input_count, 0);
}

TEST_F(PointsReport, NamesKeepTheirWholeValue) {
    make_router(3, 1);
    report("inputs", {"i0.name=a=b", "i1.name=first line", "i1.name=second line", "i2.name=  blanks  "});
    EXPECT_THAT(input_names, ElementsAre("a=b", "first line\nsecond line", "  blanks  "));
}

TEST_F(PointsReport, NameCanBeTakenAway) {
    make_router(1, 1);
    report("inputs", {"i0.name=Camera 1"});
    report("inputs", {"i0.name="});
    EXPECT_THAT(input_names, ElementsAre(""));
}

TEST_F(PointsReport, InputWithLeadingZeroIsTheSameInput) {
    make_router(4, 1);
    report("inputs", {"i02.name=Camera"});
    EXPECT_THAT(input_names, ElementsAre("", "", "Camera", ""));
}

TEST_F(PointsReport, LastOfSeveralKeysOfOneInputNamesIt) {
    make_router(4, 1);
    report("inputs", {"i2.name=by the later key", "i02.name=by the earlier key"});
    EXPECT_EQ(input_names[2], "by the later key");
}

TEST_F(PointsReport, KeysThatNameNoInputAreIgnored) {
    make_router(4, 4);
    report("inputs",
           {"i4.name=x", "i2x.name=x", "i2.names=x", "i2.Name=x", "i2name=x", "i2=x", "i2.=x", "i.name=x",
            "i-1.name=x", "i+1.name=x", "i 1.name=x", "I1.name=x", "in1.name=x", "i4294967297.name=x",
            "i18446744073709551617.name=x", "o1.name=x", "1.name=x", "i=x", "=x"});
    EXPECT_THAT(input_names, Each(""));
    EXPECT_THAT(output_names(), Each(""));
}

TEST_F(PointsReport, OutputsNameTheOutputs) {
    make_router(1, 3);
    report("outputs", {"o0.name=Studio 1", "o02.name=Monitor"});
    EXPECT_THAT(output_names(), ElementsAre("Studio 1", "", "Monitor"));
}

TEST_F(PointsReport, NamingAnOutputConfirmsNothing) {
    make_router(1, 1);
    paint_output(0, {1, 1}, {0, 0}, 77);
    report("outputs", {"o0.name=Studio 1"});
    EXPECT_EQ(router_outputs[0].confirm_deadline, 77U);
}

struct level_row {
    const char* name;
    const char* level;
    levels after; // of an output on audio 1, video 2 that is reported on source 7
};

void PrintTo(const level_row& row, std::ostream* stream) {
    *stream << row.name;
}

class ReportedLevel : public PointsReport, public testing::WithParamInterface<level_row> {};

TEST_P(ReportedLevel, SetsItsSourcesAndConfirmsTheOutput) {
    make_router(9, 5);
    paint_outputs({1, 2}, {3, 4}, 77);
    report("outputs", {std::string("o3.input.") + GetParam().level + "=7"});
    EXPECT_EQ(current(router_outputs[3]), GetParam().after);
    EXPECT_EQ(saved(router_outputs[3]), (levels{3, 4}));
    EXPECT_EQ(router_outputs[3].confirm_deadline, 0U);
    EXPECT_EQ(current(router_outputs[2]), (levels{1, 2})) << "the others are not meant";
    EXPECT_EQ(router_outputs[2].confirm_deadline, 77U);
}

INSTANTIATE_TEST_SUITE_P(Reports, ReportedLevel,
                         testing::Values(level_row{"All", "all", {7, 7}}, level_row{"Audio", "audio", {7, 2}},
                                         level_row{"Video", "video", {1, 7}},
                                         level_row{"Unknown", "aux", {1, 2}},
                                         level_row{"OtherCase", "All", {1, 2}},
                                         level_row{"Longer", "video2", {1, 2}},
                                         level_row{"Empty", "", {1, 2}}),
                         [](const auto& instance) { return instance.param.name; });

struct source_row {
    const char* name;
    const char* text;
    std::int32_t source;
};

void PrintTo(const source_row& row, std::ostream* stream) {
    *stream << row.name;
}

class ReportedSource : public PointsReport, public testing::WithParamInterface<source_row> {};

TEST_P(ReportedSource, IsANumberOrNone) {
    make_router(4, 4);
    report_sources(3, {9, 9});
    report("outputs", {std::string("o3.input.all=") + GetParam().text});
    EXPECT_EQ(current(router_outputs[3]), (levels{GetParam().source, GetParam().source}));
}

INSTANTIATE_TEST_SUITE_P(Reports, ReportedSource,
                         testing::Values(source_row{"First", "0", 0},
                                         source_row{"BeyondTheInputs", "4000", 4000},
                                         source_row{"LeadingZero", "007", 7},
                                         source_row{"LettersAfterTheDigits", "3x", 3},
                                         source_row{"Word", "none", -1}, source_row{"Letter", "x", -1},
                                         source_row{"Empty", "", -1}, source_row{"Negative", "-1", -1},
                                         source_row{"Signed", "+1", -1}, source_row{"LeadingBlank", " 1", -1},
                                         source_row{"Largest", "2147483647", 2147483647},
                                         source_row{"Beyond32Bits", "2147483648", 2147483647},
                                         source_row{"Beyond64Bits", "99999999999999999999", 2147483647}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(PointsReport, LevelsOfOneReportAreAppliedInTheOrderOfTheirNames) {
    make_router(9, 1);
    report("outputs", {"o0.input.video=2", "o0.input.all=1", "o0.input.audio=3"});
    EXPECT_EQ(current(router_outputs[0]), (levels{3, 2}));
}

TEST_F(PointsReport, KeysThatNameNoOutputAreIgnored) {
    make_router(4, 4);
    paint_outputs({1, 2}, {3, 4}, 77, "out");
    report("outputs",
           {"o4.input.all=7", "o1x.input.all=7", "o1.input=7", "o1.inputs.all=7", "o1.Input.all=7", "o1=7",
            "o-1.input.all=7", "o.input.all=7", "O1.input.all=7", "i1.input.all=7", "o4294967297.input.all=7",
            "o18446744073709551617.input.all=7", "o1.names=x", "o4.name=x", "o1.source.all=7"});
    for (const router_output& output : router_outputs) {
        EXPECT_EQ(current(output), (levels{1, 2}));
        EXPECT_EQ(output.confirm_deadline, 77U);
        EXPECT_EQ(output.name, "out");
    }
}

} // namespace
