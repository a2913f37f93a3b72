#include "driver_report.h"
#include "example_router.h"

#include <gtest/gtest.h>

namespace {

driver_report report_of(const char* active, const char* errors, const char* notes) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "report", nullptr);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "*active", active);
    comm_socket_v4_packet_write_nv_pair(&packet, "*last error", errors);
    comm_socket_v4_packet_write_nv_pair(&packet, "*last notes", notes);
    comm_socket_v4_packet_write_end(&packet);
    return decode_report(delivered(packet));
}

} // namespace

TEST(DriverReport, TellsConnectionConditionAndLogs) {
    const driver_report report = report_of("1; shm 1.0 MiB used; cpu 0.3 %, load 0.5", "", "one\ntwo\n");
    EXPECT_TRUE(report.connected);
    EXPECT_TRUE(report.told);
    EXPECT_EQ(report.machine, (std::vector<std::string>{"shm 1.0 MiB used", "cpu 0.3 %, load 0.5"}));
    EXPECT_TRUE(report.errors.empty());
    EXPECT_EQ(report.notes, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(report_text(report), "Backend: connected\n"
                                   "Machine:\n  shm 1.0 MiB used\n  cpu 0.3 %, load 0.5\n"
                                   "Last errors:\n  none\n"
                                   "Last notes:\n  one\n  two\n");
}

TEST(DriverReport, WithoutABackend) {
    EXPECT_FALSE(report_of("0; shm 1", "", "").connected);
    EXPECT_FALSE(report_of("", "", "").connected);
    EXPECT_FALSE(decode_report(comm_socket_v4_packet()).connected);
    EXPECT_FALSE(decode_report(comm_socket_v4_packet()).told);
    EXPECT_TRUE(report_of("1", "", "").machine.empty());
}

TEST(DriverReport, LogLinesCannotDisturbTheTerminal) {
    EXPECT_NE(report_text(report_of("0", "bad \x1b[31m\r\xff", "")).find("  bad ?[31m?\ufffd\n"),
              std::string::npos);
}
