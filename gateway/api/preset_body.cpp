#include "preset_body.h"

#include "gateway/settings/limits.h"
#include "json_reading.h"
#include "take_body.h"

#include <set>

namespace gateway {

namespace {

constexpr const char* preset_form =
    R"(A preset is {"takes": [{"router": "NAME", "output": 1, "input": 3}, ...]}.)";

bool read_router(const json& take, std::string* router, std::string* problem) {
    const auto found = take.find("router");
    if (found != take.end() && found->is_string())
        *router = found->get<std::string>();
    if (!router->empty() && router->size() <= router_name_limit && router->find('\0') == std::string::npos)
        return true;
    *problem = "\"router\" has to be the name of a router. " + std::string(preset_form);
    return false;
}

bool read_preset_take(const json& take, preset_take* read, std::string* problem) {
    *problem = members_problem(take, {"router", "output", "input", "sources"});
    return problem->empty() && read_router(take, &read->router, problem) &&
           read_output_wish(take, &read->wish, problem);
}

// --- saved files ---

constexpr const char* snapshot_form =
    "With ?snapshot=ROUTER the body has to be a file that `vrdx_routectl save` has written.";

// The whole number under `name`; -1 when there is none from 0 to `most`.
int number_at(const json& object, const char* name, std::size_t most) {
    const auto found = object.find(name);
    if (found == object.end() || !found->is_number_integer())
        return -1;
    const auto number = found->get<std::int64_t>();
    return number >= 0 && number <= static_cast<std::int64_t>(most) ? static_cast<int>(number) : -1;
}

bool is_snapshot(const json& body) {
    if (!body.is_object() || body.value("format", json()) != "vrdx crosspoints" ||
        number_at(body, "version", 1) != 1)
        return false;
    const auto list = body.find("crosspoints");
    return list != body.end() && list->is_array();
}

bool read_crosspoint(const json& one, preset_take* read) {
    if (!one.is_object())
        return false;
    const int output = number_at(one, "output", vrdx::picture_outputs_limit);
    const int video = number_at(one, "video", vrdx::picture_inputs_limit);
    const int audio = number_at(one, "audio", vrdx::picture_inputs_limit);
    read->wish = {output, video, audio};
    return output >= 1 && video >= 0 && audio >= 0;
}

// Of a list that is there: how many takes it may have, and that no output of a router stands in it twice.
template<typename reader>
std::optional<std::vector<preset_take>> read_list(const json& list, const reader& read_one,
                                                  std::string* problem) {
    if (list.empty() || list.size() > preset_takes_limit) {
        *problem = "A preset has 1 to " + std::to_string(preset_takes_limit) + " takes.";
        return std::nullopt;
    }
    std::vector<preset_take> takes;
    std::set<std::pair<std::string, int>> seen;
    for (const json& each : list) {
        preset_take& added = takes.emplace_back();
        if (!read_one(each, &added))
            return std::nullopt;
        if (!seen.emplace(added.router, added.wish.output).second) {
            *problem = "Output " + std::to_string(added.wish.output) + " of the router " +
                       json_text(added.router) + " is there twice; each output can be taken once.";
            return std::nullopt;
        }
    }
    return takes;
}

} // namespace

std::optional<std::vector<preset_take>> read_preset(const json& body, std::string* problem) {
    *problem = members_problem(body, {"takes"});
    if (!problem->empty())
        return std::nullopt;
    const auto takes = body.find("takes");
    if (takes == body.end() || !takes->is_array()) {
        *problem = "\"takes\" has to be a list. " + std::string(preset_form);
        return std::nullopt;
    }
    return read_list(
        *takes,
        [problem](const json& one, preset_take* read) { return read_preset_take(one, read, problem); },
        problem);
}

std::optional<std::vector<preset_take>> read_snapshot(const json& body, const std::string& router,
                                                      std::string* problem) {
    problem->clear();
    if (!is_snapshot(body)) {
        *problem = snapshot_form;
        return std::nullopt;
    }
    const auto read_one = [&](const json& one, preset_take* read) {
        read->router = router;
        if (!read_crosspoint(one, read))
            *problem = std::string("One of its crosspoints is not possible. ") + snapshot_form;
        return problem->empty();
    };
    return read_list(body["crosspoints"], read_one, problem);
}

std::optional<recall_request> read_recall(const json& body, bool may_be_dry, std::string* problem) {
    recall_request asked;
    *problem = may_be_dry ? members_problem(body, {"dry_run", "all_or_nothing", "within"})
                          : members_problem(body, {"all_or_nothing", "within"});
    if (!problem->empty() || !read_manner(body, &asked.wish.within_ms, &asked.wish.all_or_nothing, problem))
        return std::nullopt;
    if (const auto dry = body.find("dry_run"); dry != body.end()) {
        if (!dry->is_boolean()) {
            *problem = "\"dry_run\" has to be true (tell the differences) or false (take).";
            return std::nullopt;
        }
        asked.dry_run = dry->get<bool>();
    }
    return asked;
}

} // namespace gateway
