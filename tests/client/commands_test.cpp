#include "client_request.h"
#include "fresh_driver.h"

#include <string>

namespace {

constexpr std::uint64_t hour = 3600000000;

class Commands : public fresh_driver, public testing::WithParamInterface<std::string> {
protected:
    Commands() {
        auto_shutdown_delay = hour;
        mono_auto_shutdown = 1;
    }
};

// --- handled -----------------------------------------------------------------------------------------------

using KnownCommand = Commands;

TEST_P(KnownCommand, PostponesTheAutoShutdown) {
    EXPECT_EQ(reply_to({GetParam()}).handled, 1);
    EXPECT_EQ(mono_auto_shutdown, settable_clock_us + hour);
    settable_clock_us += 1000;
    reply_to({GetParam()});
    EXPECT_EQ(mono_auto_shutdown, settable_clock_us + hour);
}

TEST_P(KnownCommand, PostponesTheAutoShutdownAlsoWhenTheRequestIsNonsense) {
    reply_to({GetParam(), {"x", "="}, {{"output.x", ""}, {"set", "x"}}});
    EXPECT_EQ(mono_auto_shutdown, settable_clock_us + hour);
}

INSTANTIATE_TEST_SUITE_P(Commands, KnownCommand, testing::Values("route", "router set", "status"));

// --- not handled -------------------------------------------------------------------------------------------

class UnknownCommand : public Commands {};

TEST_P(UnknownCommand, WritesNothingAndPostponesNothing) {
    const client_reply reply = reply_to({GetParam(), {"1=1"}, {{"set", "1=1"}}});
    EXPECT_EQ(reply.handled, 0);
    EXPECT_EQ(reply.items, "");
    EXPECT_EQ(mono_auto_shutdown, 1U);
    EXPECT_TRUE(route_requests.empty());
    EXPECT_EQ(pending_line_count(), 0U);
    EXPECT_EQ(trace(), "");
}

INSTANTIATE_TEST_SUITE_P(Commands, UnknownCommand,
                         testing::Values("Status", "STATUS", "statuses", "Route", "routes", "rout", "router",
                                         "router  set", "router set ", " status", "Router Set", "set"));

TEST(NoCommand, IsNotHandled) {
    comm_socket_v4_packet never_decoded;
    comm_socket_v4_packet response;
    unsigned char flags = 0;
    EXPECT_EQ(my_vrdx_custom_packet(&never_decoded, &response, &flags, nullptr), 0);
    EXPECT_TRUE(response.bytes.empty());
}

// --- what waits for its turn -------------------------------------------------------------------------------

struct hold_row {
    const char* command;
    bool waits;
};

void PrintTo(const hold_row& row, std::ostream* stream) {
    *stream << row.command;
}

class HeldCommand : public fresh_driver, public testing::WithParamInterface<hold_row> {};

TEST_P(HeldCommand, WaitsOnlyWhenItAddsMessagesAndTooMuchWaits) {
    EXPECT_FALSE(packet_must_wait(GetParam().command, 100, nullptr));
    for (std::size_t take = 0; take < waiting_takes_per_client; ++take)
        ask_for({{1, 1, 0}});
    EXPECT_EQ(packet_must_wait(GetParam().command, 100, nullptr), GetParam().waits);
}

INSTANTIATE_TEST_SUITE_P(Commands, HeldCommand,
                         testing::Values(hold_row{"route", true}, hold_row{"router set", true},
                                         hold_row{"set", true}, hold_row{"status", false},
                                         hold_row{"report", false}, hold_row{"ping", false},
                                         hold_row{"exit", false}, hold_row{"Route", false}));

} // namespace
