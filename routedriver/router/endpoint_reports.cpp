#include "endpoint_reports.h"

namespace {

std::string source_text(int source) {
    if (source == unknown_source) {
        return "unknown";
    }
    return source < 0 ? "none" : std::to_string(source);
}

const char* level_text(endpoint_level level) {
    if (level == endpoint_level::all) {
        return "all";
    }
    return level == endpoint_level::video ? "video" : "audio";
}

void add_field(TavrixAPIRouterMessage& report, char kind, int number, const std::string& property,
               const std::string& value) {
    report.fields[kind + std::to_string(number) + "." + property] = value;
}

} // namespace

TavrixAPIRouterMessage endpoint_report(const std::string& command) {
    TavrixAPIRouterMessage report;
    report.command = command;
    report.type = "message";
    return report;
}

TavrixAPIRouterMessage info_report(const endpoint_size& size, bool whole_salvos) {
    TavrixAPIRouterMessage report = endpoint_report("info");
    report.fields["inputs"] = std::to_string(size.inputs);
    report.fields["outputs"] = std::to_string(size.outputs);
    if (size.split_levels) {
        report.fields["output routing controls"] = "video,audio";
    }
    if (whole_salvos) {
        report.fields["salvo"] = "yes";
    }
    return report;
}

void add_input(TavrixAPIRouterMessage& report, int input, const std::string& property,
               const std::string& value) {
    add_field(report, 'i', input, property, value);
}

void add_output(TavrixAPIRouterMessage& report, int output, const std::string& property,
                const std::string& value) {
    add_field(report, 'o', output, property, value);
}

void add_source(TavrixAPIRouterMessage& report, int output, endpoint_level level, int source) {
    add_output(report, output, std::string("input.") + level_text(level), source_text(source));
}

TavrixAPIRouterMessage link_report(bool is_up, const std::string& text) {
    TavrixAPIRouterMessage report = endpoint_report("link");
    report.fields["state"] = is_up ? "up" : "down";
    report.fields["text"] = text;
    return report;
}

TavrixAPIRouterMessage refused_report(const endpoint_take& take, const std::string& text) {
    TavrixAPIRouterMessage report = endpoint_report("refused");
    report.fields["to output"] = std::to_string(take.output);
    report.fields["from input"] = source_text(take.source);
    if (take.level != endpoint_level::all) {
        report.fields["control"] = level_text(take.level);
    }
    report.fields["text"] = text;
    return report;
}
