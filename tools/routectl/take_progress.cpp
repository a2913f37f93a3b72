#include "take_progress.h"

#include "client_watch.h"
#include "monotonic_us.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <unistd.h>

namespace {

constexpr std::size_t many_takes = 24;
constexpr std::uint64_t line_period_us = 200000;

struct progress {
    std::set<int> outputs; // not decided yet
    std::size_t all = 0;
    std::uint64_t began = 0;
    std::uint64_t told_at = 0;
};

// Takes that were just decided, of any client: those of this process are ours.
void count_decided(const comm_socket_v4_packet& packet, progress* state) {
    std::vector<vrdx::take_record> records;
    vrdx::read_take_records(packet, &records);
    for (const vrdx::take_record& one : records)
        if (one.process == static_cast<std::uint64_t>(getpid()))
            state->outputs.erase(one.output);
}

void tell(progress* state) {
    const std::uint64_t now = monotonic_us();
    if (now < state->told_at + line_period_us)
        return;
    state->told_at = now;
    std::fprintf(stderr, "\r%zu of %zu outputs, %llu s", state->all - state->outputs.size(), state->all,
                 static_cast<unsigned long long>((now - state->began) / 1000000));
}

} // namespace

vrdx::outcome take_with_progress(vrdx::driver_connection* connection, const vrdx::take_order& order,
                                 vrdx::take_answer* answer, std::uint64_t deadline) {
    if (order.takes.size() < many_takes || isatty(STDERR_FILENO) != 1)
        return vrdx::take_until(connection, order, answer, deadline);
    vrdx::queue_request(connection, vrdx::watch_request());
    const std::uint64_t number = vrdx::queue_take(connection, order);
    if (number == 0)
        return connection->fd < 0 ? vrdx::outcome::gone : vrdx::outcome::rejected;
    progress state;
    state.all = order.takes.size();
    state.began = monotonic_us();
    for (const vrdx::output_take& one : order.takes)
        state.outputs.insert(one.output);
    vrdx::incoming_packet incoming;
    vrdx::outcome result = vrdx::outcome::done;
    do {
        tell(&state);
        const std::uint64_t next_line = std::min(deadline, monotonic_us() + line_period_us);
        result = vrdx::wait_for_packet(connection, &incoming, next_line);
        if (result == vrdx::outcome::done && incoming.kind == vrdx::packet_kind::pushed)
            count_decided(incoming.packet, &state);
    } while ((result == vrdx::outcome::late && monotonic_us() < deadline) ||
             (result == vrdx::outcome::done && incoming.request != number));
    std::fputs("\r\x1b[K", stderr);
    if (result != vrdx::outcome::done)
        return result;
    vrdx::read_take_answer(incoming.packet, answer);
    if (answer->error.empty())
        return vrdx::outcome::done;
    connection->problem = answer->error;
    return vrdx::outcome::refused;
}
