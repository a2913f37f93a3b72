// A reader of the trace that stands still: no take waits for it, what is kept for it is bounded, and when it
// goes on it is told what it missed.
#include "driver_process.h"
#include "finished_driver.h"
#include "monotonic_us.h"
#include "test_client.h"
#include "test_files.h"
#include "vrdx_trace.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace {

// The reading end of a pipe, read only when asked for.
class idle_reader {
public:
    idle_reader() {
        if (pipe2(ends_, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make a pipe");
    }
    ~idle_reader() {
        close(ends_[0]);
        close(ends_[1]);
    }
    idle_reader(const idle_reader&) = delete;
    idle_reader& operator=(const idle_reader&) = delete;

    [[nodiscard]] int write_end() const {
        return ends_[1];
    }
    // A part of what has been written by now: at most what a pipe holds.
    std::string read_a_little() {
        std::string text(65536, '\0');
        pollfd waiting{ends_[0], POLLIN, 0};
        const ssize_t count = poll(&waiting, 1, 0) == 1 ? read(ends_[0], text.data(), text.size()) : 0;
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }
    // What has been written by now.
    std::string read_some() {
        std::string text;
        std::array<char, 65536> chunk{};
        pollfd waiting{ends_[0], POLLIN, 0};
        while (poll(&waiting, 1, 0) == 1) {
            const ssize_t count = read(ends_[0], chunk.data(), chunk.size());
            if (count <= 0)
                break;
            text.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int ends_[2];
};

constexpr std::uint64_t longest_answer_us =
    2000000;                                    // on a loaded machine; the driver itself waits 20 ms once
constexpr std::uint64_t shown_for_us = 1000000; // an unconfirmed take
constexpr std::size_t under_way = 132096;       // in the pipe, in the stream's buffer, in lines of the turn

// How long a take and the look at it took, in microseconds.
std::uint64_t take_and_look(test_client& client, const std::string& output, const std::string& source) {
    const std::uint64_t start = monotonic_us();
    EXPECT_EQ(client.route(output + "=" + source).command, "route");
    const std::string shown = client.status().entry("output " + output);
    const std::uint64_t took = monotonic_us() - start;
    if (took < shown_for_us) {
        EXPECT_EQ(shown, source + "," + source);
    }
    return took;
}

// A router that says once what it has, and confirms nothing: no late report stands in the way of a take.
std::string silent_router_item(const temporary_directory& directory) {
    return write_scripted_item(directory,
                               join({announce_router(64, 64),
                                     {"say *COMMAND=outputs", "say *TYPE=message", "say o63.input.all=63",
                                      "blank", "expect nothing but the end"}}));
}

// A driver whose trace is read only when asked for.
class StuckReader : public testing::Test {
protected:
    void SetUp() override {
        wait_for_status(client, "output 64", "64,64");
    }
    void expect_end() {
        driver.signal(SIGTERM);
        wait_until("it ends", [&] {
            reader.read_some();
            return !driver.running();
        });
        EXPECT_EQ(driver.wait_exit(), ends_well);
    }

    const temporary_directory directory;
    idle_reader reader;
    driver_process driver{
        driver_setup{.item = silent_router_item(directory), .standard_error = reader.write_end()}};
    test_client client{driver.socket_path()};
};

} // namespace

TEST_F(StuckReader, DelaysNoTakeAndIsToldWhatItMissed) {
    const long memory_kib = resident_kib(driver.pid());

    const std::string value(500000, 'v');
    std::vector<std::uint64_t> times;
    for (int i = 0; i < 50; ++i) { // each is traced at least once
        EXPECT_EQ(client.request("set", {}, {{"setting " + std::to_string(i), value}}).command, "set");
        times.push_back(take_and_look(client, std::to_string(i + 1), std::to_string(i + 2)));
    }
    std::sort(times.begin(), times.end());
    const long most_kib = resident_kib(driver.pid());
    std::printf("figure: trace unread: a take took %.1f ms at most, memory grew by %ld KiB\n",
                static_cast<double>(times.back()) / 1000, most_kib - memory_kib);
    EXPECT_LT(times[times.size() / 2], longest_answer_us);

    std::string trace;
    // Where the text stands; megabytes that were searched before are not searched again.
    const auto wait_for_trace = [&](const std::string& what, const std::string& text) {
        std::size_t found = std::string::npos;
        std::size_t searched = trace.size();
        wait_until(what, [&] {
            client.request("ping");
            trace += reader.read_some();
            found = trace.find(text, searched);
            searched = trace.size() - std::min(trace.size(), text.size());
            return found != std::string::npos;
        });
        return found;
    };
    const std::size_t told =
        wait_for_trace("the loss is told", " bytes of trace lost: nobody read them in time)\n");
    EXPECT_LE(told, trace_kept_bytes + under_way + 2 * value.size());
    const auto expect_flow = [&](const std::string& name) {
        client.request("set", {}, {{name, "told"}});
        wait_for_trace("the trace flows again", "Notify server '" + name + "' = 'told'\n");
    };
    expect_flow("afterwards");
    for (int i = 0; i < 12; ++i) // and once more, so that memory used before is used again
        client.request("set", {}, {{"setting", value}});
    expect_flow("in the end");
    wait_until("its memory is given back", [&] {
        client.request("ping");
        reader.read_some();
        return most_kib - resident_kib(driver.pid()) > static_cast<long>(trace_kept_bytes / 1024 / 2);
    });
    expect_end();
}

// More than is ever kept flows by, but never more than a little of it waits.
TEST_F(StuckReader, WhoOnlyLagsBehindMissesNothing) {
    const std::string value(1000000, 'v');
    std::string trace;
    for (int i = 0; trace.size() < 3 * trace_kept_bytes / 2; ++i) {
        const std::string beginning = "Notify server 'setting " + std::to_string(i) + "' = 'v";
        client.request("set", {}, {{"setting " + std::to_string(i), value}});
        std::size_t searched = trace.size() - std::min(trace.size(), beginning.size());
        wait_until("it is traced, and the most of it waits", [&] {
            client.request("ping");
            trace += reader.read_a_little();
            const bool found = trace.find(beginning, searched) != std::string::npos;
            searched = trace.size() - std::min(trace.size(), beginning.size());
            return found;
        });
    }
    EXPECT_EQ(trace.find("bytes of trace lost"), std::string::npos);
    expect_end();
}
