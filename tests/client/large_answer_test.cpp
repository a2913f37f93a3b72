// Answers about a whole router of the largest size, and pages of one that has become smaller meanwhile.
#include "client_request.h"
#include "commands.h"
#include "fresh_driver.h"
#include "router_picture.h"
#include "served_driver.h"

namespace {

using LargeAnswer = served_driver;

TEST_F(LargeAnswer, OfTakesThatAreAllRefusedAtLengthFitsAPacket) {
    resize_picture(1, max_outputs, false);
    report_link(link_state::down, std::string(1024, 'x'));
    std::vector<std::string> takes;
    for (std::int32_t output = 1; output <= max_outputs; ++output)
        takes.push_back(std::to_string(output) + "=1");
    const auto client = connect();
    const test_reply reply = ask_one(*client, "take", takes, {{"id", "all"}});
    EXPECT_EQ(reply.entry("id"), "all");
    EXPECT_EQ(reply.entry("output 1024"), "refused link down: " + std::string(reason_bytes, 'x'));
    report_link(link_state::unknown, "");
}

using NextPage = fresh_driver;

// The client asks for "input 200", and by then the router has 100 inputs: the outputs follow, all of them.
TEST_F(NextPage, OfARouterWithFewerInputsThanBeforeBeginsAtTheFirstOutput) {
    resize_picture(100, 300, false);
    const std::string items = reply_to({"describe", {"input 200"}}).items;
    EXPECT_NE(items.find("N(output 300|"), std::string::npos) << "it is the last page";
    EXPECT_NE(items.find("N(output 1|"), std::string::npos) << "outputs were passed over";
}

// What an assertion says is what stands in the source, the name of a null pointer too.
void assert_null(const char* text) {
    packet_assert(text == NULL); // NOLINT(modernize-use-nullptr): its text
}

TEST_F(LargeAnswer, AssertionOfThePacketHandlerSaysItsTextAsWritten) {
    EXPECT_DEATH(assert_null(""), "`text == NULL' failed");
}

} // namespace
