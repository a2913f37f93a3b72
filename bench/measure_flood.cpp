// A client's take beside ten that ask for takes without pause.
#include "measure.h"
#include "requests.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <stdexcept>
#include <thread>

namespace {

constexpr int flooding_clients = 10;
constexpr int takes_per_batch = 39; // and a flush: 40 messages
constexpr int spare_outputs = 10;   // nobody floods them
constexpr router_size size{16, flooding_clients* takes_per_batch + spare_outputs};
constexpr int patience_ms = 60000;       // a client that is made to wait gets its answer late
constexpr double flood_begins_ms = 1000; // until each of them has as much waiting as it may
// Before each take: at no particular place of a batch or a pass.
constexpr double least_gap_ms = 5;
constexpr double most_gap_ms = 25;

// Ten clients, each with one packet of takes under way until the end, in threads of their own: most of the
// time the driver lets them wait.
class flood {
public:
    explicit flood(const std::string& socket) {
        for (int i = 0; i < flooding_clients; ++i) {
            const load_connection& connection = connections_.emplace_back(socket, patience_ms);
            threads_.emplace_back(
                [this, &connection, i] { keep_asking(connection, i * takes_per_batch + 1); });
        }
        sleep_ms(flood_begins_ms);
    }
    ~flood() {
        over_ = true;
        for (const load_connection& one : connections_)
            one.hang_up();
        for (std::thread& one : threads_)
            one.join();
    }
    flood(const flood&) = delete;
    flood& operator=(const flood&) = delete;

    // Throws when one of them asks no longer.
    void check() const {
        if (failed_)
            throw std::runtime_error("a flooding client was disconnected");
    }

private:
    void keep_asking(const load_connection& connection, int first_output) {
        try {
            for (int i = 0; !over_; ++i) {
                connection.send(takes_request(first_output, takes_per_batch, i % size.inputs + 1));
                connection.receive(take_reply_bytes);
            }
        } catch (const std::exception&) {
            failed_ = !over_;
        }
    }

    std::atomic<bool> over_{false};
    std::atomic<bool> failed_{false};
    std::deque<load_connection> connections_;
    std::deque<std::thread> threads_;
};

// The longest time from a take to its first byte at the backend.
double longest_take(const running_driver& driver, int takes) {
    const load_connection connection(driver.socket());
    bench_board& board = driver.board();
    random_gap gap(least_gap_ms, most_gap_ms);
    double longest = 0;
    std::string answer;
    for (int i = 0; i < takes; ++i) {
        const int output = flooding_clients * takes_per_batch + 1 + i % spare_outputs;
        gap.wait();
        board.watched_output = output;
        const std::uint64_t begin = clock_ns();
        connection.send(answered_takes_request(output, 1, i % size.inputs + 1, "take"));
        wait_for(board, [&] { return board.watched_output == 0; });
        longest = std::max(longest, static_cast<double>(board.take_byte - begin) / 1e6);
        connection.receive_packet(&answer);
    }
    return longest;
}

measurement measure_beside_flood(int rounds, int takes, bool salvo) {
    const work_directory directory;
    const running_driver alone(directory, "alone", "route_bench", size, {.salvo = salvo});
    const running_driver flooded(directory, "flooded", "route_bench", size, {.salvo = salvo});
    const flood clients(flooded.socket());
    return alternate(
        rounds,
        [&] {
            clients.check();
            return std::vector{longest_take(flooded, takes)};
        },
        [&] { return std::vector{longest_take(alone, takes)}; });
}

} // namespace

measurement measure_flood(int rounds) {
    return measure_beside_flood(rounds, 5, false);
}

measurement measure_flood_of_salvos(int rounds) {
    return measure_beside_flood(rounds, 20, true);
}
