#include "snapshot.h"

#include <nlohmann/json.hpp>
#include <set>

namespace {

using json = nlohmann::ordered_json;

constexpr const char* format_tag = "vrdx crosspoints";
constexpr int format_version = 1;
constexpr int largest_router = 65536; // inputs or outputs; more is no snapshot

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

// A status never shows more than its limit, but a source beyond it may still be on air.
int largest_source(int inputs) {
    return inputs < status_limit ? inputs : largest_router;
}

std::string crosspoints_problem(const snapshot& one) {
    std::set<int> seen;
    for (const take& each : one.takes) {
        const int most = largest_source(one.inputs);
        const bool good = each.output >= 1 && each.output <= one.outputs && each.source.audio >= 0 &&
                          each.source.audio <= most && each.source.video >= 0 && each.source.video <= most;
        if (!good)
            return "one of its crosspoints is not possible on its router";
        if (!seen.insert(each.output).second)
            return "output " + std::to_string(each.output) + " stands in it twice";
    }
    if (seen.size() != static_cast<std::size_t>(one.outputs))
        return "it is not complete: it has " + std::to_string(seen.size()) + " crosspoints for " +
               std::to_string(one.outputs) + " outputs";
    return {};
}

} // namespace

snapshot snapshot_of(const router_status& status) {
    snapshot one{static_cast<int>(status.inputs.size()), static_cast<int>(status.outputs.size()), {}};
    for (const output_status& output : status.outputs)
        one.takes.push_back({static_cast<int>(one.takes.size()) + 1, output.source});
    return one;
}

std::string snapshot_text(const snapshot& one) {
    json crosspoints = json::array();
    for (const take& each : one.takes)
        crosspoints.push_back(
            {{"output", each.output}, {"audio", each.source.audio}, {"video", each.source.video}});
    const json object = {{"format", format_tag},
                         {"version", format_version},
                         {"inputs", one.inputs},
                         {"outputs", one.outputs},
                         {"crosspoints", crosspoints}};
    return object.dump(1) + "\n";
}

std::optional<snapshot> parse_snapshot(const std::string& text, std::string* error) {
    const json object = json::parse(text, nullptr, false);
    *error = object.is_discarded() ? "it is no snapshot, or cut short" : header_problem(object);
    if (!error->empty())
        return std::nullopt;
    snapshot one{number_at(object, "inputs"), number_at(object, "outputs"), {}};
    for (const json& each : object["crosspoints"]) {
        // What is no object has no numbers, and is found below.
        one.takes.push_back(
            {number_at(each, "output"), {number_at(each, "audio"), number_at(each, "video")}});
    }
    *error = crosspoints_problem(one);
    if (!error->empty())
        return std::nullopt;
    return one;
}

std::string misfit(const snapshot& one, const router_status& status) {
    const auto inputs = static_cast<int>(status.inputs.size());
    const auto outputs = static_cast<int>(status.outputs.size());
    if (one.inputs <= inputs && one.outputs <= outputs)
        return {};
    return "the snapshot is from a larger router: " + std::to_string(one.inputs) + "x" +
           std::to_string(one.outputs) + ", this one has " + std::to_string(inputs) + " inputs and " +
           std::to_string(outputs) + " outputs";
}
