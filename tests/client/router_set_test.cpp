#include "client_request.h"
#include "fresh_driver.h"
#include "wired_backend.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A router of three outputs and two inputs.
class RouterSet : public fresh_driver {
protected:
    RouterSet() {
        resize_picture(2, 3, false);
    }
    static void expect_reply(const client_request& request) {
        const client_reply reply = reply_to(request);
        EXPECT_EQ(reply.handled, 1);
        EXPECT_EQ(reply.items, "C(router set) E");
        EXPECT_EQ(reply.result, 0U);
    }
    static std::string message(const std::string& property, const std::string& value) {
        return "*COMMAND=router set\n*TYPE=command\n" + property + "=" + value + "\n\n";
    }
};

struct property_row {
    const char* name;
    const char* property;
    const char* sent; // to the backend; empty: nothing is
};

void PrintTo(const property_row& row, std::ostream* stream) {
    *stream << row.name;
}

class Property : public RouterSet, public testing::WithParamInterface<property_row> {};

TEST_P(Property, IsForwardedZeroBasedOrSkipped) {
    const std::string sent = GetParam().sent;
    expect_reply({"router set", {}, {{GetParam().property, "Cam"}}});
    if (sent.empty())
        EXPECT_THAT(pending_texts(), IsEmpty());
    else
        EXPECT_THAT(pending_texts(), ElementsAre(message(sent, "Cam")));
}

INSTANTIATE_TEST_SUITE_P(
    OfOutputs, Property,
    testing::Values(
        property_row{"First", "output.1.name", "output.0.name"},
        property_row{"Last", "output.3.name", "output.2.name"},
        property_row{"OneTooMany", "output.4.name", ""}, property_row{"Zero", "output.0.name", ""},
        property_row{"LeadingZero", "output.01.name", "output.0.name"},
        property_row{"OtherProperty", "output.2.gain of level", "output.1.gain of level"},
        property_row{"DottedProperty", "output.1.a.b", "output.0.a.b"},
        property_row{"EmptyProperty", "output.1.", "output.0."}, property_row{"NoDot", "output.1", ""},
        property_row{"NoDotBehindTheNumber", "output.1x.name", ""},
        property_row{"NoNumber", "output.x.name", ""}, property_row{"Negative", "output.-1.name", ""},
        property_row{"Signed", "output.+1.name", ""}, property_row{"Blank", "output. 1.name", ""},
        property_row{"OtherCase", "Output.1.name", ""}, property_row{"Plural", "outputs.1.name", ""},
        property_row{"NoNumberAtAll", "output.", ""}, property_row{"Alone", "output", ""},
        property_row{"Empty", "", ""}, property_row{"BlankBefore", " output.1.name", ""},
        property_row{"Beyond32Bits", "output.4294967297.name", ""},
        property_row{"Beyond64Bits", "output.18446744073709551617.name", ""},
        property_row{"EqualsSignInIt", "output.1.a=b", ""},
        property_row{"LineFeedInIt", "output.1.a\n*TYPE", ""}),
    [](const auto& instance) { return instance.param.name; });

INSTANTIATE_TEST_SUITE_P(OfInputs, Property,
                         testing::Values(property_row{"First", "input.1.name", "input.0.name"},
                                         property_row{"Last", "input.2.name", "input.1.name"},
                                         property_row{"OneTooManyThoughAnOutput", "input.3.name", ""},
                                         property_row{"Zero", "input.0.name", ""},
                                         property_row{"NoNumber", "input.x.name", ""},
                                         property_row{"NoDot", "input.1", ""},
                                         property_row{"Alone", "input", ""},
                                         property_row{"OtherCase", "Input.1.name", ""},
                                         property_row{"OtherProperty", "input.2.gain", "input.1.gain"}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(RouterSet, EachPropertyIsAMessageOfItsOwn) {
    expect_reply(
        {"router set",
         {},
         {{"output.2.name", "Studio"}, {"color", "red"}, {"input.1.name", "VT"}, {"output.2.name", "x"}}});
    EXPECT_THAT(pending_texts(), ElementsAre(message("output.1.name", "Studio"),
                                             message("input.0.name", "VT"), message("output.1.name", "x")));
}

TEST_F(RouterSet, ValueIsForwardedAsItIs) {
    expect_reply({"router set", {}, {{"output.1.name", ""}, {"output.2.name", " a=b "}}});
    EXPECT_THAT(pending_texts(),
                ElementsAre(message("output.0.name", ""), message("output.1.name", " a=b ")));
}

TEST_F(RouterSet, ValueOfSeveralLinesKeepsItsName) {
    expect_reply({"router set", {}, {{"output.1.name", "a\n*COMMAND=x"}}});
    EXPECT_THAT(pending_texts(), ElementsAre("*COMMAND=router set\n*TYPE=command\noutput.0.name=a\n"
                                             "output.0.name=*COMMAND=x\n\n"));
}

// Each line feed repeats the name: this would be hundreds of gigabytes.
TEST_F(RouterSet, PropertyThatNoPipeTakesIsDroppedAndTheNextIsSent) {
    const std::string name = "output.1." + std::string(500000, 'n');
    expect_reply({"router set", {}, {{name, std::string(500000, '\n')}, {"output.1.name", "Cam"}}});
    EXPECT_THAT(pending_texts(), ElementsAre(message("output.0.name", "Cam")));
}

TEST_F(RouterSet, ArgumentsAreIgnored) {
    expect_reply({"router set", {"output.1.name=Cam", "1=1"}});
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_THAT(route_requests, IsEmpty());
}

TEST_F(RouterSet, WithoutRouterNothingIsForwarded) {
    reset_router();
    expect_reply({"router set", {}, {{"output.1.name", "x"}, {"input.1.name", "x"}}});
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(RouterSet, PropertyIsTracedLikeAllThatIsSent) {
    expect_reply({"router set", {}, {{"output.1.name", "Cam"}}});
    EXPECT_EQ(trace(), "STDIN: '*COMMAND=router set'\nSTDIN: '*TYPE=command'\nSTDIN: 'output.0.name=Cam'\n"
                       "STDIN: ''\n");
}

TEST_F(RouterSet, NamesOfTheModelAreTheBackendsToChange) {
    expect_reply({"router set", {}, {{"output.1.name", "Cam"}, {"input.1.name", "VT"}}});
    EXPECT_EQ(router_outputs[0].name, "");
    EXPECT_EQ(input_names[0], "");
}

TEST_F(RouterSet, SendsTheTakesThatWaitedBehindIt) {
    ask_for({{1, 1, 2}});
    const wired_backend backend;
    expect_reply({"router set", {}, {{"output.1.name", "Cam"}}});
    EXPECT_THAT(route_requests, IsEmpty());
    const std::vector<std::string> sent = pending_texts();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[0], message("output.0.name", "Cam"));
}

} // namespace
