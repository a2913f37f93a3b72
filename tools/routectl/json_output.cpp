#include "json_output.h"

#include "health.h"
#include "local_time.h"

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

json_object json_of_source(int source) {
    return source == vrdx::source_unknown ? json_object() : json_object(source);
}

json_object json_of_properties(const std::vector<vrdx::place_property>& properties) {
    json_object object = json_object::object();
    for (const vrdx::place_property& each : properties)
        object[each.name] = each.value;
    return object;
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

json_object json_of_sources(const vrdx::level_sources& sources) {
    return {{"audio", json_of_source(sources.audio)}, {"video", json_of_source(sources.video)}};
}

json_object json_of_output(const vrdx::picture_output& output, int number) {
    json_object object = {{"output", number}, {"name", output.name}};
    object.update(json_of_sources(output.sources));
    if (output.waits_ms)
        object["waits ms"] = *output.waits_ms;
    if (output.taken)
        object["taken"] = {
            {"user", output.taken->user}, {"pid", output.taken->process}, {"by", output.taken->by}};
    if (!output.properties.empty())
        object["properties"] = json_of_properties(output.properties);
    return object;
}

json_object json_of_router(const vrdx::router_picture& picture, const std::vector<int>& outputs) {
    json_object inputs = json_object::array();
    for (const vrdx::picture_input& input : picture.inputs) {
        inputs.push_back({{"input", inputs.size() + 1}, {"name", input.name}});
        if (!input.properties.empty())
            inputs.back()["properties"] = json_of_properties(input.properties);
    }
    json_object shown = json_object::array();
    for (const int number : outputs)
        shown.push_back(json_of_output(picture.outputs[static_cast<std::size_t>(number) - 1], number));
    json_object levels = json_object::array();
    if (picture.split_levels)
        levels = {"video", "audio"};
    return {{"router", !picture.inputs.empty() && !picture.outputs.empty()},
            {"inputs", inputs},
            {"outputs", shown},
            {"levels", levels},
            {"backend", backend_word(picture.backend)},
            {"backend text", picture.backend_text},
            {"link", link_word(picture.link)},
            {"link text", picture.link_text},
            {"epoch", picture.epoch},
            {"sequence", picture.sequence}};
}

json_object json_of_report(const driver_report& report) {
    return {{"connected", report.connected},
            {"machine", report.machine},
            {"errors", report.errors},
            {"notes", report.notes}};
}

json_object json_of_record(const vrdx::take_record& record) {
    return {{"take", record.number},
            {"time", local_time(record.time_ms)},
            {"way", record.way},
            {"user", record.user},
            {"pid", record.process},
            {"by", record.by},
            {"output", record.output},
            {"levels", record.split_levels ? "video,audio" : "all"},
            {"from", json_of_sources(record.before)},
            {"to", json_of_sources(record.wanted)},
            {"result", vrdx::take_word_text(record.result.word)},
            {"text", record.result.text},
            {"milliseconds", record.milliseconds}};
}

std::string json_line(const json_object& object) {
    return object.dump(-1, ' ', false, json_object::error_handler_t::replace);
}
