// The whole router, asked page by page.
#include "measure.h"
#include "requests.h"
#include "statistics.h"

namespace {

constexpr router_size usual{288, 288};
constexpr int descriptions_per_round = 500;
constexpr int warm_up = 50;

struct description {
    std::size_t pages = 0;
    std::size_t bytes = 0; // of all pages
};

description describe(const load_connection& connection) {
    description all;
    std::string from;
    std::string page;
    do {
        connection.send(describe_request(from));
        connection.receive_packet(&page);
        from = next_page(page);
        ++all.pages;
        all.bytes += page.size();
    } while (!from.empty());
    return all;
}

double microseconds_of(const std::function<void()>& work) {
    const std::uint64_t begin = clock_ns();
    work();
    return static_cast<double>(clock_ns() - begin) / 1000;
}

std::vector<double> middle_time(const std::function<void()>& work) {
    for (int i = 0; i < warm_up; ++i)
        work();
    std::vector<double> times;
    times.reserve(descriptions_per_round);
    for (int i = 0; i < descriptions_per_round; ++i)
        times.push_back(microseconds_of(work));
    return {median(times)};
}

} // namespace

measurement measure_describe(int rounds) {
    const shared_processor processor;
    const work_directory directory;
    const running_driver driver(directory, "described", "route_simulator", usual);
    const load_connection asking(driver.socket());
    const description all = describe(asking);
    const std::string request = describe_request("");
    const echo_server echo(directory, request.size(), all.bytes / all.pages);
    const load_connection echoing(echo.socket());
    const load_target page{echo.socket(), request, all.bytes / all.pages};
    const auto other = [&] {
        for (std::size_t i = 0; i < all.pages; ++i)
            round_trip(echoing, page);
    };
    return alternate(
        rounds, [&] { return middle_time([&] { describe(asking); }); }, [&] { return middle_time(other); });
}
