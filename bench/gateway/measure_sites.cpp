// What lies between a control room and its sites: the broker, and a gateway on each side of it.
#include "measure_gateway.h"

#include "../statistics.h"
#include "broker.h"
#include "event_crowd.h"
#include "fleet.h"
#include "http_client.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

constexpr router_size small{16, 16};
constexpr int takes_per_round = 60;
constexpr int changes_per_round = 250;
constexpr double changes_apart_ms = 20;
constexpr std::size_t readers = 20;
constexpr double patience_ms = 60000;
constexpr std::size_t many_sites = 10, routers_per_site = 100;
constexpr double watched_ms = 5000; // for the cost of some sites

double milliseconds_since(std::uint64_t begun) {
    return static_cast<double>(clock_ns() - begun) / 1e6;
}

// Asks until it is so; throws when that takes too long.
template<typename condition> void wait_until(const char* what, const condition& is) {
    for (const std::uint64_t begun = clock_ns(); !is(); sleep_ms(1))
        if (milliseconds_since(begun) > patience_ms)
            throw std::runtime_error(std::string("waited in vain: ") + what);
}

// Of all threads that there are: a broker works in others than its first one.
double cpu_of_threads_ns(pid_t pid) {
    double sum = 0;
    for (const auto& each : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        double one = 0;
        if (std::ifstream(each.path() / "schedstat") >> one)
            sum += one;
    }
    if (sum <= 0)
        throw std::runtime_error("no processor time is told of a process");
    return sum;
}

std::size_t count_of(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        count++;
    return count;
}

std::size_t routers_up(http_client& client) {
    return count_of(client.ask("GET", "/api/v1/routers"), R"("state":"up")");
}

// A site with one router, and a control room without any.
struct two_sites {
    two_sites()
        : broker(own), fleet(own, 1, small), none(far, 0, small),
          north(own, fleet, broker.settings("north", {"control"})),
          control(far, none, broker.settings("control", {"north"})) {
        http_client client(control.port(), control.token());
        wait_until("the router is shown", [&] { return routers_up(client) == 1; });
    }

    work_directory own, far;
    site_broker broker;
    driver_fleet fleet, none;
    running_gateway north, control;
};

// The n-th take: another source on each.
std::string take_body(int take) {
    return R"({"takes":[{"output":)" + std::to_string(take % small.outputs + 1) + R"(,"input":)" +
           std::to_string((take + take / small.outputs + 3) % small.inputs + 1) + "}]}";
}

double take_time(const running_gateway& gateway, const std::string& router, int* take) {
    http_client client(gateway.port(), gateway.token());
    random_gap gap(10, 20); // neither finds the driver at a particular place of its wait
    std::vector<double> times;
    for (int count = 0; count < takes_per_round; ++count) {
        gap.wait();
        const std::string body = take_body(++*take);
        const std::uint64_t begun = clock_ns();
        const std::string answer = client.ask("POST", "/api/v1/routers/" + router + "/takes", body);
        times.push_back(milliseconds_since(begun));
        if (answer.find("confirmed") == std::string::npos)
            throw std::runtime_error("a take was not confirmed: " + answer);
    }
    return median(times);
}

// From a change of the router to each reader of the gateway's events.
double change_time(const driver_fleet& fleet, const running_gateway& gateway) {
    event_crowd crowd(unwrap_websocket);
    for (std::size_t at = 0; at < readers; ++at)
        crowd.add(begin_websocket(gateway.port(), gateway.token(), "/api/v1/events"));
    std::size_t pictures = 0;
    std::vector<double> times;
    const auto hear = [&](std::string_view text) {
        if (text.find(R"("type":"picture")") != std::string_view::npos)
            pictures++;
        else if (text.find(R"("type":"change")") != std::string_view::npos)
            times.push_back(milliseconds_since(fleet.board(0).report_begun));
    };
    const auto read_until = [&](const auto& is) {
        for (const std::uint64_t begun = clock_ns(); !is(); crowd.read(2, hear))
            if (milliseconds_since(begun) > patience_ms)
                throw std::runtime_error("not all readers hear all changes");
    };
    read_until([&] { return pictures >= readers; });
    times.clear();
    for (std::size_t at = 1; at <= changes_per_round; ++at) {
        fleet.change(0);
        crowd.read(changes_apart_ms, hear);
        read_until([&] { return times.size() >= at * readers; });
    }
    return percentile(times, 0.99);
}

// A control room above so many played sites: how long it takes to be whole, and what it costs for each
// router.
std::vector<double> cost_of(std::size_t count) {
    const work_directory directory;
    const site_broker broker(directory);
    const driver_fleet none(directory, 0, small);
    const played_sites sites(broker, count, routers_per_site);
    const auto routers = static_cast<double>(count * routers_per_site);
    const std::uint64_t begun = clock_ns();
    const running_gateway control(directory, none, broker.settings("control", sites.names()));
    http_client client(control.port(), control.token());
    wait_until("all routers are shown", [&] { return routers_up(client) == count * routers_per_site; });
    const double whole_ms = milliseconds_since(begun);
    sleep_ms(watched_ms / 5); // what came with the beginning is over
    const double of_gateway = cpu_of_threads_ns(control.pid()), of_broker = cpu_of_threads_ns(broker.pid());
    const std::uint64_t watched = clock_ns();
    sleep_ms(watched_ms);
    const double seconds = milliseconds_since(watched) / 1000;
    if (routers_up(client) != count * routers_per_site)
        throw std::runtime_error("routers were lost");
    return {whole_ms, (cpu_of_threads_ns(control.pid()) - of_gateway) / 1000 / seconds / routers,
            (cpu_of_threads_ns(broker.pid()) - of_broker) / 1000 / seconds / routers,
            resident_kib(control.pid()), resident_kib(broker.pid())};
}

} // namespace

measurement measure_site_takes(int rounds) {
    const two_sites sites;
    int take = 0;
    return alternate(
        rounds, [&] { return std::vector<double>{take_time(sites.control, "north%3Ar1", &take)}; },
        [&] { return std::vector<double>{take_time(sites.north, "r1", &take)}; });
}

measurement measure_site_changes(int rounds) {
    const two_sites sites;
    return alternate(
        rounds, [&] { return std::vector<double>{change_time(sites.fleet, sites.control)}; },
        [&] { return std::vector<double>{change_time(sites.fleet, sites.north)}; });
}

measurement measure_site_growth(int rounds) {
    return alternate(
        rounds, [] { return cost_of(many_sites); }, [] { return cost_of(1); });
}
