#include "router_text.h"

#include "text.h"

namespace gateway {
namespace {

std::string short_text(const json& object, const char* name, std::size_t most) {
    return std::string(text_head(member<std::string>(object, name), most));
}

json properties_array(const std::vector<vrdx::place_property>& properties) {
    json all = json::array();
    for (const auto& each : properties)
        all.push_back({each.name, each.value});
    return all;
}

std::vector<vrdx::place_property> properties_of(const json& object) {
    std::vector<vrdx::place_property> properties;
    for (const json& each : array_member(object, "properties")) {
        if (properties.size() >= vrdx::properties_limit)
            break;
        vrdx::place_property property{each.at(0).get<std::string>(), each.at(1).get<std::string>()};
        if (property.name.size() <= vrdx::property_name_limit &&
            property.value.size() <= vrdx::property_value_limit)
            properties.push_back(std::move(property));
    }
    return properties;
}

template<typename state_type> state_type state_in(const json& object, const char* name, state_type last) {
    const int number = member<int>(object, name);
    return number < 0 || number > static_cast<int>(last) ? state_type{} : static_cast<state_type>(number);
}

// From 1 and within the size; 0 for any other.
int number_in(const json& object, std::size_t size) {
    const auto number = object.at("number").get<std::int64_t>();
    return number < 1 || static_cast<std::uint64_t>(number) > size ? 0 : static_cast<int>(number);
}

vrdx::picture_output output_of(const json& object) {
    vrdx::picture_output output;
    output.told = true;
    output.name = short_text(object, "name", vrdx::picture_name_limit);
    output.sources = sources_of(object.at("sources"));
    if (const auto waits = object.find("waits"); waits != object.end())
        output.waits_ms = waits->get<std::uint64_t>();
    if (const auto taken = object.find("taken"); taken != object.end())
        output.taken = vrdx::last_taker{taken->at(0).get<std::uint64_t>(), taken->at(1).get<std::uint64_t>(),
                                        taken->at(2).get<std::string>()};
    output.properties = properties_of(object);
    return output;
}

} // namespace

json sources_array(const vrdx::level_sources& sources) {
    return {sources.audio, sources.video};
}

vrdx::level_sources sources_of(const json& array) {
    const auto source = [&](std::size_t place) {
        const int number = array.at(place).get<int>();
        const bool fits =
            number >= vrdx::source_unknown && number <= static_cast<int>(vrdx::picture_inputs_limit);
        return fits ? number : vrdx::source_unknown;
    };
    return {source(0), source(1)};
}

json lock_object(const output_lock& lock) {
    return {{"state", lock_word(lock.state)},
            {"owner", lock.owner},
            {"reason", lock.reason},
            {"since", lock.since}};
}

output_lock lock_of(const json& object) {
    output_lock lock;
    lock.state = member<std::string>(object, "state") == "protect" ? lock_state::protect : lock_state::lock;
    lock.owner = object.at("owner").get<std::string>();
    lock.reason = member<std::string>(object, "reason");
    lock.since = member<std::int64_t>(object, "since");
    return lock;
}

void add_head(json* message, const router_excerpt& router) {
    const vrdx::router_picture& picture = router.picture;
    json& object = *message;
    object["state"] = router_state_word(router.state.state);
    object["reason"] = router.state.reason;
    object["picture"] = {{"epoch", picture.epoch},
                         {"sequence", picture.sequence},
                         {"split", picture.split_levels},
                         {"backend", static_cast<int>(picture.backend)},
                         {"backend_text", picture.backend_text},
                         {"link", static_cast<int>(picture.link)},
                         {"link_text", picture.link_text},
                         {"last_take", picture.last_take},
                         {"inputs", picture.inputs.size()},
                         {"outputs", picture.outputs.size()}};
    object["inputs"] = json::array();
    object["outputs"] = json::array();
}

json input_object(const vrdx::router_picture& picture, int number) {
    const vrdx::picture_input& input = picture.inputs[static_cast<std::size_t>(number - 1)];
    json object = {{"number", number}, {"name", input.name}};
    if (!input.properties.empty())
        object["properties"] = properties_array(input.properties);
    return object;
}

json output_object(const router_excerpt& router, int number) {
    const vrdx::picture_output& output = router.picture.outputs[static_cast<std::size_t>(number - 1)];
    json object = {{"number", number}, {"name", output.name}, {"sources", sources_array(output.sources)}};
    if (output.waits_ms)
        object["waits"] = *output.waits_ms;
    if (output.taken)
        object["taken"] = {output.taken->user, output.taken->process, output.taken->by};
    if (!output.properties.empty())
        object["properties"] = properties_array(output.properties);
    if (router.locks != nullptr)
        if (const auto held = router.locks->find(number); held != router.locks->end())
            object["lock"] = lock_object(held->second);
    return object;
}

bool read_router(const json& message, told_router* router) {
    const auto state = router_state_of(message.at("state").get<std::string>());
    router->state = {state.value_or(router_state::stale),
                     short_text(message, "reason", vrdx::picture_text_limit)};
    const json& told = message.at("picture");
    vrdx::router_picture& head = router->head;
    head.epoch = short_text(told, "epoch", 64);
    head.sequence = member<std::uint64_t>(told, "sequence");
    head.split_levels = member<bool>(told, "split");
    head.backend = state_in(told, "backend", vrdx::backend_state::none);
    head.backend_text = short_text(told, "backend_text", vrdx::picture_text_limit);
    head.link = state_in(told, "link", vrdx::link_state::down);
    head.link_text = short_text(told, "link_text", vrdx::picture_text_limit);
    head.last_take = member<std::uint64_t>(told, "last_take");
    router->input_count = member<std::size_t>(told, "inputs");
    router->output_count = member<std::size_t>(told, "outputs");
    if (router->input_count > vrdx::picture_inputs_limit ||
        router->output_count > vrdx::picture_outputs_limit)
        return false;
    for (const json& each : array_member(message, "inputs")) {
        const int number = number_in(each, router->input_count);
        if (number == 0)
            return false;
        router->inputs.emplace_back(
            number, vrdx::picture_input{true, short_text(each, "name", vrdx::picture_name_limit),
                                        properties_of(each)});
    }
    for (const json& each : array_member(message, "outputs")) {
        const int number = number_in(each, router->output_count);
        if (number == 0)
            return false;
        router->outputs.emplace_back(number, output_of(each));
        if (const auto held = each.find("lock"); held != each.end() && held->is_object())
            router->locks[number] = lock_of(*held);
    }
    return true;
}

} // namespace gateway
