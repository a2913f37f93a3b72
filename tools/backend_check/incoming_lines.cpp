#include "incoming_lines.h"

#include "backend.h"

#include <algorithm>
#include <array>

namespace {

bool has_known_tag(const std::string& line) {
    constexpr std::array<std::string_view, 5> tags = {"<ERR>", "<WARN>", "<INFO>", "<NOTE>", "<DBG>"};
    return std::any_of(tags.begin(), tags.end(), [&](std::string_view tag) { return line.starts_with(tag); });
}

bool is_report(const std::string& command) {
    return command == "info" || command == "inputs" || command == "outputs" || command == "link";
}

bool tells_routing(const TavrixAPIRouterMessage& report) {
    return report.command == "outputs" &&
           std::any_of(report.fields.begin(), report.fields.end(),
                       [](const auto& field) { return field.first.find(".input.") != std::string::npos; });
}

void end_report(conversation& talk) {
    if (is_report(talk.report.command)) {
        if (talk.report.type == "message")
            ++talk.reports[talk.report.command];
        else
            add_finding(talk.wrong_type,
                        in_quotes(talk.report.command) + " of type " + in_quotes(talk.report.type));
    }
    if (tells_routing(talk.report) && talk.report.type == "message")
        ++talk.routing_reports;
    if (talk.report.command == "info" && talk.report.type == "message")
        talk.info = talk.report.fields;
    clear_router_message(talk.report);
}

} // namespace

void hear_output_line(conversation& talk, const std::string& line) {
    if (line.empty()) {
        end_report(talk);
    } else if (line.find('=') == std::string::npos || has_known_tag(line)) {
        add_finding(talk.stray_output, in_quotes(line));
    } else {
        if (line.starts_with("*COMMAND=") && !talk.report.command.empty())
            add_finding(talk.unframed, in_quotes(line) + " follows within " + in_quotes(talk.report.command));
        parse_router_message_line(talk.report, line);
    }
    read_backend_report_line(line);
}

void hear_log_line(conversation& talk, const std::string& line) {
    ++talk.log_lines;
    if (line.starts_with("*COMMAND="))
        add_finding(talk.report_in_log, in_quotes(line));
    else if (!has_known_tag(line))
        add_finding(talk.untagged_log, in_quotes(line));
}

void add_finding(finding& what, const std::string& example) {
    if (what.count++ == 0)
        what.first = example;
}
