#include "conversation_parts.h"

#include <algorithm>

namespace {

const char* lock_text(videohub_lock lock) {
    if (lock == videohub_lock::unlocked) {
        return "free";
    }
    return lock == videohub_lock::own ? "own" : "other";
}

void show_routing(videohub_conversation& conversation, int number) {
    const videohub_output& output = conversation.model.outputs[static_cast<std::size_t>(number)];
    show_source(conversation.driver, number, endpoint_level::all,
                output.routed ? output.source : unknown_source);
}

void show_lock(videohub_conversation& conversation, int number) {
    const videohub_output& output = conversation.model.outputs[static_cast<std::size_t>(number)];
    if (output.lock_known) {
        show_output(conversation.driver, number, "lock", lock_text(output.lock));
    }
}

void show_output_label(videohub_conversation& conversation, int number) {
    show_output(conversation.driver, number, "name",
                conversation.model.outputs[static_cast<std::size_t>(number)].label);
}

void show_input_label(videohub_conversation& conversation, int number) {
    show_input(conversation.driver, number, "name",
               conversation.model.inputs[static_cast<std::size_t>(number)].label);
}

void show_input_status(videohub_conversation& conversation, int number) {
    const std::string& status = conversation.model.inputs[static_cast<std::size_t>(number)].status;
    if (!status.empty()) {
        show_input(conversation.driver, number, "status", status);
    }
}

void show_output_status(videohub_conversation& conversation, int number) {
    const std::string& status = conversation.model.outputs[static_cast<std::size_t>(number)].status;
    if (!status.empty()) {
        show_output(conversation.driver, number, "status", status);
    }
}

// What is true of the router as a whole stands at the first output.
void show_router_itself(videohub_conversation& conversation) {
    const videohub_model& model = conversation.model;
    for (const auto& [property, value] :
         {std::pair<const char*, const std::string&>("router model", model.model_name),
          std::pair<const char*, const std::string&>("router friendly name", model.friendly_name),
          std::pair<const char*, const std::string&>("take mode", model.take_mode)}) {
        if (!value.empty()) {
            show_output(conversation.driver, 0, property, value);
        }
    }
    for (const auto& [alarm, value] : model.alarms) {
        show_output(conversation.driver, 0, "alarm " + alarm, value);
    }
}

} // namespace

void show_whole_router(videohub_conversation& conversation) {
    const videohub_model& model = conversation.model;
    const auto inputs = static_cast<int>(model.inputs.size());
    const auto outputs = static_cast<int>(model.outputs.size());
    announce_size(conversation.driver, {inputs, outputs, false});
    for (int input = 0; input < inputs; ++input) {
        show_input_label(conversation, input);
        show_input_status(conversation, input);
    }
    for (int output = 0; output < outputs; ++output) {
        show_output_label(conversation, output);
        show_output_status(conversation, output);
        show_lock(conversation, output);
        show_routing(conversation, output);
    }
    show_router_itself(conversation);
}

void show_news(videohub_conversation& conversation, const videohub_news& news) {
    if (conversation.driver.state != router_state::ready) {
        return;
    }
    const auto each = [&](const std::vector<int>& numbers, void (*show)(videohub_conversation&, int)) {
        std::for_each(numbers.begin(), numbers.end(), [&](int number) { show(conversation, number); });
    };
    each(news.labelled_inputs, show_input_label);
    each(news.labelled_outputs, show_output_label);
    each(news.locked, show_lock);
    each(news.routed, show_routing);
    each(news.input_statuses, show_input_status);
    each(news.output_statuses, show_output_status);
    if (news.router_itself) {
        show_router_itself(conversation);
    }
}

void show_property_again(videohub_conversation& conversation, const endpoint_property& property) {
    if (!property.of_output) {
        show_input_label(conversation, property.number);
    } else if (property.name == "lock") {
        show_lock(conversation, property.number);
    } else {
        show_output_label(conversation, property.number);
    }
}
