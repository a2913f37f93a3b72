#include "videohub_server_texts.h"

#include <algorithm>

namespace {

std::string property(std::string_view name, std::string_view value) {
    std::string line = std::string(name) + ": " + std::string(value);
    std::replace_if(
        line.begin(), line.end(), [](char byte) { return byte == '\n' || byte == '\r'; }, ' ');
    return line + "\n";
}

std::string begin(videohub_topic topic) {
    return std::string(videohub_header(topic)) + ":\n";
}

} // namespace

std::string videohub_preamble_text() {
    return begin(videohub_topic::preamble) + property("Version", "2.8") + "\n";
}

std::string videohub_device_text(const videohub_device_description& device) {
    std::string text =
        begin(videohub_topic::device) + property("Device present", device.present ? "true" : "false");
    if (device.present) {
        text += property("Model name", device.model_name) + property("Friendly name", device.friendly_name) +
                property("Unique ID", device.unique_id) +
                property("Video inputs", std::to_string(device.size.inputs)) +
                property("Video processing units", "0") +
                property("Video outputs", std::to_string(device.size.outputs)) +
                property("Video monitoring outputs", "0") + property("Serial ports", "0");
    }
    return text + "\n";
}

std::string videohub_configuration_text() {
    return begin(videohub_topic::configuration) + property("Take Mode", "false") + "\n";
}

std::string videohub_end_of_prelude_text() {
    return begin(videohub_topic::end_of_prelude) + "\n";
}
