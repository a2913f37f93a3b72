#include "json_output.h"

namespace {

json_object json_of_item(const comm_socket_v4_packet& packet, const comm_socket_v4_packet_item& item) {
    const std::string value(comm_socket_v4_packet_item_value(&packet, item));
    switch (item.kind) {
    case comm_packet_item_kind::end_of_arguments:
        return {{"end of arguments", true}};
    case comm_packet_item_kind::name_value:
        return {{"name", std::string(comm_socket_v4_packet_item_name(&packet, item))}, {"value", value}};
    default:
        return {{"argument", value}};
    }
}

json_object json_of_crosspoint(const crosspoint& source) {
    return {{"audio", source.audio}, {"video", source.video}};
}

} // namespace

json_object json_of_packet(const comm_socket_v4_packet& packet) {
    json_object items = json_object::array();
    std::string command;
    for (const auto& item : packet.items) {
        if (item.kind == comm_packet_item_kind::command)
            command = comm_socket_v4_packet_item_value(&packet, item);
        else
            items.push_back(json_of_item(packet, item));
    }
    return {{"command", command}, {"result", packet.result}, {"items", items}};
}

json_object json_of_status(const router_status& status) {
    json_object inputs = json_object::array();
    for (const std::string& name : status.inputs)
        inputs.push_back({{"input", inputs.size() + 1}, {"name", name}});
    json_object outputs = json_object::array();
    for (const output_status& output : status.outputs)
        outputs.push_back({{"output", outputs.size() + 1},
                           {"name", output.name},
                           {"audio", output.source.audio},
                           {"video", output.source.video}});
    return {{"router", true}, {"inputs", inputs}, {"outputs", outputs}};
}

json_object json_of_no_router() {
    return {{"router", false}};
}

json_object json_of_report(const driver_report& report) {
    return {{"connected", report.connected},
            {"machine", report.machine},
            {"errors", report.errors},
            {"notes", report.notes}};
}

json_object json_of_takes(const std::vector<take_result>& results) {
    json_object outputs = json_object::array();
    for (const take_result& result : results)
        outputs.push_back({{"output", result.output},
                           {"asked", json_of_crosspoint(result.asked)},
                           {"shown", result.shown ? json_of_crosspoint(*result.shown) : json_object()},
                           {"confirmed", result.problem.empty()}});
    return {{"confirmed", all_confirmed(results)}, {"outputs", outputs}};
}

json_object json_of_rollbacks(const std::vector<rollback>& seen) {
    json_object rollbacks = json_object::array();
    for (const rollback& one : seen)
        rollbacks.push_back({{"output", one.output},
                             {"taken", json_of_crosspoint(one.taken)},
                             {"kept", json_of_crosspoint(one.kept)}});
    return rollbacks;
}

std::string json_line(const json_object& object) {
    return object.dump(-1, ' ', false, json_object::error_handler_t::replace);
}
