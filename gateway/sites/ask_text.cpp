#include "router_text.h"

namespace gateway {
namespace {

json takes_array(const std::vector<vrdx::output_take>& takes) {
    json all = json::array();
    for (const vrdx::output_take& each : takes)
        all.push_back({each.output, each.sources.audio, each.sources.video});
    return all;
}

std::vector<vrdx::output_take> takes_of(const json& object, const char* name) {
    std::vector<vrdx::output_take> takes;
    for (const json& each : array_member(object, name))
        takes.push_back({each.at(0).get<int>(), {each.at(1).get<int>(), each.at(2).get<int>()}});
    return takes;
}

void add_beat(json* object, const site_beat& beat) {
    (*object)["v"] = site_message_version;
    (*object)["run"] = beat.run;
    (*object)["beat"] = beat.ms;
}

site_beat beat_of(const json& object) {
    return {object.at("run").get<std::string>(), object.at("beat").get<std::uint64_t>()};
}

json answer_object(const owner_answer& said) {
    json object = {{"output", said.output}, {"result", said.result}};
    if (!said.reason.empty())
        object["reason"] = said.reason;
    if (said.sources)
        object["sources"] = sources_array(*said.sources);
    if (said.held)
        object["lock"] = {{"state", said.held->protects ? "protect" : "lock"},
                          {"owner", said.held->owner},
                          {"reason", said.held->reason},
                          {"since", said.held->since}};
    return object;
}

owner_answer answer_of(const json& object) {
    owner_answer said;
    said.output = object.at("output").get<int>();
    said.result = object.at("result").get<std::string>();
    said.reason = member<std::string>(object, "reason");
    if (const auto sources = object.find("sources"); sources != object.end())
        said.sources = sources_of(*sources);
    if (const auto held = object.find("lock"); held != object.end()) {
        const output_lock lock = lock_of(*held);
        said.held =
            owner_answer::lock{lock.state == lock_state::protect, lock.owner, lock.reason, lock.since};
    }
    return said;
}

} // namespace

std::string take_ask_text(const take_ask& ask) {
    json object = {{"by", ask.by}, {"within", ask.within_ms}, {"takes", takes_array(ask.takes)}};
    add_beat(&object, ask.beat);
    if (ask.all_or_nothing)
        object["all_or_nothing"] = true;
    if (!ask.expect.empty())
        object["expect"] = takes_array(ask.expect);
    return message_text(object);
}

std::optional<take_ask> read_take_ask(const std::string& text) {
    return read_message<take_ask>(text, [](const json& object, take_ask* ask) {
        ask->beat = beat_of(object);
        ask->by = member<std::string>(object, "by");
        ask->within_ms = member<unsigned>(object, "within");
        ask->all_or_nothing = member<bool>(object, "all_or_nothing");
        ask->takes = takes_of(object, "takes");
        ask->expect = takes_of(object, "expect");
        return true;
    });
}

std::string name_ask_text(const name_ask& ask) {
    json object = {{"output", ask.output}, {"number", ask.number}, {"name", ask.name}};
    add_beat(&object, ask.beat);
    return message_text(object);
}

std::optional<name_ask> read_name_ask(const std::string& text) {
    return read_message<name_ask>(text, [](const json& object, name_ask* ask) {
        ask->beat = beat_of(object);
        ask->output = object.at("output").get<bool>();
        ask->number = object.at("number").get<int>();
        ask->name = object.at("name").get<std::string>();
        return true;
    });
}

std::string ask_answer_text(const ask_answer& answer) {
    json object = {{"v", site_message_version}, {"ended", answer.ended}};
    if (!answer.reason.empty())
        object["reason"] = answer.reason;
    for (const owner_answer& each : answer.outputs)
        object["outputs"].push_back(answer_object(each));
    return message_text(object);
}

std::optional<ask_answer> read_ask_answer(const std::string& text) {
    return read_message<ask_answer>(text, [](const json& object, ask_answer* answer) {
        answer->ended = object.at("ended").get<std::string>();
        answer->reason = member<std::string>(object, "reason");
        for (const json& each : array_member(object, "outputs"))
            answer->outputs.push_back(answer_of(each));
        return true;
    });
}

} // namespace gateway
