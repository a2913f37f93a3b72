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
    2000000;                              // on a loaded machine; the driver itself waits 20 ms once
constexpr std::size_t under_way = 132096; // in the pipe, in the stream's buffer, in lines of the turn

void take_and_look(test_client& client, const std::string& output, const std::string& source) {
    EXPECT_EQ(client.route(output + "=" + source).command, "route");
    EXPECT_EQ(client.status().entry("output " + output), source + "," + source);
}

} // namespace

TEST(StuckReader, DelaysNoTakeAndIsToldWhatItMissed) {
    const temporary_directory directory;
    write_file(directory.file("item"),
               "driver=route_simulator\nstay resident=1\nsimulated inputs=64\nsimulated outputs=64\n");
    idle_reader reader;
    driver_process driver(driver_setup{.item = directory.file("item"), .standard_error = reader.write_end()});
    test_client client(driver.socket_path());
    wait_for_status(client, "output 64", "64,64");
    const long memory_kib = resident_kib(driver.pid());

    const std::string value(500000, 'v');
    std::uint64_t longest = 0;
    for (int i = 0; i < 50; ++i) { // each is traced at least once
        EXPECT_EQ(client.request("set", {}, {{"setting " + std::to_string(i), value}}).command, "set");
        // An output of its own: the report of an earlier take could come between.
        const std::uint64_t start = monotonic_us();
        take_and_look(client, std::to_string(i + 1), std::to_string(i + 2));
        longest = std::max(longest, monotonic_us() - start);
    }
    const long most_kib = resident_kib(driver.pid());
    std::printf("figure: trace unread: a take took %.1f ms at most, memory grew by %ld KiB\n",
                static_cast<double>(longest) / 1000, most_kib - memory_kib);
    EXPECT_LT(longest, longest_answer_us);

    std::string trace;
    wait_until("the loss is told", [&] {
        client.request("ping");
        trace += reader.read_some();
        return trace.find(" bytes of trace lost: nobody read them in time)\n") != trace.npos;
    });
    EXPECT_LE(trace.size(), trace_kept_bytes + under_way + 2 * value.size());
    const auto expect_flow = [&](const std::string& name) {
        client.request("set", {}, {{name, "told"}});
        wait_until("the trace flows again", [&] {
            client.request("ping");
            trace += reader.read_some();
            return trace.find("Notify server '" + name + "' = 'told'\n") != trace.npos;
        });
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
    driver.signal(SIGTERM);
    wait_until("it ends", [&] {
        reader.read_some();
        return !driver.running();
    });
    EXPECT_EQ(driver.wait_exit(), ends_well);
}
