#include "driver_report.h"

#include "display_text.h"

#include <string_view>

namespace {

// The parts of `text` between separators; empty parts are left out.
std::vector<std::string> split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const auto end = text.find(separator);
        const std::string_view part = text.substr(0, end);
        if (!part.empty())
            parts.emplace_back(part);
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + separator.size());
    }
    return parts;
}

std::string section(const std::string& head, const std::vector<std::string>& lines) {
    std::string text = head + ":\n";
    for (const std::string& line : lines)
        text += "  " + printable(line) + "\n";
    return lines.empty() ? text + "  none\n" : text;
}

} // namespace

driver_report decode_report(const comm_socket_v4_packet& reply) {
    driver_report report;
    for (const std::uint32_t index : reply.entries) {
        const auto& entry = reply.items[index];
        const std::string_view name = comm_socket_v4_packet_item_name(&reply, entry);
        const std::string_view value = comm_socket_v4_packet_item_value(&reply, entry);
        if (name == "*active") {
            report.told = true;
            report.connected = value.starts_with('1');
            report.machine = split(value.substr(value.empty() ? 0 : 1), "; ");
        } else if (name == "*last error") {
            report.errors = split(value, "\n");
        } else if (name == "*last notes") {
            report.notes = split(value, "\n");
        }
    }
    return report;
}

std::string report_text(const driver_report& report) {
    return std::string("Backend: ") + (report.connected ? "connected" : "not connected") + "\n" +
           section("Machine", report.machine) + section("Last errors", report.errors) +
           section("Last notes", report.notes);
}
