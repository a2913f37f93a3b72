// Status, asked by one client and by fifty.
#include "measure.h"
#include "requests.h"

#include <filesystem>

namespace {

constexpr int trips_per_round = 3000;
constexpr int crowd_clients = 50;
constexpr double crowd_seconds = 0.5;

measurement measure_round_trips(int rounds, router_size size) {
    const shared_processor processor;
    const work_directory directory;
    const running_driver driver(directory, "status", "route_simulator", size);
    const load_target ours = status_target(driver.socket());
    const echo_server echo(directory, ours.request.size(), ours.reply_bytes);
    const load_target other{echo.socket(), ours.request, ours.reply_bytes};
    return alternate(
        rounds, [&] { return middle_and_tail(round_trips(ours, trips_per_round)); },
        [&] { return middle_and_tail(round_trips(other, trips_per_round)); });
}

std::vector<double> crowd_values(const load_target& target) {
    const crowd_result result = crowd(target, crowd_clients, crowd_seconds);
    return {result.per_second, result.p99};
}

// A server of our own, that nobody else can reach and that keeps nothing on the disk.
std::vector<std::string> redis_arguments(const work_directory& directory) {
    return {"redis-server",
            "--port",
            "0",
            "--unixsocket",
            directory.file("redis.sock"),
            "--dir",
            directory.file("."),
            "--save",
            "",
            "--appendonly",
            "no",
            "--daemonize",
            "no",
            "--loglevel",
            "warning"};
}

void store_hash(const std::string& socket, const names_and_values& entries) {
    while (!std::filesystem::exists(socket))
        sleep_ms(1);
    const load_connection connection(socket);
    connection.send(hash_store_command(entries));
    connection.receive((":" + std::to_string(entries.size()) + "\r\n").size());
}

} // namespace

measurement measure_status_128(int rounds) {
    return measure_round_trips(rounds, {128, 128});
}

measurement measure_status_16(int rounds) {
    return measure_round_trips(rounds, {16, 16});
}

measurement measure_crowd(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "crowd", "route_simulator", {128, 128});
    const load_target ours = status_target(driver.socket());
    const echo_server echo(directory, ours.request.size(), ours.reply_bytes);
    const load_target other{echo.socket(), ours.request, ours.reply_bytes};
    return alternate(
        rounds, [&] { return crowd_values(ours); }, [&] { return crowd_values(other); });
}

measurement measure_crowd_redis(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "crowd", "route_simulator", {128, 128});
    const names_and_values entries = ask_status(driver.socket()).entries;
    const load_target ours = status_target(driver.socket());
    const running_program redis(redis_arguments(directory));
    const load_target other{directory.file("redis.sock"), hash_read_command(), hash_reply_bytes(entries)};
    store_hash(other.socket, entries);
    const auto per_second = [](const load_target& target) {
        return std::vector<double>{crowd(target, crowd_clients, crowd_seconds).per_second};
    };
    return alternate(
        rounds, [&] { return per_second(ours); }, [&] { return per_second(other); });
}
