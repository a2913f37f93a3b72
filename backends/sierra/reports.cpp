#include "reports.h"

#include <algorithm>

namespace {

TavrixAPIRouterMessage report_of(const std::string& command) {
    TavrixAPIRouterMessage report;
    report.command = command;
    report.type = "message";
    return report;
}

// What the router does not know, and a level that an output does not have, has no source: the driver would
// show the one before for ever.
void add_source(TavrixAPIRouterMessage& report, int output, const std::string& level, int source) {
    const std::string value = source < 1 ? "none" : std::to_string(source - 1);
    report.fields["o" + std::to_string(output - 1) + ".input." + level] = value;
}

void add_routing(TavrixAPIRouterMessage& report, const session& session, int output) {
    if (session.phase != session_phase::ready) {
        return;
    }
    const level_groups& groups = session.groups;
    const int video = source_of(session.picture, output, groups.video);
    if (groups.split) {
        add_source(report, output, "video", video);
        add_source(report, output, "audio", source_of(session.picture, output, groups.audio));
    } else {
        add_source(report, output, "all", video);
    }
}

TavrixAPIRouterMessage info_report(const session& session) {
    TavrixAPIRouterMessage report = report_of("info");
    report.fields["inputs"] = std::to_string(session.picture.inputs);
    report.fields["outputs"] = std::to_string(session.picture.outputs);
    if (session.groups.split) {
        report.fields["output routing controls"] = "video,audio";
    }
    return report;
}

// Every number, also those without a name: the driver may still hold the names of another router.
void add_names(TavrixAPIRouterMessage& report, const std::string& letter, int count,
               const std::map<int, std::string>& names) {
    for (int number = 1; number <= count; ++number) {
        const auto name = names.find(number);
        report.fields[letter + std::to_string(number - 1) + ".name"] =
            name == names.end() ? "" : name->second;
    }
}

bool is_among(const std::vector<int>& levels, int level) {
    return std::find(levels.begin(), levels.end(), level) != levels.end();
}

} // namespace

void report_all(session& session, reaction& reaction) {
    if (!size_known(session.picture)) {
        return;
    }
    reaction.reports.push_back(info_report(session));
    report_inputs(session, reaction);
    report_outputs(session, reaction);
    std::erase_if(reaction.reports, [](const auto& report) { return report.fields.empty(); });
}

void report_inputs(const session& session, reaction& reaction) {
    if (size_known(session.picture)) {
        reaction.reports.push_back(report_of("inputs"));
        add_names(reaction.reports.back(), "i", session.picture.inputs, session.settings.input_names);
    }
}

void report_outputs(const session& session, reaction& reaction) {
    if (!size_known(session.picture)) {
        return;
    }
    reaction.reports.push_back(report_of("outputs"));
    TavrixAPIRouterMessage& report = reaction.reports.back();
    add_names(report, "o", session.picture.outputs, session.settings.output_names);
    for (int output = 1; output <= session.picture.outputs; ++output) {
        if (!session.awaited.contains(output)) {
            add_routing(report, session, output);
        }
    }
}

void report_changed(session& session, reaction& reaction) {
    if (session.phase != session_phase::ready) {
        return;
    }
    TavrixAPIRouterMessage report = report_of("outputs");
    for (auto output = session.changed.begin(); output != session.changed.end();) {
        if (session.awaited.contains(*output)) {
            ++output;
            continue;
        }
        add_routing(report, session, *output);
        output = session.changed.erase(output);
    }
    if (!report.fields.empty()) {
        reaction.reports.push_back(std::move(report));
    }
}

std::string level_text(const router_picture& picture, const level_groups& groups) {
    std::string text = picture.levels.size() == 1 ? "level" : "levels";
    int level = 0;
    for (const std::string& name : picture.levels) {
        text += level++ == 0 ? " " : ", ";
        text += name.empty() ? std::to_string(level) : name;
        if (groups.split) {
            const char* const neither = is_among(groups.audio, level) ? " (audio)" : " (left alone)";
            text += is_among(groups.video, level) ? " (video)" : neither;
        }
    }
    return text + (groups.split ? "" : ", taken together");
}
