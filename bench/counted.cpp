// Fixed workloads of the driver's own modules, whose instructions are counted (bench.sh --check).
//
//   vrdx_bench_counted status|take|report|log|watch|describe|pass
#include "backend.h"
#include "client.h"
#include "requests.h"
#include "router.h"
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
constexpr int usual_points = 288;

void prepare_router() {
    report_through_pipe(full_report(points, points));
}

void prepare_usual_router() {
    report_through_pipe(full_report(usual_points, usual_points));
}

void prepare_largest_router() {
    report_through_pipe(full_report(4096, 1024));
}

void prepare_watchers() {
    prepare_router();
    connect_watchers(100);
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

// A hundred clients that are told of two hundred changes.
bool tell_watchers() {
    std::size_t bytes = 0;
    for (int i = 0; i < 200; ++i) {
        report_through_pipe(take_report(i % points, (i + 7) % points));
        bytes += tell_watchers_of_pass();
    }
    return bytes > std::size_t{200} * 100 * 80;
}

// The whole router, again and again, and a change now and then.
bool describe_router() {
    const std::string request = describe_request("");
    std::size_t bytes = 0;
    for (int i = 0; i < 500; ++i) {
        if (i % 10 == 0)
            report_through_pipe(take_report(i % points, (i + 7) % points));
        bytes += answer_request(request);
    }
    return bytes > std::size_t{500} * usual_points * 2 * 20;
}

// What the largest router costs while nothing happens.
bool pass_idly() {
    for (int i = 0; i < 2000; ++i) {
        read_backend_stderr();
        read_backend_stdout();
        pending_to_buffer();
        notify_backend_settings();
        plan_route_changes();
        expire_assumed_routes();
        expire_takes();
        tell_backend_state();
        serve_watchers();
        vrdx_trace_flush();
    }
    return output_count == 1024;
}

bool read_log_flood() {
    const std::string text = log_flood(5000);
    for (int i = 0; i < 5; ++i)
        log_through_pipe(text);
    return true;
}

const std::map<std::string, workload> workloads = {
    {"status", {prepare_router, ask_status}},         {"take", {prepare_router, take_and_confirm}},
    {"report", {prepare_nothing, read_full_reports}}, {"log", {prepare_nothing, read_log_flood}},
    {"watch", {prepare_watchers, tell_watchers}},     {"describe", {prepare_usual_router, describe_router}},
    {"pass", {prepare_largest_router, pass_idly}},
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
        std::fputs("usage: vrdx_bench_counted status|take|report|log|watch|describe|pass\n", stderr);
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
