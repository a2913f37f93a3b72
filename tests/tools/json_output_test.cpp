#include "example_router.h"
#include "json_output.h"
#include "packet_text.h"

#include <gtest/gtest.h>

namespace {

comm_socket_v4_packet example_packet() {
    comm_socket_v4_packet packet;
    packet.result = 18446744073709551615U;
    comm_socket_v4_packet_begin_writing(&packet, 0, "status", nullptr);
    comm_socket_v4_packet_write_nv_pair(&packet, "early", "a\nb");
    comm_socket_v4_packet_write_arg(&packet, "no \"router\"");
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "\xff", "");
    comm_socket_v4_packet_write_end(&packet);
    return delivered(packet);
}

} // namespace

TEST(JsonOutput, KeepsAPacketsItemsInWireOrder) {
    EXPECT_EQ(json_line(json_of_packet(example_packet())),
              R"({"command":"status","result":18446744073709551615,"items":[{"name":"early","value":"a\nb"},)"
              R"({"argument":"no \"router\""},{"end of arguments":true},)"
              "{\"name\":\"\ufffd\",\"value\":\"\"}]}");
}

TEST(JsonOutput, PacketWithoutItemsHasAnEmptyList) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "ping", nullptr);
    comm_socket_v4_packet_write_end(&packet);
    EXPECT_EQ(json_line(json_of_packet(delivered(packet))), R"({"command":"ping","result":0,"items":[]})");
}

TEST(JsonOutput, OneItemIsStillAList) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "ping", nullptr);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_end(&packet);
    EXPECT_EQ(json_line(json_of_packet(delivered(packet))),
              R"({"command":"ping","result":0,"items":[{"end of arguments":true}]})");
}

TEST(JsonOutput, RouterNamesEveryInputAndTheOutputsAskedFor) {
    vrdx::router_picture picture = example_router(1, 3, {0, 1});
    picture.outputs[2].sources = {vrdx::source_unknown, 1};
    picture.outputs[2].waits_ms = 800;
    picture.outputs[2].taken = vrdx::last_taker{1000, 4711, "desk 3"};
    picture.outputs[2].properties = {{"lock", "on"}};
    EXPECT_EQ(
        json_line(json_of_router(picture, {1, 3})),
        R"({"router":true,"inputs":[{"input":1,"name":"Camera 1"}],"outputs":[)"
        R"({"output":1,"name":"Monitor 1","audio":0,"video":1},)"
        R"({"output":3,"name":"Monitor 3","audio":null,"video":1,"waits ms":800,)"
        R"("taken":{"user":1000,"pid":4711,"by":"desk 3"},"properties":{"lock":"on"}}],)"
        R"("levels":["video","audio"],"backend":"running","backend text":"","link":"up","link text":"",)"
        R"("epoch":"0123456789abcdef","sequence":0})");
}

TEST(JsonOutput, RouterThatIsNotKnownHasNothing) {
    const json_object object = json_of_router({}, {});
    EXPECT_EQ(object["router"], false);
    EXPECT_TRUE(object["outputs"].empty());
    EXPECT_EQ(object["backend"], "unknown");
}

TEST(JsonOutput, ReportIsOneObject) {
    EXPECT_EQ(json_line(json_of_report({true, true, {"shm 1"}, {}, {"a", "b"}})),
              R"({"connected":true,"machine":["shm 1"],"errors":[],"notes":["a","b"]})");
}

TEST(PacketText, ShowsItemsInWireOrder) {
    EXPECT_EQ(packet_text(example_packet()), "result 18446744073709551615\n"
                                             "command \"status\"\n"
                                             "entry \"early\" = \"a\\nb\"\n"
                                             "argument \"no \\\"router\\\"\"\n"
                                             "end of arguments\n"
                                             "entry \"\\xff\" = \"\"\n");
}
