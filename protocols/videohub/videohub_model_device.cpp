// The device that a Videohub server speaks for: whether it is there, which one it is, and its size.
#include "videohub_model_parts.h"

#include "plain_text.h"

#include <algorithm>

namespace {

videohub_presence presence_in(std::string_view value) {
    if (value == "true") {
        return videohub_presence::present;
    }
    return value == "needs_update" ? videohub_presence::needs_update : videohub_presence::absent;
}

// A count. One server leaves out the line feed behind it, so that the next property stands in its line.
std::optional<int> count_in(std::string_view value) {
    value = without_outer_blanks(value);
    const std::optional<int> count = leading_number(value);
    const bool is_whole = value.empty() || value.find(':') != std::string_view::npos;
    return is_whole && count >= 0 ? count : std::nullopt;
}

struct device_description {
    std::optional<videohub_presence> presence;
    std::optional<std::string> model_name;
    std::optional<std::string> friendly_name;
    std::optional<std::string> unique_id;
    videohub_sizes sizes;
};

device_description read_description(const videohub_block& block) {
    device_description told;
    for_each_videohub_property(block, [&](std::string_view name, std::string_view value) {
        if (name == "Device present") {
            told.presence = presence_in(value);
        } else if (name == "Model name") {
            told.model_name = cut_videohub_value(value);
        } else if (name == "Friendly name") {
            told.friendly_name = cut_videohub_value(value);
        } else if (name == "Unique ID") {
            told.unique_id = cut_videohub_value(value);
        } else if (name == "Video inputs") {
            told.sizes.inputs = count_in(value);
        } else if (name == "Video outputs") {
            told.sizes.outputs = count_in(value);
        } else if (name == "Video monitoring outputs") {
            told.sizes.monitors = count_in(value);
        } else if (name == "Serial ports") {
            told.sizes.serial_ports = count_in(value);
        }
    });
    return told;
}

// `told`, and where it says nothing, what was said before.
videohub_sizes merged(const videohub_sizes& before, const videohub_sizes& told) {
    const auto newer = [](std::optional<int> one, std::optional<int> other) { return one ? one : other; };
    return {newer(told.inputs, before.inputs), newer(told.outputs, before.outputs),
            newer(told.monitors, before.monitors), newer(told.serial_ports, before.serial_ports)};
}

// What the model counts, cut down to the most. Serial ports are inputs as well, and count only once both are
// known.
struct counted_ports {
    int inputs = 0;
    int outputs = 0;
    int monitors = 0;
    int serial_ports = 0;
};

counted_ports count_ports(const videohub_model& model, const videohub_sizes& sizes) {
    const int inputs = std::min(sizes.inputs.value_or(0), most_router_inputs);
    const int outputs = std::min(sizes.outputs.value_or(0), most_router_outputs);
    counted_ports counted;
    if (model.with_monitors && sizes.outputs) {
        counted.monitors = std::min(sizes.monitors.value_or(0), most_router_outputs - outputs);
    }
    if (model.with_serial_ports && sizes.outputs && sizes.inputs) {
        counted.serial_ports =
            std::min({sizes.serial_ports.value_or(0), most_router_outputs - outputs - counted.monitors,
                      most_router_inputs - inputs});
    }
    counted.inputs = inputs + counted.serial_ports;
    counted.outputs = outputs + counted.monitors + counted.serial_ports;
    return counted;
}

bool has_size(const videohub_model& model, const videohub_sizes& sizes) {
    const counted_ports counted = count_ports(model, sizes);
    return model.inputs_known == sizes.inputs.has_value() &&
           model.outputs_known == sizes.outputs.has_value() &&
           static_cast<int>(model.inputs.size()) == counted.inputs &&
           static_cast<int>(model.outputs.size()) == counted.outputs && model.monitors == counted.monitors &&
           model.serial_ports == counted.serial_ports;
}

void set_size(videohub_model& model, const videohub_sizes& sizes) {
    const counted_ports counted = count_ports(model, sizes);
    model.told_sizes = sizes;
    model.inputs_known = sizes.inputs.has_value();
    model.outputs_known = sizes.outputs.has_value();
    model.inputs.assign(static_cast<std::size_t>(counted.inputs), {});
    model.outputs.assign(static_cast<std::size_t>(counted.outputs), {});
    model.monitors = counted.monitors;
    model.serial_ports = counted.serial_ports;
}

// A router may describe the device that it has once more; another one has another identity (or size).
bool has_other_identity(const videohub_model& model, const device_description& told) {
    return (told.presence && *told.presence != model.presence) ||
           (told.unique_id && !model.unique_id.empty() && *told.unique_id != model.unique_id);
}

// With a description that says whether a device is present, another device is attached, and all else follows.
void forget_device(videohub_model& model, const device_description& told) {
    model.prelude_ended = false;
    if (told.presence) {
        videohub_model fresh;
        fresh.version = std::move(model.version);
        fresh.with_monitors = model.with_monitors;
        fresh.with_serial_ports = model.with_serial_ports;
        fresh.presence = *told.presence;
        model = std::move(fresh);
    }
}

} // namespace

std::optional<int> videohub_number_in(std::string_view text, int lowest) {
    const std::optional<int> number = whole_number(without_outer_blanks(text));
    return number && *number >= lowest ? number : std::nullopt;
}

std::string cut_videohub_value(std::string_view text) {
    return std::string(text.substr(0, most_videohub_label_bytes));
}

void apply_videohub_device(videohub_model& model, const videohub_block& block, videohub_news& news) {
    const device_description told = read_description(block);
    const bool is_other = has_other_identity(model, told);
    const videohub_sizes sizes =
        is_other && told.presence ? told.sizes : merged(model.told_sizes, told.sizes);
    news.router_itself = true;
    news.device = is_other || !has_size(model, sizes);
    if (news.device) {
        forget_device(model, told);
        set_size(model, sizes);
    }
    model.model_name = told.model_name.value_or(model.model_name);
    model.friendly_name = told.friendly_name.value_or(model.friendly_name);
    model.unique_id = told.unique_id.value_or(model.unique_id);
}
