#include "incoming_report.h"
#include "reporting_backend.h"

#include <gmock/gmock.h>

using testing::IsEmpty;

namespace {

using Report = reporting_backend;

TEST_F(Report, ReportOfAnotherTypeIsDropped) {
    for (const char* type : {"*TYPE=command", "*TYPE=Message", "*TYPE=", "*ID=1"})
        give_lines({"*COMMAND=info", type, "inputs=4", "outputs=4", ""});
    EXPECT_EQ(input_count, 0);
    EXPECT_EQ(output_count, 0);
}

TEST_F(Report, ReportOfAnotherCommandIsDropped) {
    make_router(4, 4);
    for (const char* command : {"Info", "informations", "input", "OUTPUTS", "report", ""})
        report(command, {"inputs=9", "outputs=9", "i0.name=x", "o0.name=x"});
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 4);
    EXPECT_EQ(input_names[0], "");
    EXPECT_EQ(router_outputs[0].name, "");
}

TEST_F(Report, ErrorTextAloneChangesNothing) {
    make_router(4, 4);
    give_lines({"*TYPE=message", "*ERROR=no such router", ""});
    EXPECT_EQ(input_count, 4);
    EXPECT_TRUE(incoming_report_empty());
}

TEST_F(Report, ErrorTextBesideAReportIsDiscarded) {
    give_lines({"*COMMAND=info", "*ERROR=one fan failed", "*TYPE=message", "inputs=4", "outputs=4", ""});
    EXPECT_EQ(input_count, 4);
}

TEST_F(Report, CommandGivenTwiceIsNoKnownCommand) {
    give_lines({"*COMMAND=info", "*COMMAND=info", "*TYPE=message", "inputs=4", ""});
    EXPECT_EQ(input_count, 0);
}

TEST_F(Report, DroppedReportLeavesNothingToTheNext) {
    give_lines({"*COMMAND=news", "*TYPE=message", "*ID=1", "inputs=9", ""});
    EXPECT_TRUE(incoming_report_empty());
    give_lines({"*COMMAND=info", "outputs=3", ""});
    EXPECT_EQ(output_count, 0) << "its type must not come from the report before";
}

TEST_F(Report, AppliedReportLeavesNothingToTheNext) {
    make_router(4, 4);
    give_lines({"*COMMAND=info", "*TYPE=message", "outputs=3", ""});
    EXPECT_EQ(input_count, 0);
    EXPECT_EQ(output_count, 3);
}

// --- lines -------------------------------------------------------------------------------------------------

TEST_F(Report, BlankLineAloneDoesNothing) {
    make_router(4, 4);
    give_lines({"", "", ""});
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 4);
}

TEST_F(Report, TypeAloneDoesNotSurviveABlankLine) {
    give_lines({"*TYPE=message", "*ID=1", "", "*COMMAND=info", "inputs=4", ""});
    EXPECT_EQ(input_count, 0);
}

TEST_F(Report, NothingIsAppliedBeforeTheBlankLine) {
    give_lines({"*COMMAND=info", "*TYPE=message", "inputs=4", "outputs=4"});
    EXPECT_EQ(input_count, 0);
    give_lines({""});
    EXPECT_EQ(input_count, 4);
}

TEST_F(Report, LinesWithoutEqualsSignAreIgnored) {
    give_lines(
        {"hello", "*COMMAND=info", "*TYPE", "*TYPE=message", "inputs", "inputs=4", " ", "outputs=4", ""});
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 4);
}

TEST_F(Report, ReportCutOffByAStopIsCompletedByTheNextBackend) {
    give_lines({"*COMMAND=info", "*TYPE=message", "inputs=4"});
    stop_backend();
    give_lines({"outputs=2", ""});
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(output_count, 2);
}

TEST_F(Report, StopOfTheBackendLeavesTheRouterAsItIs) {
    make_router(4, 4);
    report("outputs", {"o0.input.all=2"});
    stop_backend();
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(current(router_outputs[0]), (levels{2, 2}));
}

TEST_F(Report, NothingIsSentOrTraced) {
    make_router(4, 4);
    report("outputs", {"o0.input.all=2"});
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(trace(), "");
}

} // namespace
