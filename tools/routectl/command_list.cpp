#include "commands.h"
#include "gateway_link.h"
#include "json_output.h"
#include "known_routers.h"
#include "program_end.h"
#include "router_line.h"
#include "text_table.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <system_error>
#include <thread>

namespace {

constexpr std::size_t most_at_once =
    128; // drivers asked at the same time; each has a thread that mostly waits

// Asks all drivers at the same time, so that one that does not answer does not delay the others. A thread
// writes only the lines whose numbers it has fetched.
std::vector<router_line> look_at_all(const std::vector<item_place>& places, const invocation& call) {
    std::vector<router_line> lines(places.size());
    std::atomic<std::size_t> next{0};
    const auto look_at_next = [&] {
        for (std::size_t i = next++; i < places.size(); i = next++)
            lines[i] = look_at_known_router(places[i], call.timeout_us);
    };
    std::vector<std::thread> threads;
    try {
        while (threads.size() < std::min(places.size(), most_at_once))
            threads.emplace_back(look_at_next);
    } catch (const std::system_error&) {
        look_at_next(); // the system allows no more threads
    }
    for (std::thread& one : threads)
        one.join();
    return lines;
}

void print_lines(const invocation& call, const std::vector<router_line>& lines) {
    if (call.json) {
        json_object routers = json_object::array();
        std::transform(lines.begin(), lines.end(), std::back_inserter(routers), json_of_router_line);
        std::puts(json_line({{"routers", routers}}).c_str());
    } else if (lines.empty()) {
        std::printf("no routers: no item file in %s, no socket in %s\n", items_directory().c_str(),
                    run_directory().c_str());
    } else {
        std::fputs(router_lines_table(lines, columns_of_output(), output_is_terminal()).c_str(), stdout);
    }
}

} // namespace

int run_list(const invocation& call) {
    if (call.gateway)
        return run_list_of_gateway(call);
    std::vector<item_place> places;
    std::string error;
    const int found = find_known_routers(&places, &error);
    print_lines(call, look_at_all(places, call));
    return found == 0 ? exit_done : failed(exit_refused, error);
}
