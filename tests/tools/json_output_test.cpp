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

TEST(JsonOutput, StatusNamesEveryInputAndOutput) {
    EXPECT_EQ(json_line(json_of_status(example_router(1, 2, {0, 1}))),
              R"({"router":true,"inputs":[{"input":1,"name":"Camera 1"}],"outputs":[)"
              R"({"output":1,"name":"Monitor 1","audio":0,"video":1},)"
              R"({"output":2,"name":"Monitor 2","audio":0,"video":1}]})");
    EXPECT_EQ(json_line(json_of_no_router()), R"({"router":false})");
}

TEST(JsonOutput, ReportIsOneObject) {
    EXPECT_EQ(json_line(json_of_report({true, true, {"shm 1"}, {}, {"a", "b"}})),
              R"({"connected":true,"machine":["shm 1"],"errors":[],"notes":["a","b"]})");
}

TEST(JsonOutput, TakesSayWhatWasAskedAndShown) {
    const auto results = check_takes({{1, {1, 1}}, {7, {2, 2}}}, example_router(2, 2));
    EXPECT_EQ(json_line(json_of_takes(results)),
              R"({"confirmed":false,"outputs":[)"
              R"({"output":1,"asked":{"audio":1,"video":1},"shown":{"audio":1,"video":1},"confirmed":true},)"
              R"({"output":7,"asked":{"audio":2,"video":2},"shown":null,"confirmed":false}]})");
}

TEST(PacketText, ShowsItemsInWireOrder) {
    EXPECT_EQ(packet_text(example_packet()), "result 18446744073709551615\n"
                                             "command \"status\"\n"
                                             "entry \"early\" = \"a\\nb\"\n"
                                             "argument \"no \\\"router\\\"\"\n"
                                             "end of arguments\n"
                                             "entry \"\\xff\" = \"\"\n");
}
