#include "gateway_picture.h"

#include "client_limits.h"

namespace {

const gateway_json& member(const gateway_json& object, const char* name) {
    static const gateway_json none;
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found != object.end() ? *found : none;
}

// The number of an input or output, 0 for what is none.
int place_in(const gateway_json& object, const char* name, std::size_t most) {
    const std::uint64_t number = number_in(object, name);
    return number <= most ? static_cast<int>(number) : 0;
}

int source_in(const gateway_json& sources, const char* name) {
    const gateway_json& source = member(sources, name);
    if (!source.is_number_unsigned() || source.get<std::uint64_t>() > vrdx::picture_inputs_limit)
        return vrdx::source_unknown;
    return static_cast<int>(source.get<std::uint64_t>());
}

std::vector<vrdx::place_property> properties_in(const gateway_json& place) {
    std::vector<vrdx::place_property> properties;
    for (const auto& [name, value] : member(place, "properties").items())
        if (value.is_string())
            properties.push_back({name, value.get<std::string>()});
    return properties;
}

vrdx::picture_input input_in(const gateway_json& place) {
    return {true, text_in(place, "name"), properties_in(place)};
}

vrdx::picture_output output_in(const gateway_json& place) {
    vrdx::picture_output output;
    output.told = true;
    output.name = text_in(place, "name");
    output.sources = gateway_sources(place, "sources");
    if (is_so_in(place, "pending"))
        output.waits_ms = 0; // the gateway does not say for how long
    if (const gateway_json& taken = member(place, "taken_by"); taken.is_object())
        output.taken = {number_in(taken, "user"), number_in(taken, "process"), text_in(taken, "by")};
    output.properties = properties_in(place);
    return output;
}

// Each element of an array at the place of its number, as far as there are places.
template<typename place>
void enter_places(const gateway_json& told, place (*read)(const gateway_json&), std::vector<place>* places,
                  std::vector<int>* numbers) {
    for (const gateway_json& one : told) {
        const int number = one.is_object() ? place_in(one, "number", places->size()) : 0;
        if (number == 0)
            continue;
        (*places)[static_cast<std::size_t>(number) - 1] = read(one);
        numbers->push_back(number);
    }
}

} // namespace

bool is_true_now(const gateway_state& state) {
    return state.word == "up" || state.word == "link down" || state.word == "no backend";
}

std::string text_in(const gateway_json& object, const char* name) {
    const gateway_json& found = member(object, name);
    return found.is_string() ? found.get<std::string>() : std::string();
}

std::uint64_t number_in(const gateway_json& object, const char* name) {
    const gateway_json& found = member(object, name);
    return found.is_number_unsigned() ? found.get<std::uint64_t>() : 0;
}

bool is_so_in(const gateway_json& object, const char* name) {
    const gateway_json& found = member(object, name);
    return found.is_boolean() && found.get<bool>();
}

gateway_state state_in(const gateway_json& message) {
    return {text_in(message, "state"), text_in(message, "reason")};
}

void enter_state(vrdx::router_picture* picture, const gateway_state& state) {
    const bool has_backend = state.word == "up" || state.word == "link down";
    picture->backend = has_backend                  ? vrdx::backend_state::running
                       : state.word == "no backend" ? vrdx::backend_state::none
                                                    : vrdx::backend_state::untold;
    picture->backend_text = has_backend ? "" : state.reason;
    const bool is_down = state.word == "link down" && !picture->outputs.empty();
    picture->link = is_down ? vrdx::link_state::down : vrdx::link_state::unknown;
    picture->link_text = is_down ? state.reason : "";
}

bool read_picture(const gateway_json& message, vrdx::router_picture* picture) {
    const gateway_json& inputs = member(message, "inputs");
    const gateway_json& outputs = member(message, "outputs");
    if (!inputs.is_array() || !outputs.is_array() || inputs.size() > vrdx::picture_inputs_limit ||
        outputs.size() > vrdx::picture_outputs_limit)
        return false;
    *picture = {};
    picture->epoch = text_in(message, "epoch");
    picture->sequence = number_in(message, "sequence");
    picture->split_levels = member(message, "levels").size() > 1;
    picture->inputs.resize(inputs.size());
    picture->outputs.resize(outputs.size());
    vrdx::picture_news news;
    enter_places(inputs, input_in, &picture->inputs, &news.inputs);
    enter_places(outputs, output_in, &picture->outputs, &news.outputs);
    enter_state(picture, state_in(message));
    return true;
}

void enter_change(const gateway_json& message, vrdx::router_picture* picture, vrdx::picture_news* news) {
    picture->sequence = number_in(message, "sequence");
    enter_places(member(message, "inputs"), input_in, &picture->inputs, &news->inputs);
    enter_places(member(message, "outputs"), output_in, &picture->outputs, &news->outputs);
}

vrdx::level_sources gateway_sources(const gateway_json& message, const char* name) {
    const gateway_json& sources = member(message, name);
    if (sources.is_object() && sources.contains("all"))
        return {source_in(sources, "all"), source_in(sources, "all")};
    return {source_in(sources, "audio"), source_in(sources, "video")};
}

vrdx::take_result gateway_result(const gateway_json& result) {
    const std::string word = text_in(result, "result");
    const std::string reason = text_in(result, "reason");
    if (word == "locked")
        return {vrdx::take_word::refused, reason, {}};
    if (word == "unavailable")
        return {vrdx::take_word::withdrawn, reason, {}};
    vrdx::take_result read = vrdx::take_result_in(reason.empty() ? word : word + ' ' + reason);
    if (read.word == vrdx::take_word::shows)
        read.sources = gateway_sources(result, "sources");
    return read;
}

vrdx::take_record gateway_record(const gateway_json& message) {
    vrdx::take_record record;
    const gateway_json& who = member(message, "who");
    record.number = number_in(message, "number");
    record.way = text_in(message, "way");
    record.by = text_in(who, "by");
    record.user = number_in(who, "user");
    record.process = number_in(who, "process");
    record.output = place_in(message, "output", vrdx::picture_outputs_limit);
    record.split_levels = member(message, "wanted").size() > 1;
    record.before = gateway_sources(message, "before");
    record.wanted = gateway_sources(message, "wanted");
    record.result = gateway_result(message);
    record.milliseconds = number_in(message, "milliseconds");
    return record;
}
