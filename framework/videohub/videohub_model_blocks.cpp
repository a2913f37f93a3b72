// One function for each kind of block that the model follows.
#include "videohub_model.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace {

std::optional<int> number_in(std::string_view text, int lowest) {
    int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < lowest) {
        return std::nullopt;
    }
    const auto rest = text.substr(static_cast<std::size_t>(stop - text.data()));
    return rest.find_first_not_of(" \t") == std::string_view::npos ? std::optional(number) : std::nullopt;
}

template<typename port> port* port_at(std::vector<port>& ports, int number) {
    const auto index = static_cast<std::size_t>(number);
    return index < ports.size() ? &ports[index] : nullptr;
}

videohub_presence presence_in(std::string_view value) {
    if (value == "true") {
        return videohub_presence::present;
    }
    return value == "needs_update" ? videohub_presence::needs_update : videohub_presence::absent;
}

void apply_preamble(videohub_model& model, const videohub_block& block, videohub_news&) {
    for_each_videohub_property(block, [&](std::string_view name, std::string_view value) {
        if (name == "Version") {
            model.version = value;
        }
    });
}

struct device_description {
    std::optional<videohub_presence> presence;
    std::optional<std::string> model_name;
    std::optional<std::string> friendly_name;
    std::optional<std::string> unique_id;
    std::optional<int> inputs;
    std::optional<int> outputs;
};

device_description read_description(const videohub_block& block) {
    device_description told;
    for_each_videohub_property(block, [&](std::string_view name, std::string_view value) {
        if (name == "Device present") {
            told.presence = presence_in(value);
        } else if (name == "Model name") {
            told.model_name = value;
        } else if (name == "Friendly name") {
            told.friendly_name = value;
        } else if (name == "Unique ID") {
            told.unique_id = value;
        } else if (name == "Video inputs") {
            told.inputs = number_in(value, 0);
        } else if (name == "Video outputs") {
            told.outputs = number_in(value, 0);
        }
    });
    return told;
}

bool size_differs(std::optional<int> told, bool known, std::size_t size) {
    return told.has_value() &&
           (!known || static_cast<std::size_t>(std::min(*told, most_videohub_ports)) != size);
}

template<typename port> void take_size(std::optional<int> told, bool& known, std::vector<port>& ports) {
    if (told) {
        known = true;
        ports.assign(static_cast<std::size_t>(std::min(*told, most_videohub_ports)), {});
    }
}

// A description that says whether a device is present comes when one is attached, and is followed by all
// else.
void apply_device(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const device_description told = read_description(block);
    news.device = told.presence.has_value() ||
                  size_differs(told.inputs, model.inputs_known, model.inputs.size()) ||
                  size_differs(told.outputs, model.outputs_known, model.outputs.size());
    if (told.presence) {
        std::string version = std::move(model.version);
        model = {};
        model.version = std::move(version);
        model.presence = *told.presence;
    } else if (news.device) {
        model.prelude_ended = false;
        model.inputs.assign(model.inputs.size(), {});
        model.outputs.assign(model.outputs.size(), {});
    }
    take_size(news.device ? told.inputs : std::nullopt, model.inputs_known, model.inputs);
    take_size(news.device ? told.outputs : std::nullopt, model.outputs_known, model.outputs);
    model.model_name = told.model_name.value_or(model.model_name);
    model.friendly_name = told.friendly_name.value_or(model.friendly_name);
    model.unique_id = told.unique_id.value_or(model.unique_id);
}

template<typename port>
void apply_labels(std::vector<port>& ports, const videohub_block& block, std::vector<int>& labelled) {
    for_each_videohub_entry(block, [&](int number, std::string_view text) {
        if (port* const named = port_at(ports, number)) {
            named->label = text.substr(0, most_videohub_label_bytes);
            named->labelled = true;
            labelled.push_back(number);
        }
    });
}

void apply_input_labels(videohub_model& model, const videohub_block& block, videohub_news& news) {
    apply_labels(model.inputs, block, news.labelled_inputs);
}

void apply_output_labels(videohub_model& model, const videohub_block& block, videohub_news& news) {
    apply_labels(model.outputs, block, news.labelled_outputs);
}

void apply_routing(videohub_model& model, const videohub_block& block, videohub_news& news) {
    for_each_videohub_entry(block, [&](int number, std::string_view text) {
        videohub_output* const output = port_at(model.outputs, number);
        const std::optional<int> source = number_in(text, -1);
        if (output != nullptr && source) {
            output->source = *source < static_cast<int>(model.inputs.size()) ? *source : -1;
            output->routed = true;
            news.routed.push_back(number);
        }
    });
}

void apply_locks(videohub_model& model, const videohub_block& block, videohub_news&) {
    for_each_videohub_entry(block, [&](int number, std::string_view text) {
        videohub_output* const output = port_at(model.outputs, number);
        const char state = text.empty() ? ' ' : text.front();
        if (output == nullptr) {
            return;
        }
        if (state == 'O') {
            output->lock = videohub_lock::own;
        } else if (state == 'L') {
            output->lock = videohub_lock::other;
        } else if (state == 'U') {
            output->lock = videohub_lock::unlocked;
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

constexpr block_kind kinds[] = {
    {"PROTOCOL PREAMBLE", apply_preamble},   {"VIDEOHUB DEVICE", apply_device},
    {"INPUT LABELS", apply_input_labels},    {"OUTPUT LABELS", apply_output_labels},
    {"VIDEO OUTPUT ROUTING", apply_routing}, {"VIDEO OUTPUT LOCKS", apply_locks},
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
