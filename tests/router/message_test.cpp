#include "message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

std::string encoded(const TavrixAPIRouterMessage& message) {
    std::string text;
    encode_router_message(message, text);
    EXPECT_EQ(encoded_router_message_length(message), text.size());
    return text;
}

std::string encoded_field(std::string_view name, std::string_view value) {
    std::string text;
    encode_field(name, value, text);
    return text;
}

TavrixAPIRouterMessage parsed(std::initializer_list<std::string_view> lines) {
    TavrixAPIRouterMessage message;
    for (const std::string_view line : lines) {
        parse_router_message_line(message, line);
    }
    return message;
}

// What the other end makes of an encoded message.
TavrixAPIRouterMessage received(std::string_view text) {
    TavrixAPIRouterMessage message;
    while (!text.empty()) {
        const auto feed = text.find('\n');
        if (feed > 0) {
            parse_router_message_line(message, text.substr(0, feed));
        }
        text.remove_prefix(feed + 1);
    }
    return message;
}

} // namespace

TEST(MessageEncoding, EmptyMessageIsOneBlankLine) {
    EXPECT_EQ(encoded({}), "\n");
}

TEST(MessageEncoding, TakeAndFlushAreWrittenInFixedOrder) {
    TavrixAPIRouterMessage take;
    take.command = "route output";
    take.type = "command";
    take.fields = {{"to output", "0"}, {"queue", "add"}, {"from input", "3"}};
    TavrixAPIRouterMessage flush;
    flush.command = "route output";
    flush.type = "command";
    flush.fields = {{"queue", "flush"}};
    std::string text;
    encode_router_message(take, text);
    encode_router_message(flush, text);
    EXPECT_EQ(text, "*COMMAND=route output\n*TYPE=command\nfrom input=3\nqueue=add\nto output=0\n\n"
                    "*COMMAND=route output\n*TYPE=command\nqueue=flush\n\n");
}

TEST(MessageEncoding, PartsComeBeforeFieldsInTheOrderCommandErrorTypeId) {
    TavrixAPIRouterMessage message;
    message.id = "i";
    message.type = "t";
    message.error = "e";
    message.command = "c";
    message.fields = {{"!", "first"}};
    EXPECT_EQ(encoded(message), "*COMMAND=c\n*ERROR=e\n*TYPE=t\n*ID=i\n!=first\n\n");
}

TEST(MessageEncoding, AbsentPartsAreNotWritten) {
    TavrixAPIRouterMessage message;
    message.error = "no such output";
    EXPECT_EQ(encoded(message), "*ERROR=no such output\n\n");
}

TEST(MessageEncoding, FieldsAreOrderedByTheBytesOfTheirNames) {
    TavrixAPIRouterMessage message;
    message.fields = {{"\xc3\xa9", "5"}, {"a", "4"}, {"Z", "3"}, {"o10.name", "2"}, {"o1.name", "1"}};
    EXPECT_EQ(encoded(message), "Z=3\na=4\no1.name=1\no10.name=2\n\xc3\xa9=5\n\n");
}

TEST(MessageEncoding, AppendsToWhatIsThere) {
    std::string text = "before\n";
    encode_router_message({}, text);
    encode_field("a", "b", text);
    EXPECT_EQ(text, "before\n\na=b\n");
}

TEST(MessageEncoding, PartsOfSeveralLinesAreSplitAsFieldsAre) {
    TavrixAPIRouterMessage message;
    message.error = "x\ny";
    EXPECT_EQ(encoded(message), "*ERROR=x\n*ERROR=y\n\n");
}

TEST(FieldEncoding, ValueIsCutAtItsLineFeeds) {
    EXPECT_EQ(encoded_field("name", ""), "name=\n");
    EXPECT_EQ(encoded_field("name", "a"), "name=a\n");
    EXPECT_EQ(encoded_field("name", "a\nb"), "name=a\nname=b\n");
    EXPECT_EQ(encoded_field("name", "a\n"), "name=a\nname=\n");
    EXPECT_EQ(encoded_field("name", "\n"), "name=\nname=\n");
    EXPECT_EQ(encoded_field("name", "\nb"), "name=\nname=b\n");
    EXPECT_EQ(encoded_field("name", "a\n\nb"), "name=a\nname=\nname=b\n");
}

TEST(FieldEncoding, BytesPassUnchanged) {
    const std::string bytes("\x01\xff\r\0=*", 6);
    EXPECT_EQ(encoded_field("", bytes), "=" + bytes + "\n");
}

TEST(MessageParsing, PartsAreKnownByTheirPrefixes) {
    const auto message = parsed({"*COMMAND=info", "*ERROR=none", "*TYPE=message", "*ID=7"});
    EXPECT_EQ(message.command, "info");
    EXPECT_EQ(message.error, "none");
    EXPECT_EQ(message.type, "message");
    EXPECT_EQ(message.id, "7");
    EXPECT_THAT(message.fields, IsEmpty());
}

TEST(MessageParsing, PrefixesAreExact) {
    const auto message = parsed({"*COMMANDX=1", "*command=2", "COMMAND=3", " *TYPE=4", "*ID =5", "*=6"});
    EXPECT_TRUE(message.command.empty());
    EXPECT_TRUE(message.type.empty());
    EXPECT_TRUE(message.id.empty());
    EXPECT_THAT(message.fields, ElementsAre(Pair(" *TYPE", "4"), Pair("*", "6"), Pair("*COMMANDX", "1"),
                                            Pair("*ID ", "5"), Pair("*command", "2"), Pair("COMMAND", "3")));
}

TEST(MessageParsing, LineWithoutEqualsSignIsIgnored) {
    const auto message = parsed({"*COMMAND", "noise", "*TYPE"});
    EXPECT_TRUE(router_message_empty(message));
    EXPECT_TRUE(message.type.empty());
}

TEST(MessageParsing, ValueMayHoldEqualsSigns) {
    const auto message = parsed({"a=b=c", "*COMMAND=x=y"});
    EXPECT_THAT(message.fields, ElementsAre(Pair("a", "b=c")));
    EXPECT_EQ(message.command, "x=y");
}

TEST(MessageParsing, EmptyFieldExists) {
    EXPECT_THAT(parsed({"name="}).fields, ElementsAre(Pair("name", "")));
    EXPECT_THAT(parsed({"="}).fields, ElementsAre(Pair("", "")));
}

TEST(MessageParsing, EmptyCommandLineLeavesTheCommandToTheNext) {
    EXPECT_TRUE(router_message_empty(parsed({"*COMMAND="})));
    EXPECT_EQ(parsed({"*COMMAND=", "*COMMAND=b"}).command, "b");
}

TEST(MessageParsing, RepeatedNamesAreJoinedByLineFeeds) {
    EXPECT_EQ(parsed({"*ERROR=x", "*ERROR=y"}).error, "x\ny");
    EXPECT_THAT(parsed({"n=a", "m=1", "n=", "n=b"}).fields, ElementsAre(Pair("m", "1"), Pair("n", "a\n\nb")));
}

TEST(MessageParsing, FieldsInAnyOrderAreOrderedByName) {
    EXPECT_THAT(parsed({"c=3", "a=1", "b=2", "a=4"}).fields,
                ElementsAre(Pair("a", "1\n4"), Pair("b", "2"), Pair("c", "3")));
}

TEST(MessageRoundTrip, ValuesComeBackExceptForALeadingLineFeed) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a", "a"},
        {"a\nb", "a\nb"},
        {"a\n", "a\n"},
        {"a\n\n\nb\n", "a\n\n\nb\n"},
        {"\xf0\x9f\x93\xba", "\xf0\x9f\x93\xba"},
        {"\nb", "b"},
        {"\n", ""},
        {"\n\nb\nc", "b\nc"},
    };
    for (const auto& [sent, expected] : cases) {
        TavrixAPIRouterMessage message;
        message.command = "router set";
        message.fields["output.0.name"] = sent;
        const auto copy = received(encoded(message));
        EXPECT_EQ(copy.command, "router set");
        EXPECT_THAT(copy.fields, ElementsAre(Pair("output.0.name", expected)))
            << testing::PrintToString(sent);
    }
}

TEST(MessageRoundTrip, NoValuePutsABlankLineInsideAMessage) {
    TavrixAPIRouterMessage message;
    message.fields = {{"a", "\n\n\n"}, {"b", ""}, {"c", "x\n\ny"}};
    const std::string text = encoded(message);
    EXPECT_EQ(text.find("\n\n"), text.size() - 2);
}

TEST(MessageEmptiness, TypeAndIdAloneMakeNoMessage) {
    TavrixAPIRouterMessage message;
    message.type = "message";
    message.id = "1";
    EXPECT_TRUE(router_message_empty(message));
}

TEST(MessageEmptiness, CommandErrorOrFieldMakesAMessage) {
    EXPECT_FALSE(router_message_empty(parsed({"*COMMAND=x"})));
    EXPECT_FALSE(router_message_empty(parsed({"*ERROR=x"})));
    EXPECT_FALSE(router_message_empty(parsed({"x="})));
}

TEST(MessageClearing, EmptiesAllFiveParts) {
    auto message = parsed({"*COMMAND=c", "*ERROR=e", "*TYPE=t", "*ID=i", "f=1"});
    clear_router_message(message);
    EXPECT_TRUE(router_message_empty(message));
    EXPECT_EQ(message.type, "");
    EXPECT_EQ(message.id, "");
}
