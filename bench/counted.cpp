// Four fixed workloads of the driver's pure parts, whose instructions are counted (bench.sh --check).
//
//   vrdx_bench_counted status|take|report|log
#include "requests.h"
#include "vrdx_trace.h"
#include "workloads.h"

#include <cstdio>
#include <exception>
#include <map>
#include <string>

namespace {

struct workload {
    void (*prepare)();
    bool (*work)(); // false when it did not do what it should
};

constexpr int points = 128;

void prepare_router() {
    report_through_pipe(full_report(points, points));
}

void prepare_nothing() {}

// A panel that asks, again and again, while nothing changes.
bool ask_status() {
    const std::string request = status_request();
    std::size_t bytes = 0;
    for (int i = 0; i < 2000; ++i)
        bytes += answer_request(request);
    return bytes > std::size_t{2000} * 128 * 3 * 20;
}

// Takes, each confirmed by the router and looked at by one client.
bool take_and_confirm() {
    const std::string request = status_request();
    std::size_t commands = 0;
    for (int i = 0; i < 500; ++i) {
        const int output = i % points;
        const int input = (i + 7) % points;
        answer_request(take_request(output + 1, input + 1));
        commands += take_commands_out();
        report_through_pipe(take_report(output, input));
        answer_request(request);
    }
    return commands > std::size_t{500} * 60;
}

bool read_full_reports() {
    const std::string text = full_report(4096, 1024);
    for (int i = 0; i < 10; ++i)
        report_through_pipe(text);
    return answer_request(status_request()) > std::size_t{128} * 3 * 20;
}

bool read_log_flood() {
    const std::string text = log_flood(5000);
    for (int i = 0; i < 5; ++i)
        log_through_pipe(text);
    return true;
}

const std::map<std::string, workload> workloads = {
    {"status", {prepare_router, ask_status}},
    {"take", {prepare_router, take_and_confirm}},
    {"report", {prepare_nothing, read_full_reports}},
    {"log", {prepare_nothing, read_log_flood}},
};

} // namespace

// Callgrind counts what happens in here; its name is therefore a plain one.
extern "C" __attribute__((noinline)) bool counted_work(const workload& chosen) {
    const bool done = chosen.work();
    vrdx_trace_flush();
    return done;
}

int main(int argc, char** argv) {
    const auto chosen = workloads.find(argc == 2 ? argv[1] : "");
    if (chosen == workloads.end() || vrdx_trace_begin() != 0) {
        std::fputs("usage: vrdx_bench_counted status|take|report|log\n", stderr);
        return 2;
    }
    try {
        connect_piped_backend();
        chosen->second.prepare();
        return counted_work(chosen->second) ? 0 : 1;
    } catch (const std::exception&) {
        return 1;
    }
}
