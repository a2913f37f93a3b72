// What the gateway adds to its drivers, and what its readers cost.
#include "measure_gateway.h"

#include "../requests.h"
#include "../statistics.h"
#include "event_load.h"
#include "http_client.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size usual{128, 128};
constexpr router_size small{16, 16};
constexpr std::size_t routers = 100;
constexpr std::size_t readers = 200;
constexpr std::size_t changes_per_round = 250;
constexpr std::size_t growth_changes = 100;
constexpr int takes_per_round = 60;
constexpr int pictures_per_round = 500;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

std::string take_body(int output, int input) {
    return R"({"takes":[{"output":)" + std::to_string(output) + R"(,"input":)" + std::to_string(input) +
           "}]}";
}

// The n-th take: another source on each.
int output_of(int take) {
    return take % small.outputs + 1;
}
int input_of(int take) {
    return (take + take / small.outputs + 3) % small.inputs + 1;
}

double per_second(http_client& client, const std::string& path, std::size_t* bytes) {
    const std::uint64_t begun = clock_ns();
    for (int count = 0; count < pictures_per_round; ++count)
        *bytes = client.ask("GET", path).size();
    return pictures_per_round * 1000 / milliseconds(begun, clock_ns());
}

class beast_echo {
public:
    explicit beast_echo(std::size_t bytes) {
        std::array<int, 2> ready{};
        if (pipe2(ready.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe can be made");
        program_ = std::make_unique<running_program>(
            std::vector<std::string>{program_path("vrdx_bench_beast"), std::to_string(bytes)},
            program_streams{.ready = ready[1]});
        close(ready[1]);
        std::array<char, 16> text{};
        if (read(ready[0], text.data(), text.size() - 1) <= 0)
            throw std::runtime_error("the bare echo does not start");
        close(ready[0]);
        port_ = static_cast<unsigned short>(std::stoi(text.data()));
    }
    [[nodiscard]] unsigned short port() const {
        return port_;
    }

private:
    std::unique_ptr<running_program> program_;
    unsigned short port_ = 0;
};

} // namespace

measurement measure_gateway_fan(int rounds) {
    const work_directory directory;
    const driver_fleet fleet(directory, routers, usual);
    const running_gateway gateway(directory, fleet);
    gateway_readers hearing(fleet, gateway, readers);
    broker_readers broker(directory, readers);
    const std::size_t bytes = hearing.changes(routers).bytes; // the first ones also make all warm
    return alternate(
        rounds,
        [&] {
            const fan_figures figures = hearing.changes(changes_per_round);
            return std::vector<double>{percentile(figures.milliseconds, 0.99), figures.cpu_us,
                                       resident_kib(gateway.pid())};
        },
        [&] {
            const fan_figures figures = broker.messages(changes_per_round, bytes);
            return std::vector<double>{percentile(figures.milliseconds, 0.99), figures.cpu_us,
                                       resident_kib(broker.pid())};
        });
}

measurement measure_gateway_takes(int rounds) {
    const work_directory directory;
    const driver_fleet fleet(directory, 1, small);
    const running_gateway gateway(directory, fleet);
    http_client client(gateway.port(), gateway.token());
    const load_connection connection(fleet.socket(0));
    int take = 0;
    // A pause before each, so that neither finds the driver at a particular place of its wait.
    const auto median_of = [&](const auto& ask) {
        random_gap gap(10, 20);
        std::vector<double> times;
        for (int count = 0; count < takes_per_round; ++count) {
            gap.wait();
            const std::uint64_t begun = clock_ns();
            const std::string answer = ask(++take);
            times.push_back(milliseconds(begun, clock_ns()));
            if (answer.find("confirmed") == std::string::npos)
                throw std::runtime_error("a take was not confirmed: " + answer);
        }
        return std::vector<double>{median(times)};
    };
    return alternate(
        rounds,
        [&] {
            return median_of([&](int number) {
                return client.ask("POST", "/api/v1/routers/r1/takes",
                                  take_body(output_of(number), input_of(number)));
            });
        },
        [&] {
            return median_of([&](int number) {
                std::string answer;
                connection.send(answered_takes_request(output_of(number), 1, input_of(number), "take"));
                connection.receive_packet(&answer);
                return answer;
            });
        });
}

measurement measure_gateway_pictures(int rounds) {
    const work_directory directory;
    const driver_fleet fleet(directory, 1, usual);
    const running_gateway gateway(directory, fleet);
    http_client client(gateway.port(), gateway.token());
    std::size_t bytes = client.ask("GET", "/api/v1/routers/r1").size();
    const beast_echo echo(bytes);
    http_client bare(echo.port());
    const auto of = [&](http_client& asked) {
        std::size_t got = 0;
        std::vector<double> value{per_second(asked, "/api/v1/routers/r1", &got)};
        if (got != bytes)
            throw std::runtime_error("the answers are of several sizes");
        return value;
    };
    return alternate(
        rounds, [&] { return of(client); }, [&] { return of(bare); });
}

measurement measure_gateway_start(int rounds) {
    const work_directory many, one;
    const driver_fleet fleet(many, routers, usual);
    const driver_fleet single(one, 1, usual);
    return alternate(
        rounds, [&] { return std::vector<double>{running_gateway(many, fleet).ready_ms()}; },
        [&] { return std::vector<double>{running_gateway(one, single).ready_ms()}; });
}

measurement measure_gateway_reader_growth(int rounds) {
    const work_directory directory;
    const driver_fleet fleet(directory, 1, small);
    const running_gateway gateway(directory, fleet);
    const auto cost = [&](std::size_t count) {
        gateway_readers hearing(fleet, gateway, count);
        return hearing.changes(growth_changes).cpu_us / static_cast<double>(count);
    };
    return alternate(
        rounds,
        [&] {
            return std::vector<double>{cost(100), cost(1000)};
        },
        [&] {
            return std::vector<double>{cost(10), cost(100)};
        });
}

measurement measure_gateway_router_growth(int rounds) {
    const work_directory directories[3];
    const driver_fleet one(directories[0], 1, small), ten(directories[1], 10, small),
        hundred(directories[2], 100, small);
    const auto cost = [&](const work_directory& directory, const driver_fleet& fleet) {
        const running_gateway gateway(directory, fleet);
        gateway_readers hearing(fleet, gateway, 50);
        return hearing.changes(growth_changes).cpu_us;
    };
    return alternate(
        rounds,
        [&] {
            return std::vector<double>{cost(directories[1], ten), cost(directories[2], hundred)};
        },
        [&] {
            return std::vector<double>{cost(directories[0], one), cost(directories[1], ten)};
        });
}
