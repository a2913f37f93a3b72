// A backend program for tests: a router whose ledger is its state. Each take that it does is a line of the
// file that the item names before anybody hears of it; started anew, it shows what the file has.
//
// Settings of the item file: "inputs", "outputs", "ledger" (the file), "delay ms" (what a take needs at the
// most). Each line of the ledger: nanoseconds of the monotonic clock, output and input, both counted from 1.
#include "endpoint.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t nanoseconds = 1000000000; // in a second

struct delayed_takes {
    endpoint_takes takes;
    std::uint64_t expires_us = never_expires;
};

endpoint_size size;
std::map<int, int> sources;                          // by output, from 0
std::multimap<std::uint64_t, delayed_takes> delayed; // by when they are due, microseconds
std::string ledger_path;
int ledger = -1;
int longest_delay_ms = 0;
unsigned takes_so_far = 0;

std::uint64_t now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * nanoseconds + static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t now_us() {
    return now_ns() / 1000;
}

// Also what a backend before this one did until it heard that its driver is gone.
void read_ledger() {
    std::ifstream stream(ledger_path);
    std::uint64_t time = 0;
    int output = 0, input = 0;
    while (stream >> time >> output >> input)
        sources[output - 1] = input - 1;
}

bool is_awaited(int output) {
    return std::any_of(delayed.begin(), delayed.end(), [output](const auto& each) {
        const endpoint_takes& takes = each.second.takes;
        return std::any_of(takes.begin(), takes.end(),
                           [output](const endpoint_take& take) { return take.output == output; });
    });
}

void report_outputs() {
    read_ledger();
    TavrixAPIRouterMessage report = endpoint_report("outputs");
    for (int output = 0; output < size.outputs; ++output)
        if (!is_awaited(output)) // its old source would look like the answer
            add_source(report, output, endpoint_level::all,
                       sources.contains(output) ? sources[output] : no_source);
    endpoint_send_message(report);
}

// In one write, so that no line is ever there in half.
void execute(const endpoint_takes& takes) {
    std::string lines;
    const std::string time = std::to_string(now_ns());
    TavrixAPIRouterMessage confirmation = endpoint_report("outputs");
    for (const endpoint_take& each : takes) {
        lines += time + ' ' + std::to_string(each.output + 1) + ' ' + std::to_string(each.source + 1) + '\n';
        sources[each.output] = each.source;
        add_source(confirmation, each.output, endpoint_level::all, each.source);
    }
    if (write(ledger, lines.data(), lines.size()) != static_cast<ssize_t>(lines.size()))
        std::abort(); // a ledger that lies would prove anything
    endpoint_send_message(confirmation);
}

void refuse_late(const endpoint_takes& takes) {
    for (const endpoint_take& each : takes)
        endpoint_send_message(refused_report(each, "came too late"));
}

// Another delay each time, in an order that is always the same.
void take(const endpoint_takes& takes, std::uint64_t expires_us) {
    const unsigned delay_ms = takes_so_far++ * 7 % static_cast<unsigned>(longest_delay_ms + 1);
    delayed.emplace(now_us() + std::uint64_t{delay_ms} * 1000, delayed_takes{takes, expires_us});
}

void do_what_is_due() {
    while (!delayed.empty() && delayed.begin()->first <= now_us()) {
        const auto due = delayed.extract(delayed.begin());
        if (due.mapped().expires_us <= now_us())
            refuse_late(due.mapped().takes);
        else
            execute(due.mapped().takes);
    }
}

int wait_ms() {
    if (delayed.empty())
        return -1;
    const std::uint64_t now = now_us(), due = delayed.begin()->first;
    return due <= now ? 0 : static_cast<int>((due - now) / 1000 + 1);
}

int number(const std::string& text) {
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

bool set_up(const char* item_path) {
    std::map<std::string, std::string> item;
    if (read_name_value_file(item, item_path) != 0)
        return false;
    size = {number(item["inputs"]), number(item["outputs"]), false};
    longest_delay_ms = number(item["delay ms"]);
    ledger_path = item["ledger"];
    ledger = open(ledger_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    return ledger >= 0;
}

} // namespace

int main(int argc, char** argv) {
    if (endpoint_init() != 0 || argc != 3 || !set_up(argv[2]))
        return 2;
    std::signal(SIGPIPE, SIG_IGN);
    endpoint_handlers handlers;
    handlers.switch_takes = take;
    handlers.refuse_late = refuse_late;
    handlers.report_outputs = report_outputs;
    endpoint_send_message(info_report(size, true));
    report_outputs();
    while (endpoint_serve(handlers) == 0) {
        do_what_is_due();
        pollfd waits[] = {{STDIN_FILENO, POLLIN, 0},
                          {endpoint_output_pending() ? STDOUT_FILENO : -1, POLLOUT, 0}};
        poll(waits, 2, wait_ms());
    }
    return 0;
}
