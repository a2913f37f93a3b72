// What becomes of a take, event by event: the table in takes.h.
#include "open_takes.h"

#include <ctime>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Takes = open_takes;

// --- report of its sources ---------------------------------------------------------------------------------

TEST_F(Takes, ReportBehindItsFlushConfirmsIt) {
    ask({{2, {5, 5}, {}}});
    send_all();
    report(2, 5);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

TEST_F(Takes, ReportBeforeAnythingWasSentConfirmsNothing) {
    ask({{2, {5, 5}, {}}});
    report(2, 5);
    EXPECT_THAT(decided(), IsEmpty());
    EXPECT_THAT(move_all(), ElementsAre("5>2", "flush")) << "and it is sent all the same";
}

TEST_F(Takes, ReportBetweenItsCommandAndItsFlushConfirmsNothing) {
    ask({{2, {5, 5}, {}}});
    send_one();
    pending_lines_written(0);
    report(2, 5);
    EXPECT_THAT(decided(), IsEmpty());
}

TEST_F(Takes, FlushThatIsStillInTheBufferBeforeThePipeConfirmsNothing) {
    ask({{2, {5, 5}, {}}});
    move_all();
    pending_lines_written(1);
    report(2, 5);
    EXPECT_THAT(decided(), IsEmpty());
    pending_lines_written(0);
    report(2, 5);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

TEST_F(Takes, LevelsTakenApartAreConfirmedByBothReports) {
    ask({{2, {3, 5}, {}}});
    send_all();
    report(2, false, true, 5);
    EXPECT_THAT(decided(), IsEmpty());
    report(2, true, false, 3);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

TEST_F(Takes, LevelThatTurnsAwayAgainIsNotConfirmed) {
    ask({{2, {3, 5}, {}}});
    send_all();
    report(2, false, true, 5);
    report(2, false, true, 1);
    report(2, true, false, 3);
    EXPECT_THAT(decided(), IsEmpty());
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("2 shows 4,2"));
}

TEST_F(Takes, ReportOfAnUnknownSourceConfirmsNothing) {
    ask({{2, {-1, -1}, {}}});
    send_all();
    report(2, true, true, -1, false);
    EXPECT_THAT(decided(), IsEmpty());
    report(2, true, true, -1);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

// --- its deadline ------------------------------------------------------------------------------------------

TEST_F(Takes, DeadlineBeforeItIsSentWithdrawsItForGood) {
    ask({{2, {5, 5}, {}}, {3, {6, 6}, {}}});
    pass_time(within_us - 1);
    EXPECT_THAT(decided(), IsEmpty());
    EXPECT_EQ(shown(2), (levels{5, 5}));
    pass_time(1);
    EXPECT_THAT(decided(), ElementsAre("2 withdrawn not sent in time", "3 withdrawn not sent in time"));
    EXPECT_THAT(move_all(), IsEmpty()) << "its flush goes, too";
    EXPECT_EQ(shown(2), (levels{0, 0}));
}

TEST_F(Takes, DeadlineWithdrawsThoseOfAClientThatHasGoneToo) {
    const uid_t user = new_user();
    const requester client = connect(user);
    const requester other = connect(user);
    route(other, 1, {4, 4});
    ask(client, {{2, {5, 5}, {}}});
    ask(client, {{3, {6, 6}, {}}});
    requester_gone(client.connection);
    requester_gone(other.connection);
    pass_time(within_us);
    EXPECT_THAT(move_all(), ElementsAre("4>1", "flush"));
    EXPECT_EQ(pending_line_count(), 0U);
}

TEST_F(Takes, DeadlineOfAThousandBehindAFloodDoesNotHoldTheLoopUp) {
    resize_picture(8, max_outputs, false);
    const requester client = connect();
    const std::clock_t start = std::clock(); // of this process alone, whatever else the machine does
    for (int packet = 0; packet < 60000; ++packet)
        route(client, max_outputs, {1, 1});
    for (std::int32_t output = 0; output < max_outputs; ++output)
        ask(client, {{output, {5, 5}, {}}});
    const std::clock_t asked = std::clock();
    pass_time(within_us);
    EXPECT_LT(std::clock() - asked, (asked - start) / 4);
    EXPECT_EQ(decided().size(), std::size_t{max_outputs});
}

TEST_F(Takes, DeadlineOfARouteThatIsNotSentIsUnknown) {
    const requester client = connect();
    route(client, 2, {5, 5});
    pass_time(assume_timeout);
    EXPECT_THAT(decided(), ElementsAre("2 unknown not confirmed in time"));
    EXPECT_THAT(move_all(), ElementsAre("5>2", "flush")) << "it was answered already, and is sent";
}

TEST_F(Takes, DeadlineOnceSentShowsWhatTheRouterReported) {
    ask({{2, {5, 5}, {}}, {3, {5, 5}, {}}});
    send_all();
    report(2, 7);
    report(3, true, true, -1, false);
    EXPECT_THAT(decided(), IsEmpty()) << "the right report may still come";
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("2 shows 8,8", "3 shows unknown,unknown"));
}

TEST_F(Takes, DeadlineOnceSentIsUnknownWithoutAReport) {
    ask({{2, {5, 5}, {}}});
    send_all();
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("2 unknown not confirmed in time"));
}

TEST_F(Takes, DeadlineInTheMiddleOfABatchIsUnknownForAllOfIt) {
    ask({{2, {5, 5}, {}}, {3, {6, 6}, {}}});
    send_one();
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("2 unknown not confirmed in time", "3 unknown not confirmed in time"));
    EXPECT_THAT(move_all(), ElementsAre("6>3", "flush")) << "a batch that is begun is sent to its end";
}

TEST_F(Takes, RightReportAfterAWrongOneConfirms) {
    ask({{2, {5, 5}, {}}});
    send_all();
    report(2, 7);
    report(2, 5);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

TEST_F(Takes, LevelThatCameRightAfterAllShowsNothingElse) {
    ask({{2, {3, 5}, {}}});
    send_all();
    report(2, true, false, 1);
    report(2, true, false, 3);
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("2 unknown not confirmed in time")) << "of the video nothing was said";
}

TEST_F(Takes, DeadlineOfAnOutputThatIsGoneIsUnknown) {
    ask({{7, {5, 5}, {}}});
    send_all();
    report(7, 3);
    resize_picture(8, 4, true);
    pass_time(within_us);
    EXPECT_THAT(decided(), ElementsAre("7 unknown not confirmed in time"));
}

// --- a later take ------------------------------------------------------------------------------------------

TEST_F(Takes, LaterTakeReplacesTheUnsentOneWhichIsNeverSent) {
    const requester first = connect();
    const requester second = connect();
    ask(first, {{2, {5, 5}, {}}, {3, {6, 6}, {}}});
    ask(second, {{2, {7, 7}, {}}}, "desk 3");
    EXPECT_THAT(decided(), ElementsAre("2 replaced unsent " + told(second, "desk 3")));
    EXPECT_THAT(move_all(), ElementsAre("6>3", "flush", "7>2", "flush"));
}

TEST_F(Takes, LaterTakeNeedNotWaitForTheRestOfTheBatchItReplacesATakeOf) {
    const requester flooder = connect();
    flood(flooder, 1, 40, max_outputs);
    ask(flooder, {{2, {5, 5}, {}}, {3, {6, 6}, {}}});
    EXPECT_THAT(move(2), ElementsAre("1>1024", "flush"));
    ask(connect(), {{2, {7, 7}, {}}});
    EXPECT_THAT(move(2), ElementsAre("7>2", "flush"));
    ask(connect(), {{3, {4, 4}, {}}});
    EXPECT_THAT(move(2), ElementsAre("4>3", "flush")) << "nothing is left of that batch";
}

TEST_F(Takes, LaterTakeKnowsTheSourcesBeforeTheUnsentOne) {
    ask({{2, {5, 5}, {}}});
    ask({{2, {7, 7}, {}}});
    pass_time(within_us);
    ASSERT_EQ(decisions.size(), 2U);
    EXPECT_EQ(decisions[1].from.sources, (levels{0, 0}));
    EXPECT_EQ(shown(2), (levels{0, 0}));
}

TEST_F(Takes, LaterTakeReplacesTheSentOne) {
    const requester second = connect();
    ask({{2, {5, 5}, {}}});
    send_one();
    ask(second, {{2, {7, 7}, {}}});
    EXPECT_THAT(decided(), ElementsAre("2 replaced sent " + told(second)));
    EXPECT_THAT(move_all(), ElementsAre("flush", "7>2", "flush"));
}

TEST_F(Takes, LaterTakeReplacesAnUnsentRouteWhichIsSentAllTheSame) {
    const requester first = connect();
    const requester second = connect();
    route(first, 2, {5, 5});
    ask(second, {{2, {7, 7}, {}}});
    EXPECT_THAT(decided(), ElementsAre("2 replaced sent " + told(second)));
    EXPECT_THAT(move_all(), ElementsAre("5>2", "flush", "7>2", "flush"));
}

TEST_F(Takes, LaterRouteReplacesAnUnsentTakeWhichIsNeverSent) {
    const requester second = connect();
    ask({{2, {5, 5}, {}}});
    route(second, 2, {7, 7});
    EXPECT_THAT(decided(), ElementsAre("2 replaced unsent " + told(second)));
    EXPECT_THAT(move_all(), ElementsAre("7>2", "flush"));
}

TEST_F(Takes, RefusedTakeReplacesNothing) {
    ask({{2, {5, 5}, {}}});
    ask({{2, {8, 8}, {}}});
    EXPECT_THAT(decided(), ElementsAre("2 refused no such input"));
    send_all();
    report(2, 5);
    EXPECT_THAT(decided(), ElementsAre("2 confirmed"));
}

// --- the backend ends --------------------------------------------------------------------------------------

TEST_F(Takes, EndOfTheBackendWithdrawsWhatIsNotBegun) {
    const requester other = connect();
    ask({{2, {5, 5}, {}}});
    route(other, 3, {5, 5});
    backend_ends();
    EXPECT_THAT(decided(), ElementsAre("2 withdrawn backend ended", "3 withdrawn backend ended"));
    commands_reach_backend = true;
    EXPECT_THAT(move_all(), IsEmpty()) << "nor does the next one get it";
    EXPECT_EQ(shown(2), (levels{0, 0}));
}

TEST_F(Takes, EndOfTheBackendLeavesUnknownWhatIsBegun) {
    ask({{2, {5, 5}, {}}, {3, {6, 6}, {}}});
    send_one();
    backend_ends();
    EXPECT_THAT(decided(), ElementsAre("2 unknown backend ended", "3 unknown backend ended"));
    EXPECT_EQ(shown(3), (levels{6, 6}));
    pass_time(assume_timeout);
    EXPECT_EQ(shown(3), (levels{0, 0}));
}

// --- the link goes down ------------------------------------------------------------------------------------

TEST_F(Takes, LinkThatGoesDownWithdrawsWhatIsNotBegun) {
    const requester other = connect();
    ask({{2, {5, 5}, {}}});
    route(other, 3, {5, 5});
    link_goes_down();
    EXPECT_THAT(decided(), ElementsAre("2 withdrawn link down"));
    EXPECT_THAT(move_all(), ElementsAre("5>3", "flush")) << "a route is sent";
    EXPECT_EQ(shown(2), (levels{0, 0}));
}

TEST_F(Takes, LinkThatGoesDownDecidesNothingOfWhatIsBegun) {
    ask({{2, {5, 5}, {}}, {3, {6, 6}, {}}});
    send_one();
    link_goes_down();
    EXPECT_THAT(decided(), IsEmpty());
    send_all();
    report(3, 6);
    EXPECT_THAT(decided(), ElementsAre("3 confirmed"));
}

// --- the backend says that it was refused ------------------------------------------------------------------

TEST_F(Takes, RefusalOfWhatIsNotBegunIsAnEarlierTakes) {
    ask({{2, {5, 5}, {}}});
    refuse(2, 5, "locked");
    EXPECT_THAT(decided(), IsEmpty());
}

TEST_F(Takes, RefusalOfWhatWasSentDecidesIt) {
    ask({{2, {5, 5}, {}}});
    send_all();
    refuse(2, 5, "output 3 is locked");
    EXPECT_THAT(decided(), ElementsAre("2 refused by the router: output 3 is locked"));
}

TEST_F(Takes, RefusalOfAnotherSourceOrOutputIsNotIts) {
    ask({{2, {5, 5}, {}}});
    send_all();
    refuse(2, 4, "locked");
    refuse(3, 5, "locked");
    refuse(-1, 5, "locked");
    EXPECT_THAT(decided(), IsEmpty());
}

TEST_F(Takes, RefusalOfOneLevelOfTwoDecidesBoth) {
    ask({{2, {3, 5}, {}}, {3, {3, 5}, {}}});
    send_all();
    takes_hear_refusal(2, false, true, 3, "that is the audio's source");
    EXPECT_THAT(decided(), IsEmpty());
    takes_hear_refusal(2, true, false, 3, "audio locked");
    takes_hear_refusal(3, false, true, 5, "video locked");
    EXPECT_THAT(decided(), ElementsAre("2 refused by the router: audio locked",
                                       "3 refused by the router: video locked"));
}

} // namespace
