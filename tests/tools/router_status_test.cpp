#include "example_router.h"
#include "router_status.h"

#include <gtest/gtest.h>

namespace {

comm_socket_v4_packet reply_with(const char* command, const char* argument,
                                 const std::vector<std::pair<std::string, std::string>>& entries) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, command, argument);
    comm_socket_v4_packet_write_argv_end(&packet);
    for (const auto& [name, value] : entries)
        comm_socket_v4_packet_write_nv_pair(&packet, name, value);
    comm_socket_v4_packet_write_end(&packet);
    return delivered(packet);
}

} // namespace

TEST(RouterStatus, HoldsNamesAndSourcesOfTheReply) {
    router_status router = example_router(3, 2);
    router.outputs[1].source = {0, 3};
    const auto status = decode_status(status_reply(router));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->inputs, (std::vector<std::string>{"Camera 1", "Camera 2", "Camera 3"}));
    ASSERT_EQ(status->outputs.size(), 2U);
    EXPECT_EQ(status->outputs[0].name, "Monitor 1");
    EXPECT_EQ(status->outputs[0].source, (crosspoint{1, 1}));
    EXPECT_EQ(status->outputs[1].source, (crosspoint{0, 3}));
}

TEST(RouterStatus, NoRouterIsNoStatus) {
    const auto reply = reply_with("status", "no router", {{"in points", "4"}, {"out points", "0"}});
    EXPECT_TRUE(is_no_router(reply));
    EXPECT_FALSE(decode_status(reply));
    EXPECT_FALSE(is_no_router(status_reply(example_router(1, 1))));
    EXPECT_FALSE(is_no_router(comm_socket_v4_packet()));
}

TEST(RouterStatus, OtherRepliesAreNoStatus) {
    EXPECT_FALSE(decode_status(reply_with("error", "unknown command 'status'", {})));
    EXPECT_FALSE(decode_status(comm_socket_v4_packet()));
}

TEST(RouterStatus, ForeignEntriesAndImpossibleNumbersAreSkipped) {
    const auto status = decode_status(reply_with("status", nullptr,
                                                 {{"in points", "2"},
                                                  {"out points", "2"},
                                                  {"input.name 0", "zero"},
                                                  {"input.name 3", "three"},
                                                  {"input.name 99999999999999", "many"},
                                                  {"input.name 2x", "letters"},
                                                  {"input.name ", "none"},
                                                  {"output 1", "garbage"},
                                                  {"output 2", "-1,2"},
                                                  {"output.name -1", "minus"}}));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->inputs, (std::vector<std::string>{"", ""}));
    EXPECT_EQ(status->outputs[0].source, (crosspoint{0, 0}));
    EXPECT_EQ(status->outputs[1].source, (crosspoint{0, 2}));
}

TEST(RouterStatus, CountsAreBounded) {
    const auto status =
        decode_status(reply_with("status", nullptr, {{"in points", "2000000000"}, {"out points", "-5"}}));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->inputs.size(), 65536U);
    EXPECT_EQ(status->outputs.size(), 0U);
}

TEST(RouterStatus, OnlyAFullReplyMayLeaveSomethingOut) {
    EXPECT_FALSE(may_show_fewer_outputs(example_router(127, 127)));
    EXPECT_FALSE(may_show_fewer_inputs(example_router(127, 127)));
    EXPECT_TRUE(may_show_fewer_outputs(example_router(1, 128)));
    EXPECT_TRUE(may_show_fewer_inputs(example_router(128, 1)));
}

TEST(RouterStatus, SourcesAreNamedForPeople) {
    EXPECT_EQ(crosspoint_text({3, 3}), "3");
    EXPECT_EQ(crosspoint_text({0, 0}), "none");
    EXPECT_EQ(crosspoint_text({0, 4}), "audio none, video 4");
}
