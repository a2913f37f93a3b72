#include "fresh_driver.h"
#include "packet_texts.h"
#include "system_status.h"
#include "wired_backend.h"

#include <algorithm>

namespace {

class StatusReport : public fresh_driver {
protected:
    // The report's items in wire order.
    static std::string reported(const char* text = nullptr) {
        comm_socket_v4_packet packet;
        comm_socket_v4_packet_begin_writing(&packet, 0, "report", nullptr);
        report_status(text, &packet);
        comm_socket_v4_packet_write_end(&packet);
        EXPECT_FALSE(packet.too_large);
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

TEST_F(StatusReport, ShowsTheNewestEndOfALogThatDoesNotFitAndTheOtherWhole) {
    last_error = std::string(1000000, 'a') + std::string(1000000, 'b') + "newest";
    last_notes = "ten bytes.";
    const std::string shown = reported();
    EXPECT_TRUE(shown.ends_with(" N(*last notes|ten bytes.)"));
    const std::string begin = " N(*last error|";
    const std::size_t at = shown.find(begin) + begin.size();
    const std::string error = shown.substr(at, shown.find(") N(*last notes|") - at);
    EXPECT_GT(error.size(), 1048576U - 1000) << "the packet is used";
    EXPECT_EQ(error, last_error.substr(last_error.size() - error.size()));
}

TEST_F(StatusReport, CutsBothLogsEquallyWhenNeitherFits) {
    last_error = std::string(2000000, 'e');
    last_notes = std::string(2000000, 'n');
    const std::string shown = reported();
    const auto errors = std::count(shown.begin() + 100, shown.end(), 'e');
    const auto notes = std::count(shown.begin() + 100, shown.end(), 'n');
    EXPECT_GT(errors, 1048576 / 2 - 1000);
    EXPECT_NEAR(static_cast<double>(errors), static_cast<double>(notes), 100);
}

TEST_F(StatusReport, CutsALogAtTheBeginningOfALetter) {
    for (const char* filler : {"", "x", "xx"}) {
        last_error.clear();
        for (int i = 0; i < 500000; ++i)
            last_error += "\xe2\x82\xac";
        last_error += filler;
        EXPECT_NE(reported().find("N(*last error|\xe2\x82\xac"), std::string::npos);
    }
}

TEST_F(StatusReport, TextOfTheRequestIsNotUsed) {
    const std::string without_text = reported();
    EXPECT_EQ(reported("all"), without_text);
    EXPECT_EQ(reported(""), without_text);
}

TEST_F(StatusReport, BackendWithoutStandardErrorIsActive) {
    wired_backend backend;
    backend.close_stderr();
    read_backend_stderr();
    EXPECT_EQ(backend_stderr_fd, -1);
    EXPECT_EQ(reported(), report_of("1", "", ""));
}

TEST_F(StatusReport, BackendThatClosedItsStandardInputIsInactive) {
    wired_backend backend;
    backend.close_stdin();
    pending_to_buffer();
    EXPECT_EQ(reported(), report_of("0", "", "Stopping backend driver"));
}

TEST_F(StatusReport, BackendThatClosedItsStandardOutputIsInactive) {
    const captured_stream standard_output(stdout);
    wired_backend backend;
    backend.close_stdout();
    read_backend_stdout();
    EXPECT_EQ(reported(), report_of("0", "", "Stopping backend driver"));
}

} // namespace
