#include "snapshot.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

namespace {

using json = nlohmann::ordered_json;

constexpr const char* format_tag = "vrdx crosspoints";
constexpr int format_version = 1;
constexpr int largest_router = 65536; // inputs or outputs; more is no snapshot

// Older files say so many at the most, and may name sources beyond.
constexpr int oldest_limit = 128;

// The whole number under `key`, -1 when there is none in 0..largest_router.
int number_at(const json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer())
        return -1;
    const auto number = found->get<std::int64_t>();
    return number >= 0 && number <= largest_router ? static_cast<int>(number) : -1;
}

std::string header_problem(const json& object) {
    const auto tag = object.is_object() ? object.find("format") : object.end();
    if (tag == object.end() || *tag != format_tag)
        return "it is no snapshot of crosspoints";
    if (number_at(object, "version") != format_version)
        return "its version is not " + std::to_string(format_version);
    if (number_at(object, "inputs") < 1 || number_at(object, "outputs") < 1)
        return "it does not say how large its router is";
    const auto list = object.find("crosspoints");
    if (list == object.end() || !list->is_array())
        return "it holds no crosspoints";
    return {};
}

int largest_source(int inputs) {
    return inputs == oldest_limit ? largest_router : inputs;
}

std::string crosspoints_problem(const snapshot& one) {
    std::set<int> seen;
    for (const vrdx::output_take& each : one.takes) {
        const int most = largest_source(one.inputs);
        const auto [audio, video] = each.sources;
        const bool good = each.output >= 1 && each.output <= one.outputs && audio >= 0 && audio <= most &&
                          video >= 0 && video <= most;
        if (!good)
            return "one of its crosspoints is not possible on its router";
        if (!seen.insert(each.output).second)
            return "output " + std::to_string(each.output) + " stands in it twice";
    }
    return seen.empty() ? "it holds no crosspoints" : "";
}

// The names under `key`; false when there are some, but not `count`.
bool read_names(const json& object, const char* key, int count, std::vector<std::string>* names) {
    const auto found = object.find(key);
    if (found == object.end())
        return true;
    if (!found->is_array() || found->size() != static_cast<std::size_t>(count))
        return false;
    for (const json& each : *found) {
        if (!each.is_string())
            return false;
        names->push_back(each.get<std::string>());
    }
    return true;
}

bool is_known_source(int source) {
    return source != vrdx::source_unknown;
}

} // namespace

snapshot snapshot_of(const vrdx::router_picture& picture, bool names, std::vector<int>* left_out) {
    snapshot one{
        static_cast<int>(picture.inputs.size()), static_cast<int>(picture.outputs.size()), {}, {}, {}};
    int number = 0;
    for (const vrdx::picture_output& output : picture.outputs) {
        ++number;
        const bool known = is_known_source(output.sources.audio) && is_known_source(output.sources.video);
        if (known && !output.waits_ms)
            one.takes.push_back({number, output.sources});
        else
            left_out->push_back(number);
        if (names)
            one.output_names.push_back(output.name);
    }
    if (names)
        for (const vrdx::picture_input& input : picture.inputs)
            one.input_names.push_back(input.name);
    return one;
}

std::string snapshot_text(const snapshot& one) {
    json crosspoints = json::array();
    for (const vrdx::output_take& each : one.takes)
        crosspoints.push_back(
            {{"output", each.output}, {"audio", each.sources.audio}, {"video", each.sources.video}});
    json object = {{"format", format_tag},
                   {"version", format_version},
                   {"inputs", one.inputs},
                   {"outputs", one.outputs},
                   {"crosspoints", crosspoints}};
    if (!one.input_names.empty())
        object["input names"] = one.input_names;
    if (!one.output_names.empty())
        object["output names"] = one.output_names;
    return object.dump(1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::optional<snapshot> parse_snapshot(const std::string& text, std::string* error) {
    const json object = json::parse(text, nullptr, false);
    *error = object.is_discarded() ? "it is no snapshot, or cut short" : header_problem(object);
    if (!error->empty())
        return std::nullopt;
    snapshot one{number_at(object, "inputs"), number_at(object, "outputs"), {}, {}, {}};
    for (const json& each : object["crosspoints"]) {
        // What is no object has no numbers, and is found below.
        one.takes.push_back(
            {number_at(each, "output"), {number_at(each, "audio"), number_at(each, "video")}});
    }
    *error = crosspoints_problem(one);
    if (error->empty() && (!read_names(object, "input names", one.inputs, &one.input_names) ||
                           !read_names(object, "output names", one.outputs, &one.output_names)))
        *error = "its names are not those of its router";
    if (!error->empty())
        return std::nullopt;
    return one;
}

std::string misfit(const snapshot& one, const vrdx::router_picture& picture) {
    const auto inputs = static_cast<int>(picture.inputs.size());
    const auto outputs = static_cast<int>(picture.outputs.size());
    const bool beyond = std::any_of(one.takes.begin(), one.takes.end(), [inputs](const auto& each) {
        return each.sources.audio > inputs || each.sources.video > inputs;
    });
    if (one.inputs <= inputs && one.outputs <= outputs && !beyond)
        return {};
    return "the snapshot is from a larger router: " + std::to_string(one.inputs) + "x" +
           std::to_string(one.outputs) + ", this one has " + std::to_string(inputs) + " inputs and " +
           std::to_string(outputs) + " outputs";
}
