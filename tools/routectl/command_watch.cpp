#include "change.h"
#include "client_failure.h"
#include "commands.h"
#include "driver_link.h"
#include "driver_report.h"
#include "exit_code.h"
#include "json_output.h"
#include "monotonic_us.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t period_us = 200000; // between two looks

// Every line has been flushed when it was printed, so there is nothing left to do.
void end_at_once(int) {
    _exit(exit_done);
}

void end_on_signals() {
    struct sigaction action {};
    action.sa_handler = end_at_once;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

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

// Asks for all that is watched. exit_done, or why it is not known; link->problem tells.
int look(driver_link* link, watched_state* state) {
    comm_socket_v4_packet reply;
    int result = ask_quietly(link, simple_request("status"), &reply);
    if (result != exit_done)
        return result;
    state->router = decode_status(reply);
    bool good = state->router || is_no_router(reply);
    if (good) {
        result = ask_quietly(link, simple_request("report"), &reply);
        good = result == exit_done && !is_error(reply);
        state->connected = good && decode_report(reply).connected;
    }
    if (result == exit_done && !good) {
        link->problem = is_error(reply) ? error_text(reply) : "the driver's answer is no status";
        return exit_refused;
    }
    return result;
}

// One look after the first. False when nobody can read on.
bool look_again(const invocation& call, driver_link* link, watched_state* state, bool* gone) {
    watched_state now;
    const bool answered = look(link, &now) == exit_done;
    bool readable = true;
    if (answered == *gone) {
        *gone = !answered;
        readable = print_change(call, *gone ? driver_gone() : driver_back());
    }
    if (!answered) {
        comm_socket_v4_disconnect(&link->connection);
        return readable;
    }
    for (const change& one : changes_between(*state, now))
        readable = readable && print_change(call, one);
    *state = std::move(now);
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
    driver_link link = link_of(call);
    watched_state state;
    const int result = look(&link, &state);
    if (result != exit_done)
        return failed(result, link.problem);
    bool readable = print_change(call, watch_begins(state));
    bool gone = false;
    while (readable) {
        const std::uint64_t next = monotonic_us() + period_us;
        sleep_until(next);
        readable = look_again(call, &link, &state, &gone);
    }
    return exit_refused; // the output cannot be written, which main tells of
}
