#include "router_json.h"

#include "time_text.h"
#include "user_names.h"

namespace gateway {

namespace {

json source_json(int source) {
    return source == vrdx::source_unknown ? json(nullptr) : json(source);
}

json properties_json(const std::vector<vrdx::place_property>& properties) {
    json members = json::object();
    for (const auto& each : properties)
        members[each.name] = each.value;
    return members;
}

json taker_json(const std::optional<vrdx::last_taker>& taken) {
    if (!taken)
        return nullptr;
    return who_json(taken->user, taken->process, taken->by);
}

std::size_t place(int number) {
    return static_cast<std::size_t>(number - 1);
}

} // namespace

json levels_json(const vrdx::router_picture& picture) {
    return picture.split_levels ? json::array({"video", "audio"}) : json::array({"all"});
}

json sources_json(bool split_levels, const vrdx::level_sources& sources) {
    if (split_levels)
        return {{"video", source_json(sources.video)}, {"audio", source_json(sources.audio)}};
    return {{"all", source_json(sources.video != vrdx::source_unknown ? sources.video : sources.audio)}};
}

json who_json(std::uint64_t user, std::uint64_t process, const std::string& by) {
    const std::string& name = names_of_users().of(user);
    return {{"user", user},
            {"user_name", name.empty() ? json(nullptr) : json(name)},
            {"process", process},
            {"by", by}};
}

json lock_json(const output_lock* lock) {
    if (lock == nullptr)
        return nullptr;
    return {{"state", lock_word(lock->state)},
            {"owner", lock->owner},
            {"reason", lock->reason},
            {"since", rfc3339_of_seconds(lock->since)}};
}

json input_json(const vrdx::router_picture& picture, int number) {
    const vrdx::picture_input& input = picture.inputs[place(number)];
    return {{"number", number}, {"name", input.name}, {"properties", properties_json(input.properties)}};
}

json output_json(const shown_router& router, int number, const output_lock* lock) {
    const vrdx::router_picture& picture = router.picture;
    const vrdx::picture_output& output = picture.outputs[place(number)];
    const auto earlier = router.earlier.of(number);
    const auto or_null = [&](const std::optional<vrdx::level_sources>& sources) {
        return sources ? sources_json(picture.split_levels, *sources) : json(nullptr);
    };
    json told{{"number", number},
              {"name", output.name},
              {"sources", sources_json(picture.split_levels, output.sources)},
              {"previous", or_null(earlier)},
              {"pending", output.waits_ms.has_value()}};
    if (output.waits_ms) // else `sources` are confirmed
        told["confirmed"] = or_null(router.earlier.confirmed(number));
    told["taken_by"] = taker_json(output.taken);
    told["lock"] = lock_json(lock);
    told["properties"] = properties_json(output.properties);
    return told;
}

json last_error_json(const shown_router& router) {
    if (!router.last_error)
        return nullptr;
    return {{"time", rfc3339(router.last_error->time_ms)}, {"text", router.last_error->text}};
}

json router_row_json(const shown_router& router) {
    return {{"name", router.name},
            {"state", router_state_word(router.state)},
            {"reason", router.reason},
            {"since", rfc3339(router.since_ms)},
            {"inputs", router.picture.inputs.size()},
            {"outputs", router.picture.outputs.size()},
            {"levels", levels_json(router.picture)},
            {"last_error", last_error_json(router)}};
}

json picture_json(const shown_router& router, const router_locks* locks) {
    const vrdx::router_picture& picture = router.picture;
    json inputs = json::array(), outputs = json::array();
    for (int number = 1; number <= static_cast<int>(picture.inputs.size()); number++)
        inputs.push_back(input_json(picture, number));
    for (int number = 1; number <= static_cast<int>(picture.outputs.size()); number++) {
        const output_lock* lock = nullptr;
        if (locks != nullptr)
            if (const auto found = locks->find(number); found != locks->end())
                lock = &found->second;
        outputs.push_back(output_json(router, number, lock));
    }
    return {{"type", "picture"},
            {"router", router.name},
            {"state", router_state_word(router.state)},
            {"reason", router.reason},
            {"since", rfc3339(router.since_ms)},
            {"epoch", picture.epoch},
            {"sequence", picture.sequence},
            {"levels", levels_json(picture)},
            {"inputs", std::move(inputs)},
            {"outputs", std::move(outputs)}};
}

json result_json(const output_answer& answer, bool split_levels) {
    json said{{"output", answer.output}, {"result", answer.result}};
    if (answer.sources)
        said["sources"] = sources_json(split_levels, *answer.sources);
    if (!answer.reason.empty())
        said["reason"] = answer.reason;
    if (answer.lock)
        said["lock"] = lock_json(&*answer.lock);
    return said;
}

} // namespace gateway
