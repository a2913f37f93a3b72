#include "change.h"

#include "display_text.h"

namespace {

std::string size_text(const std::optional<router_status>& router) {
    if (!router)
        return "no router";
    return std::to_string(router->inputs.size()) + "x" + std::to_string(router->outputs.size());
}

json_object size_object(const std::optional<router_status>& router) {
    return {{"inputs", router ? router->inputs.size() : 0}, {"outputs", router ? router->outputs.size() : 0}};
}

json_object source_object(const crosspoint& source) {
    return {{"audio", source.audio}, {"video", source.video}};
}

change name_change(const std::string& what, std::size_t number, const std::string& before,
                   const std::string& after) {
    return {what + ' ' + std::to_string(number) + " name " + in_quotes(before) + " -> " + in_quotes(after),
            {{"change", what + " name"}, {what, number}, {"before", before}, {"after", after}}};
}

change source_change(std::size_t number, const crosspoint& before, const crosspoint& after) {
    return {"output " + std::to_string(number) + " source " + crosspoint_text(before) + " -> " +
                crosspoint_text(after),
            {{"change", "source"},
             {"output", number},
             {"before", source_object(before)},
             {"after", source_object(after)}}};
}

void add_input_changes(const router_status& before, const router_status& after,
                       std::vector<change>* changes) {
    for (std::size_t i = 0; i < after.inputs.size(); ++i) {
        const std::string old_name = i < before.inputs.size() ? before.inputs[i] : std::string();
        if (old_name != after.inputs[i])
            changes->push_back(name_change("input", i + 1, old_name, after.inputs[i]));
    }
}

void add_output_changes(const router_status& before, const router_status& after,
                        std::vector<change>* changes) {
    for (std::size_t i = 0; i < after.outputs.size(); ++i) {
        const output_status old = i < before.outputs.size() ? before.outputs[i] : output_status();
        const output_status& now = after.outputs[i];
        if (old.name != now.name)
            changes->push_back(name_change("output", i + 1, old.name, now.name));
        if (old.source != now.source)
            changes->push_back(source_change(i + 1, old.source, now.source));
    }
}

const char* connection_text(bool connected) {
    return connected ? "backend connected" : "backend not connected";
}

} // namespace

std::vector<change> changes_between(const watched_state& before, const watched_state& after) {
    std::vector<change> changes;
    if (before.connected != after.connected)
        changes.push_back({connection_text(after.connected),
                           {{"change", "active"}, {"before", before.connected}, {"after", after.connected}}});
    if (size_text(before.router) != size_text(after.router))
        changes.push_back({"size " + size_text(before.router) + " -> " + size_text(after.router),
                           {{"change", "size"},
                            {"before", size_object(before.router)},
                            {"after", size_object(after.router)}}});
    const router_status old = before.router.value_or(router_status());
    const router_status now = after.router.value_or(router_status());
    add_input_changes(old, now, &changes);
    add_output_changes(old, now, &changes);
    return changes;
}

change rolled_back(const rollback& one) {
    json_object object = {{"change", "rollback"}};
    object.update(json_of_rollbacks({one}).front());
    return {"output " + std::to_string(one.output) + " rolled back: the take of " +
                crosspoint_text(one.taken) + " was not confirmed",
            object};
}

change driver_gone() {
    return {"driver gone", {{"change", "driver"}, {"before", true}, {"after", false}}};
}

change driver_back() {
    return {"driver back", {{"change", "driver"}, {"before", false}, {"after", true}}};
}

change watch_begins(const watched_state& state) {
    return {"watching " + size_text(state.router) + ", " + connection_text(state.connected),
            {{"change", "begin"}, {"size", size_object(state.router)}, {"active", state.connected}}};
}
