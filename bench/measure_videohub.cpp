// How soon a take is confirmed by a router on the network.
#include "measure.h"
#include "requests.h"
#include "videohub_peer.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int takes_per_round = 40;
constexpr int points = 16;
constexpr int patience_ms = 20000;
// Between takes: the driver is idle again, and at no particular place of its wait.
constexpr double least_gap_ms = 15;
constexpr double most_gap_ms = 35;
constexpr double look_ms = 0.1;
constexpr std::size_t trace_window = 65536; // bytes; a take leaves some hundred

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1000000;
}

// A driver with the Videohub backend below it, that shows takes only once they are confirmed. Its trace is
// read as it grows: that tells when to ask for its status, without a question that would hurry the driver.
class videohub_driver {
public:
    videohub_driver(const work_directory& directory, std::uint16_t port)
        : item_(directory.file("videohub.item")), socket_(socket_path(directory, "videohub")),
          trace_(open((item_ + ".trace").c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600)),
          program_(arguments(port), {.err = trace_}) {
        wait_for_outputs(socket_, points, patience_ms);
    }
    ~videohub_driver() {
        close(trace_);
    }
    videohub_driver(const videohub_driver&) = delete;
    videohub_driver& operator=(const videohub_driver&) = delete;

    // From sending the take to the status that shows it. Numbers from 1.
    [[nodiscard]] double time(const load_connection& connection, int output, int input) const {
        const off_t traced = lseek(trace_, 0, SEEK_END);
        const std::uint64_t begin = clock_ns();
        connection.send(take_request(output, input));
        connection.receive(take_reply_bytes);
        wait_for_trace(traced, "STDOUT: 'o" + std::to_string(output - 1) +
                                   ".input.all=" + std::to_string(input - 1) + "'");
        if (!shows(ask_status(socket_), output, input))
            throw std::runtime_error("a confirmed take is not shown");
        return milliseconds(begin, clock_ns());
    }

    [[nodiscard]] const std::string& socket() const {
        return socket_;
    }

private:
    [[nodiscard]] std::vector<std::string> arguments(std::uint16_t port) const {
        std::ofstream(item_) << "driver=route_videohub\naddress=127.0.0.1\nport=" << port << '\n';
        return {program_path("vrdx_routedriver"), "--file", item_, "--no-autoshutdown", "--dbg-nochg-assume"};
    }

    void wait_for_trace(off_t from, const std::string& wanted) const {
        const std::uint64_t deadline = clock_ns() + patience_ms * 1000000ULL;
        std::string text(trace_window, '\0');
        while (clock_ns() < deadline) {
            const ssize_t count = pread(trace_, text.data(), text.size(), from);
            if (count > 0 && std::string_view(text.data(), static_cast<std::size_t>(count)).find(wanted) !=
                                 std::string_view::npos)
                return;
            sleep_ms(look_ms);
        }
        throw std::runtime_error("a take is not confirmed");
    }

    static bool shows(const status_answer& status, int output, int input) {
        const std::string name = "output " + std::to_string(output);
        const std::string source = std::to_string(input);
        return std::find(status.entries.begin(), status.entries.end(),
                         std::pair(name, source + "," + source)) != status.entries.end();
    }

    std::string item_;
    std::string socket_;
    int trace_;
    running_program program_;
};

std::vector<double> driver_times(const videohub_driver& driver) {
    const load_connection connection(driver.socket());
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> times;
    for (int i = 0; i < takes_per_round; ++i) {
        gap.wait();
        times.push_back(driver.time(connection, i % points + 1, (i + 3) % points + 1));
    }
    return middle_and_tail(times);
}

// A client of the router itself: from sending the block to the block that tells of the change. It lets the
// router know at once what has arrived, before each read, because the kernel falls back to its own ways.
std::vector<double> bare_times(const videohub_peer& peer) {
    const int fd = connect_to_peer(peer.port());
    std::string text(peer.greeting().size(), '\0');
    const auto receive = [&](std::size_t bytes) {
        for (std::size_t got = 0; got < bytes;) {
            const int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
            const ssize_t count = recv(fd, text.data(), bytes - got, 0);
            if (count <= 0)
                throw std::runtime_error("the emulated router does not answer");
            got += static_cast<std::size_t>(count);
        }
    };
    receive(peer.greeting().size());
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> times;
    for (int i = 0; i < takes_per_round; ++i) {
        const std::string take = videohub_take(i % points, (i + 3) % points);
        gap.wait();
        const std::uint64_t begin = clock_ns();
        if (send(fd, take.data(), take.size(), MSG_NOSIGNAL) < 0)
            throw std::runtime_error("the emulated router is gone");
        receive(std::string_view("ACK\n\n").size() + take.size());
        times.push_back(milliseconds(begin, clock_ns()));
    }
    close(fd);
    return middle_and_tail(times);
}

} // namespace

measurement measure_videohub(int rounds) {
    const work_directory directory;
    const videohub_peer peer(points);
    const videohub_driver driver(directory, peer.port());
    return alternate(
        rounds, [&] { return driver_times(driver); }, [&] { return bare_times(peer); });
}
