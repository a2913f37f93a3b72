#include "picture.h"

#include "monotonic_us.h"
#include "properties.h"

#include <algorithm>
#include <utility>

namespace {

struct {
    std::int32_t inputs = 0;
    std::int32_t outputs = 0;
    bool split = false;
    std::vector<std::string> input_names;
    std::vector<router_input> router_inputs;
    std::vector<router_output> router_outputs;
    link_state link = link_state::unknown;
    std::string link_text;
    backend_state backend = backend_state::none;
    std::string backend_text;
    std::uint64_t version = 1;
    std::uint64_t state_changed = 1;
    std::uint64_t resized = 1;
    std::size_t property_bytes = 0;              // names and values of all properties
    std::uint64_t next_expiry = no_deadline_yet; // no take is to be rolled back before
} picture;

std::vector<void (*)(const picture_event&)> watchers;

router_output& output_at(std::int32_t output) {
    return picture.router_outputs.at(static_cast<std::size_t>(output));
}

router_input& input_at(std::int32_t input) {
    return picture.router_inputs.at(static_cast<std::size_t>(input));
}

void mark_changed(const picture_event& event) {
    switch (event.what) {
    case picture_change::resized:
        picture.resized = event.version;
        [[fallthrough]];
    case picture_change::link:
    case picture_change::backend:
        picture.state_changed = event.version;
        break;
    case picture_change::input_named:
    case picture_change::input_property:
        input_at(event.place).changed = event.version;
        break;
    default:
        output_at(event.place).changed = event.version;
    }
}

void tell(picture_event event) {
    event.version = ++picture.version;
    mark_changed(event);
    for (const auto hear : watchers)
        hear(event);
}

route_sources sources_of(const router_output& output) {
    return {output.audio_input, output.video_input};
}

// Shows `sources`; the event has what they were and are.
void show(router_output& output, route_sources sources, picture_event& event) {
    event.before = sources_of(output);
    event.after = sources;
    output.audio_input = sources.audio;
    output.video_input = sources.video;
}

void rename(std::string& stored, std::string_view name, picture_change what, std::int32_t place) {
    if (stored == name)
        return;
    const std::string before = std::exchange(stored, std::string(name));
    tell({.version = 0,
          .what = what,
          .cause = change_cause::backend,
          .place = place,
          .name_before = before,
          .name_after = stored});
}

void roll_back(std::int32_t place, router_output& output, change_cause cause) {
    picture_event event{.version = 0,
                        .what = picture_change::rolled_back,
                        .cause = cause,
                        .place = place,
                        .audio = true,
                        .video = true,
                        .whose = output.assumed_for};
    show(output, {output.saved_audio_input, output.saved_video_input}, event);
    output.audio_known = output.saved_audio_known;
    output.video_known = output.saved_video_known;
    output.confirmed = output.saved_confirmed; // a take before it may not have been confirmed either
    output.confirm_deadline = 0;
    tell(event);
}

router_output* output_waiting_for(std::int32_t place, std::uint64_t number) {
    if (place < 0 || place >= picture.outputs)
        return nullptr;
    router_output& output = output_at(place);
    return output.confirm_deadline != 0 && output.take == number ? &output : nullptr;
}

void set_taker(router_output& output, requester whose, std::string_view by) {
    output.taken_by = whose;
    output.taken_by_name = by;
}

void forget_properties(port_properties& properties, picture_change what, std::int32_t place) {
    if (properties.empty())
        return;
    properties.clear();
    tell({.version = 0, .what = what, .cause = change_cause::backend, .place = place});
}

// New places have never been told.
template<typename port> void mark_new(std::vector<port>& ports, std::size_t count_before) {
    for (std::size_t i = count_before; i < ports.size(); ++i)
        ports[i].changed = picture.version;
}

} // namespace

const std::int32_t& input_count = picture.inputs;
const std::int32_t& output_count = picture.outputs;
const bool& split_levels = picture.split;
const std::vector<std::string>& input_names = picture.input_names;
const std::vector<router_input>& router_inputs = picture.router_inputs;
const std::vector<router_output>& router_outputs = picture.router_outputs;
const link_state& router_link = picture.link;
const std::string& router_link_text = picture.link_text;
const backend_state& router_backend = picture.backend;
const std::string& router_backend_text = picture.backend_text;
const std::uint64_t& picture_state_changed = picture.state_changed;
const std::uint64_t& picture_resized = picture.resized;
const std::uint64_t& picture_version = picture.version;
const std::uint64_t assume_timeout = 1000000;

void resize_picture(std::int32_t inputs, std::int32_t outputs, bool split) {
    if (inputs == picture.inputs && outputs == picture.outputs && split == picture.split)
        return;
    const std::size_t inputs_before = picture.router_inputs.size();
    const std::size_t outputs_before = picture.router_outputs.size();
    for (std::size_t i = static_cast<std::size_t>(inputs); i < inputs_before; ++i)
        picture.property_bytes -= bytes_of(picture.router_inputs[i].properties);
    for (std::size_t i = static_cast<std::size_t>(outputs); i < outputs_before; ++i)
        picture.property_bytes -= bytes_of(picture.router_outputs[i].properties);
    picture.inputs = inputs;
    picture.outputs = outputs;
    picture.split = split;
    picture.router_outputs.resize(static_cast<std::size_t>(outputs));
    picture.router_inputs.resize(static_cast<std::size_t>(inputs));
    picture.input_names.resize(static_cast<std::size_t>(inputs));
    tell({.version = 0, .what = picture_change::resized, .cause = change_cause::backend, .place = -1});
    mark_new(picture.router_inputs, inputs_before);
    mark_new(picture.router_outputs, outputs_before);
}

void name_input(std::int32_t input, std::string_view name) {
    rename(picture.input_names.at(static_cast<std::size_t>(input)), name, picture_change::input_named, input);
}

void name_output(std::int32_t output, std::string_view name) {
    rename(output_at(output).name, name, picture_change::output_named, output);
}

void assume_sources(const shown_take& take) {
    router_output& output = output_at(take.output);
    output.saved_audio_input = output.audio_input;
    output.saved_video_input = output.video_input;
    output.saved_audio_known = output.audio_known;
    output.saved_video_known = output.video_known;
    output.saved_confirmed = output.confirmed;
    output.audio_known = output.video_known = true;
    output.confirmed = false;
    output.confirm_deadline = take.deadline;
    picture.next_expiry = std::min(picture.next_expiry, take.deadline);
    output.take = take.number;
    output.assumed_for = take.whose;
    set_taker(output, take.whose, take.by);
    picture_event event{.version = 0,
                        .what = picture_change::assumed,
                        .cause = change_cause::client,
                        .place = take.output,
                        .audio = true,
                        .video = true,
                        .whose = take.whose};
    show(output, take.sources, event);
    tell(event);
}

void set_take_deadline(std::int32_t place, std::uint64_t number, std::uint64_t deadline) {
    if (router_output* output = output_waiting_for(place, number)) {
        output->confirm_deadline = deadline;
        picture.next_expiry = std::min(picture.next_expiry, deadline);
    }
}

void take_back(std::int32_t place, std::uint64_t number) {
    if (router_output* output = output_waiting_for(place, number))
        roll_back(place, *output, change_cause::client);
}

void note_taker(std::int32_t place, requester whose, std::string_view by) {
    set_taker(output_at(place), whose, by);
    tell({.version = 0,
          .what = picture_change::taken,
          .cause = change_cause::client,
          .place = place,
          .whose = whose});
}

void report_source(std::int32_t place, bool audio, bool video, std::int32_t source, bool known) {
    router_output& output = output_at(place);
    const route_sources now{audio ? source : output.audio_input, video ? source : output.video_input};
    const bool audio_known = audio ? known : output.audio_known;
    const bool video_known = video ? known : output.video_known;
    if (output.confirm_deadline == 0 && output.confirmed && now == sources_of(output) &&
        audio_known == output.audio_known && video_known == output.video_known)
        return;
    picture_event event{.version = 0,
                        .what = picture_change::reported,
                        .cause = change_cause::backend,
                        .place = place,
                        .audio = audio,
                        .video = video,
                        .whose = output.confirm_deadline != 0 ? output.assumed_for : requester{}};
    show(output, now, event);
    output.audio_known = audio_known;
    output.video_known = video_known;
    output.confirmed = true;
    output.confirm_deadline = 0;
    tell(event);
}

void expire_assumed_routes() {
    const std::uint64_t now = monotonic_us();
    if (now < picture.next_expiry)
        return; // most passes: the outputs need not be looked at
    picture.next_expiry = no_deadline_yet;
    for (std::int32_t place = 0; place < picture.outputs; ++place) {
        router_output& output = output_at(place);
        if (output.confirm_deadline != 0 && output.confirm_deadline <= now)
            roll_back(place, output, change_cause::rollback);
        else if (output.confirm_deadline != 0)
            picture.next_expiry = std::min(picture.next_expiry, output.confirm_deadline);
    }
}

void report_input_property(std::int32_t input, std::string_view name, std::string_view value) {
    if (keep_property(input_at(input).properties, &picture.property_bytes, name, value))
        tell({.version = 0,
              .what = picture_change::input_property,
              .cause = change_cause::backend,
              .place = input,
              .name_before = name,
              .name_after = value});
}

void report_output_property(std::int32_t output, std::string_view name, std::string_view value) {
    if (keep_property(output_at(output).properties, &picture.property_bytes, name, value))
        tell({.version = 0,
              .what = picture_change::output_property,
              .cause = change_cause::backend,
              .place = output,
              .name_before = name,
              .name_after = value});
}

void report_link(link_state state, std::string_view text) {
    if (state == picture.link && text == picture.link_text)
        return;
    picture.link = state;
    picture.link_text = text;
    tell({.version = 0, .what = picture_change::link, .cause = change_cause::backend, .place = -1});
}

void tell_backend(backend_state state, std::string_view text) {
    if (state == picture.backend && text == picture.backend_text)
        return;
    picture.backend = state;
    picture.backend_text = text;
    tell({.version = 0, .what = picture_change::backend, .cause = change_cause::backend, .place = -1});
}

void forget_backend() {
    report_link(link_state::unknown, "");
    for (std::int32_t input = 0; input < picture.inputs; ++input)
        forget_properties(input_at(input).properties, picture_change::input_property, input);
    for (std::int32_t output = 0; output < picture.outputs; ++output)
        forget_properties(output_at(output).properties, picture_change::output_property, output);
    picture.property_bytes = 0;
}

void watch_picture(void (*hear)(const picture_event& event)) {
    watchers.push_back(hear);
}
