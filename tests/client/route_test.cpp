#include "client_request.h"
#include "fresh_driver.h"
#include "router_picture.h"
#include "wired_backend.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::int32_t largest = 2147483647;
constexpr std::int32_t smallest = -2147483647 - 1;

// Without a backend: what is asked for stays queued, to be looked at.
class Route : public fresh_driver {
protected:
    static void expect_reply(const client_request& request) {
        const client_reply reply = reply_to(request);
        EXPECT_EQ(reply.handled, 1);
        EXPECT_EQ(reply.items, "C(route) E");
        EXPECT_EQ(reply.result, 0U);
    }
};

// --- one OUT=A,V -------------------------------------------------------------------------------------------

struct route_row {
    const char* name;
    const char* output;
    const char* sources;
    route_request request;
};

void PrintTo(const route_row& row, std::ostream* stream) {
    *stream << row.name;
}

class RouteRequest : public Route, public testing::WithParamInterface<route_row> {};

TEST_P(RouteRequest, BecomesZeroBasedAndIsTraced) {
    route_request request;
    parse_route_request(request, GetParam().output, GetParam().sources);
    EXPECT_EQ(request, GetParam().request);
    EXPECT_EQ(trace(), std::string("'") + GetParam().output + "' = '" + GetParam().sources + "'\n");
}

INSTANTIATE_TEST_SUITE_P(
    Sources, RouteRequest,
    testing::Values(
        route_row{"Two", "5", "2,3", {1, 2, 4}}, route_row{"One", "5", "2", {1, 1, 4}},
        route_row{"None", "5", "0", {-1, -1, 4}}, route_row{"NoAudio", "5", "0,3", {-1, 2, 4}},
        route_row{"NoVideo", "5", "2,0", {1, -1, 4}}, route_row{"Empty", "5", "", {-1, -1, 4}},
        route_row{"OnlyBlanks", "5", "   ", {-1, -1, 4}}, route_row{"Word", "5", "camera", {-1, -1, 4}},
        route_row{"BlanksAround", "5", "  2 ,  3 ", {1, 2, 4}},
        route_row{"LettersAfterTheDigits", "5", "2x,3y", {1, 2, 4}},
        route_row{"CommaFirst", "5", ",3", {-1, 2, 4}}, route_row{"CommaLast", "5", "2,", {1, 1, 4}},
        route_row{"TwoCommasLast", "5", "2,,", {1, -1, 4}}, route_row{"CommaAlone", "5", ",", {-1, -1, 4}},
        route_row{"Three", "5", "1,2,3", {0, 1, 4}}, route_row{"Ten", "5", "1,2,3,4,5,6,7,8,9,10", {0, 1, 4}},
        route_row{"Negative", "5", "-1", {-2, -2, 4}}, route_row{"Signed", "5", "+4", {3, 3, 4}},
        route_row{"Hexadecimal", "5", "0x10", {-1, -1, 4}}, route_row{"LeadingZero", "5", "010", {9, 9, 4}},
        route_row{"Largest", "5", "2147483647,2147483648", {largest - 1, largest, 4}},
        route_row{"Beyond32Bits", "5", "2147483649,4294967297", {largest, largest, 4}},
        route_row{"Beyond64Bits", "5", "99999999999999999999", {largest, largest, 4}},
        route_row{"Smallest", "5", "-2147483647,-2147483648", {smallest, smallest, 4}},
        route_row{"SmallestOf64Bits", "5", "-9223372036854775808", {smallest, smallest, 4}},
        route_row{"NegativeBeyond64Bits", "5", "-99999999999999999999", {smallest, smallest, 4}}),
    [](const auto& instance) { return instance.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Output, RouteRequest,
    testing::Values(route_row{"First", "1", "2", {1, 1, 0}}, route_row{"Word", "x", "2", {1, 1, -1}},
                    route_row{"Zero", "0", "2", {1, 1, -1}}, route_row{"Negative", "-3", "2", {1, 1, -4}},
                    route_row{"Empty", "", "2", {1, 1, -1}},
                    route_row{"LettersAfterTheDigits", "7x", "2", {1, 1, 6}},
                    route_row{"BeyondTheRouter", "5000", "2", {1, 1, 4999}},
                    route_row{"Beyond64Bits", "99999999999999999999", "2", {1, 1, largest}},
                    route_row{"SmallestOf64Bits", "-9223372036854775808", "2", {1, 1, smallest}}),
    [](const auto& instance) { return instance.param.name; });

// --- arguments and "set" entries ---------------------------------------------------------------------------

TEST_F(Route, EachArgumentQueuesARequest) {
    expect_reply({"route", {"3=2", "4=5,6"}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{1, 1, 2}, route_request{4, 5, 3}));
}

TEST_F(Route, ArgumentsOfAnotherFormQueueNothing) {
    expect_reply({"route", {"", "3", "=2", "=", " = 2"}});
    EXPECT_THAT(route_requests, IsEmpty());
    EXPECT_EQ(trace(), "");
}

TEST_F(Route, ArgumentWithoutSourcesTakesNone) {
    expect_reply({"route", {"3="}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{-1, -1, 2}));
}

// What docs/security.md warns of: who reads the trace must not trust a single line.
TEST_F(Route, ArgumentWithALineFeedStandsInTheTraceAsItIs) {
    expect_reply({"route", {"3=2\nStopping backend"}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{1, 1, 2}));
    EXPECT_EQ(trace(), "'3' = '2\nStopping backend'\n");
}

TEST_F(Route, ArgumentIsSplitAtItsFirstEqualsSign) {
    expect_reply({"route", {"3=2=7"}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{1, 1, 2}));
}

TEST_F(Route, SetEntryIsAListSeparatedByBlanks) {
    expect_reply({"route", {}, {{"set", "  1=1  2=2,2 "}}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{0, 0, 0}, route_request{1, 1, 1}));
    EXPECT_EQ(trace(), "'1' = '1'\n'2' = '2,2'\n");
}

TEST_F(Route, TabsDoNotSeparateTokens) {
    expect_reply({"route", {}, {{"set", "1=2\t3=4"}}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{1, 1, 0}));
}

TEST_F(Route, SetEntryOfBlanksQueuesNothing) {
    expect_reply({"route", {}, {{"set", ""}, {"set", "    "}}});
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Route, TokensOfAnotherFormAreSkipped) {
    expect_reply({"route", {}, {{"set", "x 3 =2 4=5"}}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{4, 4, 3}));
}

TEST_F(Route, TokenOf70CharactersIsCutToItsFirst63) {
    const std::string token = "7=" + std::string(60, '0') + "3" + "1234567";
    ASSERT_EQ(token.size(), 70U);
    expect_reply({"route", {}, {{"set", token + " 2=2"}}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{2, 2, 6}, route_request{1, 1, 1}));
}

TEST_F(Route, TokenOf63CharactersIsWhole) {
    const std::string token = "7=" + std::string(59, '0') + "34";
    ASSERT_EQ(token.size(), 63U);
    expect_reply({"route", {}, {{"set", token}}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{33, 33, 6}));
}

TEST_F(Route, ArgumentHasNoSuchLimit) {
    expect_reply({"route", {"7=" + std::string(100, '0') + "34"}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{33, 33, 6}));
}

TEST_F(Route, EntriesOfOtherNamesQueueNothing) {
    expect_reply({"route", {}, {{"Set", "1=1"}, {"sets", "1=1"}, {"", "1=1"}, {"1", "1"}}});
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Route, ArgumentsComeBeforeSetEntriesEachInItsOrder) {
    expect_reply({"route", {"1=1", "2=1"}, {{"set", "3=1 4=1"}, {"other", "9=1"}, {"set", "5=1"}}});
    EXPECT_THAT(route_requests,
                ElementsAre(route_request{0, 0, 0}, route_request{0, 0, 1}, route_request{0, 0, 2},
                            route_request{0, 0, 3}, route_request{0, 0, 4}));
}

TEST_F(Route, RepliesTheSameWhenNothingIsAskedFor) {
    expect_reply({"route"});
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Route, WaitsForABackendBehindEarlierRequests) {
    expect_reply({"route", {"1=1"}});
    expect_reply({"route", {"2=2"}});
    EXPECT_THAT(route_requests, ElementsAre(route_request{0, 0, 0}, route_request{1, 1, 1}));
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(Route, IsSentToTheBackendAtOnce) {
    const wired_backend backend;
    expect_reply({"route", {"3=2"}});
    EXPECT_THAT(pending_texts(),
                ElementsAre("*COMMAND=route output\n*TYPE=command\nfrom input=1\nqueue=add\nto output=2\n\n",
                            "*COMMAND=route output\n*TYPE=command\nqueue=flush\n\n"));
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(Route, EmptyRequestSendsWhatWaited) {
    ask_for({{1, 1, 2}});
    const wired_backend backend;
    expect_reply({"route"});
    EXPECT_EQ(pending_line_count(), 2U);
    EXPECT_THAT(route_requests, IsEmpty());
}

} // namespace
