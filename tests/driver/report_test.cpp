#include "fresh_driver.h"
#include "packet_texts.h"
#include "system_status.h"
#include "wired_backend.h"

namespace {

class StatusReport : public fresh_driver {
protected:
    // The report's items in wire order.
    static std::string reported(const char* text = nullptr) {
        comm_socket_v4_packet packet;
        comm_socket_v4_packet_begin_writing(&packet, 0, "report", nullptr);
        report_status(text, &packet);
        comm_socket_v4_packet_write_end(&packet);
        comm_socket_v4_packet arrived;
        EXPECT_TRUE(decode(&arrived, packet.bytes));
        return texts_of(arrived);
    }
    static std::string report_of(const std::string& active, const std::string& error,
                                 const std::string& notes) {
        return "C(report) N(*active|" + active + shm_status() + mem_status() + cpu_status() +
               ") N(*last error|" + error + ") N(*last notes|" + notes + ")";
    }
};

TEST_F(StatusReport, WithoutBackendIsInactive) {
    EXPECT_EQ(reported(), report_of("0", "", ""));
}

TEST_F(StatusReport, WithBackendIsActive) {
    const wired_backend backend;
    EXPECT_EQ(reported(), report_of("1", "", ""));
}

TEST_F(StatusReport, MachineStatusFollowsWithoutSeparators) {
    EXPECT_TRUE(reported().starts_with("C(report) N(*active|0; shm "));
}

TEST_F(StatusReport, CarriesBothLogs) {
    last_error = "fan failed\ndisk low";
    last_notes = "\nStarting backend driver\nup";
    EXPECT_EQ(reported(), report_of("0", "fan failed\ndisk low", "\nStarting backend driver\nup"));
}

TEST_F(StatusReport, TextOfTheRequestIsNotUsed) {
    const std::string without_text = reported();
    EXPECT_EQ(reported("all"), without_text);
    EXPECT_EQ(reported(""), without_text);
}

struct missing_piece {
    const char* name;
    std::int32_t* piece;
};

void PrintTo(const missing_piece& missing, std::ostream* stream) {
    *stream << missing.name;
}

class InactiveReport : public StatusReport, public testing::WithParamInterface<missing_piece> {};

TEST_P(InactiveReport, IsThatOfABackendWithoutThisPiece) {
    const wired_backend backend;
    std::int32_t& piece = *GetParam().piece;
    const std::int32_t connected = piece;
    piece = -1;
    EXPECT_EQ(reported(), report_of("0", "", ""));
    piece = connected;
}

INSTANTIATE_TEST_SUITE_P(StatusReport, InactiveReport,
                         testing::Values(missing_piece{"StandardInput", &backend_stdin_fd},
                                         missing_piece{"StandardOutput", &backend_stdout_fd},
                                         missing_piece{"Process", &backend_pid}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(StatusReport, BackendWithoutStandardErrorIsActive) {
    wired_backend backend;
    backend.close_stderr();
    read_backend_stderr();
    EXPECT_EQ(backend_stderr_fd, -1);
    EXPECT_EQ(reported(), report_of("1", "", ""));
}

TEST_F(StatusReport, BackendThatClosedItsStandardOutputIsInactive) {
    const captured_stream standard_output(stdout);
    wired_backend backend;
    backend.close_stdout();
    read_backend_stdout();
    EXPECT_EQ(reported(), report_of("0", "", "Stopping backend driver"));
}

} // namespace
