#include "router_look.h"

#include "exit_code.h"
#include "monotonic_us.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <poll.h>

namespace {

constexpr std::uint64_t look_period_us = 200000;
constexpr std::size_t most_outputs_told = 8;
constexpr const char* start_note = "Starting backend driver"; // the driver's own, at each start

auto starts_noted(const driver_report& report) {
    return std::count(report.notes.begin(), report.notes.end(), start_note);
}

int look_at_status(driver_link* link, std::optional<router_status>* router, look_time* time) {
    comm_socket_v4_packet reply;
    time->asked = monotonic_us();
    const int result = ask_quietly(link, simple_request("status"), &reply);
    time->answered = monotonic_us();
    if (result != exit_done)
        return result;
    *router = decode_status(reply);
    if (*router || is_no_router(reply))
        return exit_done;
    link->problem = is_error(reply) ? error_text(reply) : "the driver's answer is no status";
    return exit_refused;
}

} // namespace

int look_at_router(driver_link* link, router_look* look) {
    int result = look_at_status(link, &look->router, &look->time);
    if (result != exit_done)
        return result;
    comm_socket_v4_packet reply;
    result = ask_quietly(link, simple_request("report"), &reply);
    look->report = result == exit_done && !is_error(reply) ? decode_report(reply) : driver_report();
    return result;
}

backend_state backend_state_of(const driver_report& report, const std::string& item) {
    if (!report.told)
        return backend_state::unknown;
    if (report.connected)
        return backend_state::connected;
    const item_facts facts = item.empty() ? item_facts() : examine_item(item);
    const bool wanted = facts.readable ? facts.problem.empty() : starts_noted(report) > 0;
    return wanted ? backend_state::restarting : backend_state::none;
}

const char* backend_state_name(backend_state state) {
    switch (state) {
    case backend_state::connected:
        return "connected";
    case backend_state::restarting:
        return "restarting";
    case backend_state::none:
        return "none";
    case backend_state::unknown:
        break;
    }
    return "unknown";
}

std::vector<std::string> problems_of(const router_look& look, const std::string& item) {
    std::vector<std::string> problems;
    const item_facts facts = item.empty() ? item_facts{true, {}} : examine_item(item);
    switch (backend_state_of(look.report, item)) {
    case backend_state::none:
        problems.push_back("no backend" + (facts.problem.empty() ? "" : ": " + facts.problem));
        break;
    case backend_state::restarting:
        problems.emplace_back("backend restarting");
        break;
    case backend_state::connected:
    case backend_state::unknown:
        if (!facts.problem.empty())
            problems.push_back(facts.problem);
        break;
    }
    if (!look.router) {
        const auto restarts = starts_noted(look.report) - 1;
        problems.push_back("no router" + (look.report.connected && restarts > 0
                                              ? ", backend started again " + std::to_string(restarts) +
                                                    (restarts == 1 ? " time" : " times")
                                              : ""));
    }
    return problems;
}

int observe_rollbacks(driver_link* link, std::uint64_t duration_us, std::vector<rollback>* seen) {
    rollback_tracker tracker;
    const std::uint64_t end = monotonic_us() + duration_us;
    for (;;) {
        std::optional<router_status> router;
        look_time time;
        const int result = look_at_status(link, &router, &time);
        if (result != exit_done)
            return result;
        for (const rollback& one : rollbacks_seen(&tracker, router, time))
            seen->push_back(one);
        const std::uint64_t now = monotonic_us();
        if (now >= end)
            return exit_done;
        const std::uint64_t pause = std::min(look_period_us, end - now);
        poll(nullptr, 0, static_cast<int>((pause + 999) / 1000));
    }
}

std::string rollbacks_text(const std::vector<rollback>& seen, std::uint64_t duration_us) {
    if (seen.empty())
        return {};
    std::array<char, 40> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%g s: ", static_cast<double>(duration_us) / 1e6);
    std::string text = std::to_string(seen.size()) + (seen.size() == 1 ? " take" : " takes") +
                       " rolled back in " + seconds.data();
    for (std::size_t i = 0; i < std::min(seen.size(), most_outputs_told); ++i)
        text += (i == 0 ? "output " : ", output ") + std::to_string(seen[i].output) + " (" +
                crosspoint_text(seen[i].taken) + ")";
    return seen.size() > most_outputs_told ? text + ", ..." : text;
}
