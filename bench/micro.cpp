// The driver's pure parts one by one, in nanoseconds: bench.sh --micro.
#include "backend.h"
#include "client.h"
#include "message.h"
#include "requests.h"
#include "router.h"
#include "workloads.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

constexpr int points = 128;

TavrixAPIRouterMessage outputs_message(int outputs) {
    TavrixAPIRouterMessage message;
    message.command = "outputs";
    message.type = "message";
    for (int i = 0; i < outputs; ++i) {
        message.fields["o" + std::to_string(i) + ".name"] = "Output " + std::to_string(i + 1);
        message.fields["o" + std::to_string(i) + ".input.all"] = std::to_string(i);
    }
    return message;
}

void encode(benchmark::State& state) {
    const TavrixAPIRouterMessage message = outputs_message(static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        std::string text;
        encode_router_message(message, text);
        benchmark::DoNotOptimize(text);
    }
}

void parse_line(benchmark::State& state) {
    TavrixAPIRouterMessage message;
    for ([[maybe_unused]] auto _ : state) {
        parse_router_message_line(message, "o100.name=Studio A monitor");
        message.fields.clear();
    }
}

void apply_report(benchmark::State& state) {
    const auto outputs = static_cast<int>(state.range(0));
    report_through_pipe(full_report(points, outputs));
    std::string text;
    encode_router_message(outputs_message(outputs), text);
    text.pop_back(); // the blank line would apply and forget it
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1)
        read_backend_report_line(std::string_view(text).substr(at, text.find('\n', at) - at));
    for ([[maybe_unused]] auto _ : state)
        handle_backend_report();
    read_backend_report_line("");
}

void plan(benchmark::State& state) {
    report_through_pipe(full_report(points, points));
    for ([[maybe_unused]] auto _ : state) {
        queue_route_request({2, 2, 3}, {});
        plan_route_changes();
        drop_pending_lines();
    }
}

void render_status(benchmark::State& state) {
    const auto outputs = static_cast<int>(state.range(0));
    report_through_pipe(full_report(outputs, outputs));
    const std::string request = status_request();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(answer_request(request));
}

void render_status_after_report(benchmark::State& state) {
    report_through_pipe(full_report(points, points));
    const std::string request = status_request();
    const std::string reports[] = {take_report(3, 2), take_report(3, 5)}; // else nothing changes
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        report_through_pipe(reports[next]);
        next = 1 - next;
        benchmark::DoNotOptimize(answer_request(request));
    }
}

void decode_packet(benchmark::State& state) {
    const std::string bytes = take_request(3, 2);
    comm_socket_v4_packet packet;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(comm_socket_v4_packet_decode(
            &packet, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

BENCHMARK(encode)->Arg(1)->Arg(128)->Arg(1024);
BENCHMARK(parse_line);
BENCHMARK(apply_report)->Arg(1)->Arg(128)->Arg(1024);
BENCHMARK(plan);
BENCHMARK(render_status)->Arg(16)->Arg(128);
BENCHMARK(render_status_after_report);
BENCHMARK(decode_packet);

} // namespace

int main(int argc, char** argv) {
    static char gathered[65536]; // the trace, gathered as in the driver
    std::setvbuf(stderr, gathered, _IOFBF, sizeof(gathered));
    connect_piped_backend();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
