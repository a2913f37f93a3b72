#include "reports.h"

namespace {

using field_map = std::map<std::string, std::string>;

void add_report(videohub_conversation& conversation, const char* command, field_map&& fields) {
    if (!fields.empty()) {
        conversation.reports.push_back({command, "", "message", "", std::move(fields)});
    }
}

std::string source_text(int source) {
    return source < 0 ? "none" : std::to_string(source);
}

std::string key(char prefix, std::size_t number, const char* property) {
    return prefix + std::to_string(number) + property;
}

} // namespace

void announce_router(videohub_conversation& conversation) {
    add_report(conversation, "info",
               {{"inputs", std::to_string(conversation.model.inputs.size())},
                {"outputs", std::to_string(conversation.model.outputs.size())}});
    report_inputs(conversation);
    report_outputs(conversation);
}

void report_inputs(videohub_conversation& conversation) {
    field_map told;
    for (std::size_t number = 0; number < conversation.model.inputs.size(); ++number) {
        told[key('i', number, ".name")] = conversation.model.inputs[number].label;
    }
    add_report(conversation, "inputs", std::move(told));
}

void report_outputs(videohub_conversation& conversation) {
    field_map told;
    for (std::size_t number = 0; number < conversation.model.outputs.size(); ++number) {
        const videohub_output& output = conversation.model.outputs[number];
        const int output_number = static_cast<int>(number);
        told[key('o', number, ".name")] = output.label;
        if (!conversation.waiting.contains(output_number) &&
            !conversation.unconfirmed.contains(output_number)) {
            told[key('o', number, ".input.all")] = source_text(output.source);
        }
    }
    add_report(conversation, "outputs", std::move(told));
}

void report_input_names(videohub_conversation& conversation, const std::vector<int>& inputs) {
    field_map told;
    for (const int input : inputs) {
        const auto number = static_cast<std::size_t>(input);
        told[key('i', number, ".name")] = conversation.model.inputs.at(number).label;
    }
    add_report(conversation, "inputs", std::move(told));
}

void report_output_names(videohub_conversation& conversation, const std::vector<int>& outputs) {
    field_map told;
    for (const int output : outputs) {
        const auto number = static_cast<std::size_t>(output);
        told[key('o', number, ".name")] = conversation.model.outputs.at(number).label;
    }
    add_report(conversation, "outputs", std::move(told));
}

void report_sources(videohub_conversation& conversation, const std::set<int>& outputs) {
    field_map told;
    for (const int output : outputs) {
        const auto number = static_cast<std::size_t>(output);
        told[key('o', number, ".input.all")] = source_text(conversation.model.outputs.at(number).source);
    }
    add_report(conversation, "outputs", std::move(told));
}
