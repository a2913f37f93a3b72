#include "shown.h"

#include <algorithm>

namespace {

int shown_source(int source) {
    if (source == source_unknown) {
        return unknown_source;
    }
    return source == source_disconnected ? no_source : source - 1;
}

std::string name_of(const std::map<int, std::string>& names, int number) {
    const auto name = names.find(number);
    return name == names.end() ? "" : name->second;
}

bool is_among(const std::vector<int>& levels, int level) {
    return std::find(levels.begin(), levels.end(), level) != levels.end();
}

} // namespace

void show_router(session& session) {
    const sierra_picture& picture = session.picture;
    announce_size(session.driver, {picture.inputs, picture.outputs, session.groups.split});
    show_names(session);
    for (int output = 1; session.driver.state == router_state::ready && output <= picture.outputs; ++output) {
        show_routing(session, output);
    }
}

void show_names(session& session) {
    for (int input = 1; input <= session.picture.inputs; ++input) {
        show_input(session.driver, input - 1, "name", name_of(session.settings.input_names, input));
    }
    for (int output = 1; output <= session.picture.outputs; ++output) {
        show_output(session.driver, output - 1, "name", name_of(session.settings.output_names, output));
    }
}

void show_routing(session& session, int output) {
    const level_groups& groups = session.groups;
    const int video = shown_source(source_of(session.picture, output, groups.video));
    const endpoint_level level = groups.split ? endpoint_level::video : endpoint_level::all;
    show_source(session.driver, output - 1, level, video);
    if (groups.split) {
        const int audio = shown_source(source_of(session.picture, output, groups.audio));
        show_source(session.driver, output - 1, endpoint_level::audio, audio);
    }
}

std::string level_text(const sierra_picture& picture, const level_groups& groups) {
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
