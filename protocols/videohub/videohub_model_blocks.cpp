// One function for each kind of block that the model follows.
#include "videohub_model_parts.h"

#include "plain_text.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

void apply_preamble(videohub_model& model, const videohub_block& block, videohub_news&) {
    for_each_videohub_property(block, [&](std::string_view name, std::string_view value) {
        if (name == "Version") {
            model.version = value;
        }
    });
}

// Calls `on_input` for each line that speaks of an input of the bank, with its number among all inputs.
template<typename handler>
void for_each_input(videohub_model& model, const videohub_block& block, videohub_bank bank,
                    handler on_input) {
    const videohub_bank_ports ports = videohub_ports_of(model, bank);
    for_each_videohub_entry(block, [&](int entry, std::string_view text) {
        if (entry < ports.inputs) {
            const int number = ports.first_input + entry;
            on_input(number, model.inputs[static_cast<std::size_t>(number)], text);
        }
    });
}

// Calls `on_output` for each line that speaks of an output of the bank, with its number among all outputs.
template<typename handler>
void for_each_output(videohub_model& model, const videohub_block& block, videohub_bank bank,
                     handler on_output) {
    const videohub_bank_ports ports = videohub_ports_of(model, bank);
    for_each_videohub_entry(block, [&](int entry, std::string_view text) {
        if (entry < ports.outputs) {
            const int number = ports.first_output + entry;
            on_output(number, model.outputs[static_cast<std::size_t>(number)], text);
        }
    });
}

template<videohub_bank bank>
void apply_input_labels(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const auto on_input = [&](int number, videohub_input& input, std::string_view text) {
        input.label = cut_videohub_value(text);
        input.labelled = true;
        news.labelled_inputs.push_back(number);
    };
    for_each_input(model, block, bank, on_input);
}

template<videohub_bank bank>
void apply_output_labels(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const auto on_output = [&](int number, videohub_output& output, std::string_view text) {
        output.label = cut_videohub_value(text);
        output.labelled = true;
        news.labelled_outputs.push_back(number);
    };
    for_each_output(model, block, bank, on_output);
}

// A serial port has one label, whether it is looked at as an input or as an output.
void apply_serial_labels(videohub_model& model, const videohub_block& block, videohub_news& news) {
    apply_input_labels<videohub_bank::serial>(model, block, news);
    apply_output_labels<videohub_bank::serial>(model, block, news);
}

template<videohub_bank bank>
void apply_routing(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const videohub_bank_ports ports = videohub_ports_of(model, bank);
    const auto on_output = [&](int number, videohub_output& output, std::string_view text) {
        if (const std::optional<int> source = videohub_number_in(text, -1)) {
            const bool is_one = *source >= 0 && *source < ports.inputs;
            output.source = is_one ? ports.first_input + *source : -1;
            output.routed = true;
            news.routed.push_back(number);
        }
    };
    for_each_output(model, block, bank, on_output);
}

std::optional<videohub_lock> lock_in(std::string_view text) {
    switch (text.empty() ? ' ' : text.front()) {
    case 'O':
        return videohub_lock::own;
    case 'L':
        return videohub_lock::other;
    case 'U':
        return videohub_lock::unlocked;
    default:
        return std::nullopt;
    }
}

template<videohub_bank bank>
void apply_locks(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const auto on_output = [&](int number, videohub_output& output, std::string_view text) {
        if (const std::optional<videohub_lock> lock = lock_in(text)) {
            output.lock = *lock;
            output.lock_known = true;
            news.locked.push_back(number);
        }
    };
    for_each_output(model, block, bank, on_output);
}

void apply_input_status(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const auto on_input = [&](int number, videohub_input& input, std::string_view text) {
        input.status = cut_videohub_value(without_outer_blanks(text));
        news.input_statuses.push_back(number);
    };
    for_each_input(model, block, videohub_bank::video, on_input);
}

template<videohub_bank bank>
void apply_output_status(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const auto on_output = [&](int number, videohub_output& output, std::string_view text) {
        output.status = cut_videohub_value(without_outer_blanks(text));
        news.output_statuses.push_back(number);
    };
    for_each_output(model, block, bank, on_output);
}

void apply_configuration(videohub_model& model, const videohub_block& block, videohub_news& news) {
    for_each_videohub_property(block, [&](std::string_view name, std::string_view value) {
        if (name == "Take Mode") {
            model.take_mode = cut_videohub_value(value);
            news.router_itself = true;
        }
    });
}

void apply_alarms(videohub_model& model, const videohub_block& block, videohub_news& news) {
    constexpr std::size_t longest_alarm_name = 56;
    for_each_videohub_property(block, [&](std::string_view name, std::string_view value) {
        const std::string alarm(name.substr(0, longest_alarm_name));
        const bool is_field_name = alarm.find('=') == std::string::npos;
        if (is_field_name && (model.alarms.size() < most_videohub_alarms || model.alarms.count(alarm) > 0)) {
            model.alarms[alarm] = cut_videohub_value(value);
            news.router_itself = true;
        }
    });
}

void apply_end_of_prelude(videohub_model& model, const videohub_block&, videohub_news&) {
    model.prelude_ended = true;
}

struct block_kind {
    std::string_view header;
    void (*apply)(videohub_model& model, const videohub_block& block, videohub_news& news);
};

constexpr videohub_bank video = videohub_bank::video;
constexpr videohub_bank monitoring = videohub_bank::monitoring;
constexpr videohub_bank serial = videohub_bank::serial;

constexpr block_kind kinds[] = {
    {"PROTOCOL PREAMBLE", apply_preamble},
    {"VIDEOHUB DEVICE", apply_videohub_device},
    {"INPUT LABELS", apply_input_labels<video>},
    {"OUTPUT LABELS", apply_output_labels<video>},
    {"VIDEO OUTPUT ROUTING", apply_routing<video>},
    {"VIDEO OUTPUT LOCKS", apply_locks<video>},
    {"VIDEO INPUT STATUS", apply_input_status},
    {"VIDEO OUTPUT STATUS", apply_output_status<video>},
    {"MONITORING OUTPUT LABELS", apply_output_labels<monitoring>},
    {"VIDEO MONITORING OUTPUT ROUTING", apply_routing<monitoring>},
    {"MONITORING OUTPUT LOCKS", apply_locks<monitoring>},
    {"VIDEO MONITORING OUTPUT LOCKS", apply_locks<monitoring>},
    {"SERIAL PORT LABELS", apply_serial_labels},
    {"SERIAL PORT ROUTING", apply_routing<serial>},
    {"SERIAL PORT LOCKS", apply_locks<serial>},
    {"SERIAL PORT STATUS", apply_output_status<serial>},
    {"CONFIGURATION", apply_configuration},
    {"ALARM STATUS", apply_alarms},
    {"END PRELUDE", apply_end_of_prelude},
};

} // namespace

videohub_news apply_videohub_block(videohub_model& model, const videohub_block& block) {
    videohub_news news;
    for (const block_kind& kind : kinds) {
        if (block.header == kind.header) {
            news.known = true;
            kind.apply(model, block, news);
        }
    }
    return news;
}
