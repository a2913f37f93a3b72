#include "gateway/routers/lane_request.h"

#include "gateway/routers/board_limits.h"

#include <algorithm>
#include <utility>

namespace gateway {

namespace {

using kind = decltype(take_ending::kind);

// How long the answer of such an order is waited for.
std::uint64_t patience_us(unsigned within_ms) {
    const std::uint64_t within = within_ms != 0 ? within_ms : vrdx::take_within_usual_ms;
    return within * 1000 + late_answer_us;
}

std::vector<int> outputs_of(const vrdx::take_order& order) {
    std::vector<int> outputs;
    outputs.reserve(order.takes.size());
    for (const vrdx::output_take& each : order.takes)
        outputs.push_back(each.output);
    return outputs;
}

} // namespace

lane_request take_lane_request(vrdx::take_order order, take_done done) {
    lane_request request;
    request.outputs = outputs_of(order);
    const std::uint64_t patience = patience_us(order.within_ms);
    const std::uint64_t answered_by = boot_ms() + patience / 1000; // read first: never behind the deadline
    request.deadline = monotonic_us() + patience;
    order.until_ms = order.until_ms == 0 ? answered_by : std::min(order.until_ms, answered_by);
    request.order = std::move(order);
    request.done = std::move(done);
    return request;
}

bool write_packet(lane_request* request, const vrdx::driver_features& driver) {
    if (request->outputs.empty())
        return true; // of no take: it is written already
    if (const last_look look = std::exchange(request->look, {})) {
        look(&request->order);
        request->outputs = outputs_of(request->order);
    }
    if (request->outputs.empty())
        return false;
    if (!driver.take_until)
        request->order.until_ms = 0;
    request->packet = vrdx::take_request(std::exchange(request->order, {}));
    return true;
}

take_ending nothing_left(const lane_request& request) {
    take_ending ending;
    ending.kind = kind::answered;
    ending.answer.id = request.id;
    return ending;
}

lane_request rename_lane_request(const std::vector<new_name>& names, take_done done) {
    lane_request request;
    comm_socket_v4_packet_begin_writing(&request.packet, 0, "router set", nullptr);
    comm_socket_v4_packet_write_argv_end(&request.packet);
    for (const new_name& each : names) {
        const std::string setting =
            (each.output ? "output." : "input.") + std::to_string(each.number) + ".name";
        comm_socket_v4_packet_write_nv_pair(&request.packet, setting, each.name);
    }
    comm_socket_v4_packet_write_end(&request.packet);
    request.deadline = monotonic_us() + rename_answer_us;
    request.done = std::move(done);
    return request;
}

take_ending answered(const lane_request& request, const comm_socket_v4_packet& reply) {
    take_ending ending;
    ending.kind = kind::answered;
    if (!request.outputs.empty())
        vrdx::read_take_answer(reply, &ending.answer); // nothing else is handed out as a take's answer
    else if (vrdx::is_error(reply))
        ending.answer.error = vrdx::error_text(reply);
    ending.answer.id = request.id;
    return ending;
}

take_ending unknown(const lane_request& request, const std::string& why) {
    take_ending ending;
    ending.kind = kind::answered;
    ending.answer.id = request.id;
    for (const int output : request.outputs)
        ending.answer.results.push_back({output, {vrdx::take_word::unknown, why, {}}});
    if (request.outputs.empty())
        ending.answer.error = "Perhaps the name was set, perhaps not: " + why + ".";
    return ending;
}

take_ending wrong(const std::string& problem) {
    take_ending ending;
    ending.kind = kind::answered;
    ending.answer.error = problem;
    return ending;
}

take_ending too_many(std::string reason) {
    return {kind::too_many, {}, std::move(reason), {}};
}

take_ending unavailable(std::string reason) {
    return {kind::unavailable, {}, std::move(reason), {}};
}

} // namespace gateway
