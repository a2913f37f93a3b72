#include "fresh_driver.h"

#include <gmock/gmock.h>

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

class Pending : public fresh_driver {};

TEST_F(Pending, MessageIsQueuedWholeAndTracedLineByLine) {
    TavrixAPIRouterMessage message;
    message.command = "router set";
    message.error = "none";
    message.type = "command";
    message.id = "7";
    message.fields = {{"output.0.name", "Studio 1"}, {"input.0.name", ""}};
    router_send_message(message);
    EXPECT_THAT(pending_texts(), ElementsAre("*COMMAND=router set\n*ERROR=none\n*TYPE=command\n*ID=7\n"
                                             "input.0.name=\noutput.0.name=Studio 1\n\n"));
    EXPECT_EQ(trace(), "STDIN: '*COMMAND=router set'\n"
                       "STDIN: '*ERROR=none'\n"
                       "STDIN: '*TYPE=command'\n"
                       "STDIN: '*ID=7'\n"
                       "STDIN: 'input.0.name='\n"
                       "STDIN: 'output.0.name=Studio 1'\n"
                       "STDIN: ''\n");
}

TEST_F(Pending, ClientsMessageThatFillsThePipeIsSentAndALongerOneIsDropped) {
    TavrixAPIRouterMessage message;
    message.command = "set";
    message.type = "message";
    message.fields["value"] =
        std::string(backend_pipe_buffer_bytes - "*COMMAND=set\n*TYPE=message\nvalue=\n\n"s.size(), 'x');
    router_send_client_message(message, {1, 1000}, first_setting_place);
    ASSERT_NE(pending_line(), nullptr);
    EXPECT_EQ(pending_line()->size(), backend_pipe_buffer_bytes);
    EXPECT_EQ(trace().size(), backend_pipe_buffer_bytes + 4 * "STDIN: ''"s.size());
    message.fields["value"] += 'x';
    router_send_client_message(message, {1, 1000}, first_setting_place);
    EXPECT_EQ(pending_line_count(), 1U);
    EXPECT_EQ(trace(), "Dropped 'set' of 1048577 bytes: too long for the backend's pipe\n");
}

TEST_F(Pending, EmptyMessageIsOneBlankLine) {
    router_send_message(TavrixAPIRouterMessage());
    EXPECT_THAT(pending_texts(), ElementsAre("\n"));
    EXPECT_EQ(trace(), "STDIN: ''\n");
}

TEST_F(Pending, EachLineOfAValueIsTracedWithItsName) {
    TavrixAPIRouterMessage message;
    message.fields["value"] = "a\nb";
    router_send_message(message);
    EXPECT_THAT(pending_texts(), ElementsAre("value=a\nvalue=b\n\n"));
    EXPECT_EQ(trace(), "STDIN: 'value=a'\nSTDIN: 'value=b'\nSTDIN: ''\n");
}

TEST_F(Pending, TrailingLineFeedOfAValueCostsOneMoreLine) {
    TavrixAPIRouterMessage message;
    message.fields["value"] = "a\n";
    router_send_message(message);
    EXPECT_THAT(pending_texts(), ElementsAre("value=a\nvalue=\n\n"));
    EXPECT_EQ(trace(), "STDIN: 'value=a'\nSTDIN: 'value='\nSTDIN: ''\n");
}

TEST_F(Pending, MessagesAreQueuedInTheOrderOfSending) {
    TavrixAPIRouterMessage message;
    for (const char* command : {"first", "second", "third"}) {
        message.command = command;
        router_send_message(message);
    }
    EXPECT_THAT(pending_texts(),
                ElementsAre("*COMMAND=first\n\n", "*COMMAND=second\n\n", "*COMMAND=third\n\n"));
}

TEST_F(Pending, SenderKeepsItsMessage) {
    TavrixAPIRouterMessage message;
    message.command = "set";
    message.fields["name"] = "gain";
    router_send_message(message);
    EXPECT_EQ(message.command, "set");
    EXPECT_THAT(message.fields, ElementsAre(testing::Pair("name", "gain")));
}

TEST_F(Pending, MessageIsQueuedAlsoWithoutBackend) {
    ASSERT_LT(backend_stdin_fd, 0);
    TavrixAPIRouterMessage message;
    message.command = "report";
    router_send_message(message);
    EXPECT_THAT(pending_texts(), ElementsAre("*COMMAND=report\n\n"));
    EXPECT_EQ(trace(), "STDIN: '*COMMAND=report'\nSTDIN: ''\n");
}

TEST_F(Pending, BytesPassThroughUnchanged) {
    TavrixAPIRouterMessage message;
    message.fields["value"] = "100%s \xc3\xa9\xff\0z"s;
    router_send_message(message);
    EXPECT_THAT(pending_texts(), ElementsAre("value=100%s \xc3\xa9\xff\0z\n\n"s));
    EXPECT_EQ(trace(), "STDIN: 'value=100%s \xc3\xa9\xff\0z'\nSTDIN: ''\n"s);
}

TEST_F(Pending, ReportIsAskedForOutputsThenInputs) {
    request_router_report();
    EXPECT_THAT(pending_texts(), ElementsAre("*COMMAND=report\n*TYPE=command\nwhat=outputs\n\n",
                                             "*COMMAND=report\n*TYPE=command\nwhat=inputs\n\n"));
    EXPECT_EQ(trace(), "STDIN: '*COMMAND=report'\nSTDIN: '*TYPE=command'\nSTDIN: 'what=outputs'\nSTDIN: ''\n"
                       "STDIN: '*COMMAND=report'\nSTDIN: '*TYPE=command'\nSTDIN: 'what=inputs'\nSTDIN: ''\n");
}

} // namespace
