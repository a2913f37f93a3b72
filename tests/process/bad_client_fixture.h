// Clients that break rules, and a witness who must not notice.
#pragma once

#include "driver_process.h"
#include "pipelined_requests.h"
#include "test_client.h"
#include "test_files.h"

#include <gtest/gtest.h>

// A driver on a large simulated router, with one well-behaved client. At the end of each test the driver
// lives, serves the witness and newcomers, still has its backend, and holds no descriptor more than before.
class bad_client_fixture : public testing::Test {
protected:
    void SetUp() override {
        wait_for_status(witness_, "output.name 128", "Output 128");
        backend_ = driver_.wait_for_backend();
        descriptors_ = driver_.settled_descriptor_count();
    }
    void TearDown() override {
        EXPECT_TRUE(driver_.running());
        EXPECT_EQ(witness_.request("ping").command, "ping");
        EXPECT_EQ(test_client(socket()).status().entry("out points"), "128");
        EXPECT_EQ(driver_.wait_for_backend(), backend_);
        wait_until("no descriptor is left behind",
                   [&] { return driver_.descriptors().size() == descriptors_; });
        EXPECT_EQ(driver_.stop(), (driver_end{0, 0}));
    }

    [[nodiscard]] const std::string& socket() const {
        return driver_.socket_path();
    }
    // How often the trace says this. It is gathered before it is written, so a line of our own is awaited
    // first: whatever was to be told before it is then there.
    [[nodiscard]] std::size_t told(const std::string& text) {
        const std::string marker = "marker " + std::to_string(++markers_);
        EXPECT_EQ(witness_.request("set", {}, {{marker, ""}}).command, "set");
        driver_.wait_for_trace("Notify server '" + marker + "' = ''\n");
        const std::string trace = driver_.trace();
        std::size_t count = 0;
        for (std::size_t at = trace.find(text); at != std::string::npos; at = trace.find(text, at + 1))
            ++count;
        return count;
    }
    // Whoever sends `bytes` is disconnected without a reply, for `reason`.
    void expect_cut(const std::string& bytes, const std::string& reason) {
        const std::size_t from = driver_.trace_size();
        const test_client bad(socket());
        bad.send_bytes(bytes);
        EXPECT_EQ(bad.read_until_closed(), "");
        driver_.wait_for_trace("Client cut: " + reason + " (user ", from);
    }

    [[nodiscard]] std::string large_router() const {
        write_file(
            directory_.file("item"),
            "driver=route_simulator\nsimulated salvo=no\nsimulated inputs=288\nsimulated outputs=288\n");
        return directory_.file("item");
    }

    const temporary_directory directory_;
    driver_process driver_{large_router()};
    test_client witness_{socket()};
    pid_t backend_ = -1;
    int markers_ = 0;
    std::size_t descriptors_ = 0; // with the witness, without anybody else
};
