#include "change.h"
#include "client_failure.h"
#include "commands.h"
#include "driver_link.h"
#include "end_on_signals.h"
#include "exit_code.h"
#include "json_output.h"
#include "monotonic_us.h"
#include "router_look.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <poll.h>

namespace {

constexpr std::uint64_t period_us = 200000; // between two looks

// The time of day with milliseconds and the zone: "2026-03-01T12:00:00.250+0100".
std::string timestamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 32> day{};
    std::array<char, 16> zone{};
    std::array<char, 64> text{};
    std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone.data(), zone.size(), "%z", &local);
    std::snprintf(text.data(), text.size(), "%s.%03ld%s", day.data(), now.tv_nsec / 1000000, zone.data());
    return text.data();
}

// False when nobody can read on.
bool print_change(const invocation& call, const change& one) {
    std::string line = timestamp() + ' ' + one.line;
    if (call.json) {
        json_object object = {{"time", timestamp()}};
        object.update(one.object);
        line = json_line(object);
    }
    std::puts(line.c_str());
    return std::fflush(stdout) == 0;
}

struct watching {
    driver_link link;
    watched_state state; // at the last look
    rollback_tracker tracker;
    bool gone = false; // the driver did not answer the last look
};

// One look, with the takes that were rolled back since the one before. exit_done, or why nothing is known;
// link.problem tells.
int look(watching* all, watched_state* state, std::vector<rollback>* rollbacks) {
    router_look seen;
    const int result = look_at_router(&all->link, &seen);
    if (result != exit_done) {
        all->tracker = {};
        return result;
    }
    *rollbacks = rollbacks_seen(&all->tracker, seen.router, seen.time);
    *state = {std::move(seen.router), seen.report.connected};
    return exit_done;
}

// One look after the first. False when nobody can read on.
bool look_again(const invocation& call, watching* all) {
    watched_state now;
    std::vector<rollback> rollbacks;
    const bool answered = look(all, &now, &rollbacks) == exit_done;
    bool readable = true;
    if (answered == all->gone) {
        all->gone = !answered;
        readable = print_change(call, all->gone ? driver_gone() : driver_back());
    }
    if (!answered) {
        comm_socket_v4_disconnect(&all->link.connection);
        return readable;
    }
    for (const change& one : changes_between(all->state, now))
        readable = readable && print_change(call, one);
    for (const rollback& one : rollbacks)
        readable = readable && print_change(call, rolled_back(one));
    all->state = std::move(now);
    return readable;
}

void sleep_until(std::uint64_t time) {
    const std::uint64_t now = monotonic_us();
    if (now < time)
        poll(nullptr, 0, static_cast<int>((time - now + 999) / 1000));
}

} // namespace

int run_watch(const invocation& call) {
    end_on_signals();
    watching all{link_of(call), {}, {}};
    std::vector<rollback> none_yet;
    const int result = look(&all, &all.state, &none_yet);
    if (result != exit_done)
        return failed(result, all.link.problem);
    bool readable = print_change(call, watch_begins(all.state));
    while (readable) {
        sleep_until(monotonic_us() + period_us);
        readable = look_again(call, &all);
    }
    return exit_refused; // the output cannot be written, which main tells of
}
