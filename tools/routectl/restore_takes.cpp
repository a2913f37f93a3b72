#include "restore_takes.h"

#include "client_failure.h"
#include "exit_code.h"
#include "monotonic_us.h"
#include "take_request.h"

#include <poll.h>

namespace {

constexpr std::uint64_t timeouts_of_patience = 6;
constexpr int look_period_ms = 100;

// True when a driver with a large enough router answers before the deadline.
bool wait_for_router(driver_link* link, const snapshot& one, std::uint64_t deadline) {
    while (monotonic_us() < deadline) {
        comm_socket_v4_packet reply;
        if (ask_quietly(link, simple_request("status"), &reply) == exit_done) {
            const auto status = decode_status(reply);
            if (status && misfit(one, *status).empty())
                return true;
        }
        poll(nullptr, 0, look_period_ms);
    }
    return false;
}

std::vector<take_result> unknown_results(const std::vector<take>& takes) {
    std::vector<take_result> results;
    results.reserve(takes.size());
    for (const take& each : takes)
        results.push_back({each.output, each.source, std::nullopt,
                           "output " + std::to_string(each.output) + " may not have followed"});
    return results;
}

} // namespace

int restore_takes(driver_link* link, const snapshot& one, std::vector<take_result>* results) {
    std::uint64_t deadline = 0; // 0: the driver has been there all the time
    for (;;) {
        const int result = take_and_check(link, one.takes, results);
        if (result != exit_no_driver)
            return result;
        if (deadline == 0)
            deadline = monotonic_us() + timeouts_of_patience * link->timeout_us;
        failed(result, link->problem + "; waiting for the driver to come back");
        if (!wait_for_router(link, one, deadline)) {
            *results = unknown_results(one.takes);
            link->problem = "the driver did not come back";
            return exit_no_driver;
        }
        failed(result, "the driver is back, taking all again");
    }
}
