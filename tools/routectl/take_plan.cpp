#include "take_plan.h"

#include <cstdio>

namespace {

const vrdx::picture_output& output_at(const router_picture& picture, int number) {
    return picture.outputs[static_cast<std::size_t>(number) - 1];
}

} // namespace

std::vector<planned_take> plan_takes(const std::vector<wanted_take>& wanted, const router_picture& picture,
                                     std::string* error) {
    std::vector<planned_take> plan;
    for (const wanted_take& one : wanted) {
        if (static_cast<std::size_t>(one.output) > picture.outputs.size()) {
            *error = "the router has become smaller meanwhile";
            return {};
        }
        const vrdx::picture_output& output = output_at(picture, one.output);
        const level_sources before = output.sources;
        const level_sources after = {one.audio.value_or(before.audio), one.video.value_or(before.video)};
        if (after.audio == vrdx::source_unknown || after.video == vrdx::source_unknown) {
            *error = output_text(picture, one.output) + ": nobody knows what its other level shows; write " +
                     std::to_string(one.output) + "=AUDIO,VIDEO";
            return {};
        }
        const bool one_level = !one.audio || !one.video;
        plan.push_back({one.output, before, after, one_level && !output.waits_ms});
    }
    return plan;
}

std::vector<int> one_level_outputs(const std::vector<wanted_take>& wanted) {
    std::vector<int> outputs;
    for (const wanted_take& one : wanted)
        if (!one.audio || !one.video)
            outputs.push_back(one.output);
    return outputs;
}

std::string plan_text(const std::vector<planned_take>& plan, const router_picture& picture) {
    std::string text;
    for (const planned_take& one : plan) {
        text += output_text(picture, one.output) + ": ";
        if (one.before == one.after)
            text += "stays ";
        else
            text += sources_text(picture, one.before) + " -> ";
        text += sources_text(picture, one.after) + "\n";
    }
    return text;
}

json_object json_of_plan(const std::vector<planned_take>& plan, const router_picture& picture) {
    json_object outputs = json_object::array();
    for (const planned_take& one : plan)
        outputs.push_back({{"output", one.output},
                           {"name", output_at(picture, one.output).name},
                           {"before", json_of_sources(one.before)},
                           {"after", json_of_sources(one.after)}});
    return {{"dry run", true}, {"outputs", outputs}};
}

void print_plan(bool json, const std::vector<planned_take>& plan, const router_picture& picture) {
    if (json)
        std::puts(json_line(json_of_plan(plan, picture)).c_str());
    else
        std::fputs(plan_text(plan, picture).c_str(), stdout);
}
