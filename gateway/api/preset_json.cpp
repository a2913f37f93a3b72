#include "preset_json.h"

#include "time_text.h"

namespace gateway {

namespace {

json source_json(const source_wish& source) {
    if (const int* number = std::get_if<int>(&source))
        return *number;
    return std::get<std::string>(source);
}

json take_json(const preset_take& take) {
    json said{{"router", take.router}, {"output", take.wish.output}};
    const auto &video = take.wish.video, &audio = take.wish.audio;
    if (video && audio && *video == *audio) {
        said["input"] = source_json(*video);
        return said;
    }
    json sources = json::object();
    if (video)
        sources["video"] = source_json(*video);
    if (audio)
        sources["audio"] = source_json(*audio);
    said["sources"] = std::move(sources);
    return said;
}

// `router` first, then what `rest` has.
json of_router(const std::string& router, const json& rest) {
    json said{{"router", router}};
    said.update(rest);
    return said;
}

json known_sources_json(bool split_levels, const std::optional<vrdx::level_sources>& sources) {
    return sources ? sources_json(split_levels, *sources) : json(nullptr);
}

} // namespace

json preset_row_json(const preset_row& row) {
    return {{"name", row.name},
            {"author", row.author},
            {"changed", rfc3339_of_seconds(row.changed)},
            {"routers", row.routers},
            {"outputs", row.takes}};
}

json preset_json(const preset& one, std::size_t undo) {
    json said = preset_row_json(one.row);
    said["undo"] = undo;
    said["takes"] = json::array();
    for (const preset_take& each : one.takes)
        said["takes"].push_back(take_json(each));
    return said;
}

json recall_json(const recall_answer& answer) {
    json results = json::array();
    for (const recalled_output& each : answer.outputs)
        results.push_back(of_router(each.router, result_json(each.answer, each.split_levels)));
    return {{"results", std::move(results)}};
}

json differences_json(const recall_answer& look) {
    json differences = json::array();
    for (const recalled_output& each : look.outputs) {
        json said{{"router", each.router},
                  {"output", each.answer.output},
                  {"shows", known_sources_json(each.split_levels, each.shown)},
                  {"wanted", known_sources_json(each.split_levels, each.wanted)},
                  {"same", each.shown && each.wanted && *each.shown == *each.wanted}};
        if (!each.answer.result.empty()) {
            said["result"] = each.answer.result;
            said["reason"] = each.answer.reason;
        }
        differences.push_back(std::move(said));
    }
    return {{"differences", std::move(differences)}};
}

std::optional<json> snapshot_json(const preset& one, const shown_router& router, std::string* problem) {
    takes_wish wish;
    for (const preset_take& each : one.takes)
        if (each.router == router.name)
            wish.takes.push_back(each.wish);
    const auto plan = plan_takes(wish, router.picture, problem);
    if (!plan)
        return std::nullopt;
    json crosspoints = json::array();
    for (const planned_take& each : *plan)
        if (each.reason.empty())
            crosspoints.push_back({{"output", each.take.output},
                                   {"audio", each.take.sources.audio},
                                   {"video", each.take.sources.video}});
    if (crosspoints.empty()) {
        *problem = "The preset has no crosspoint of this router that is wholly known.";
        return std::nullopt;
    }
    return json{{"format", "vrdx crosspoints"},
                {"version", 1},
                {"inputs", router.picture.inputs.size()},
                {"outputs", router.picture.outputs.size()},
                {"crosspoints", std::move(crosspoints)}};
}

} // namespace gateway
