#include "videohub_model.h"

#include <algorithm>
#include <string_view>

bool videohub_size_known(const videohub_model& model) {
    return model.presence == videohub_presence::present && model.inputs_known && model.outputs_known;
}

bool videohub_state_complete(const videohub_model& model, bool quiet) {
    if (!videohub_size_known(model)) {
        return false;
    }
    const auto labelled = [](const auto& port) { return port.labelled; };
    const auto whole = [](const auto& output) { return output.labelled && output.routed; };
    return model.prelude_ended || (quiet && std::all_of(model.inputs.begin(), model.inputs.end(), labelled) &&
                                   std::all_of(model.outputs.begin(), model.outputs.end(), whole));
}

videohub_bank_ports videohub_ports_of(const videohub_model& model, videohub_bank bank) {
    const int first_serial_input = static_cast<int>(model.inputs.size()) - model.serial_ports;
    const int first_serial_output = static_cast<int>(model.outputs.size()) - model.serial_ports;
    const int first_monitor = first_serial_output - model.monitors;
    switch (bank) {
    case videohub_bank::monitoring:
        return {first_monitor, model.monitors, 0, first_serial_input};
    case videohub_bank::serial:
        return {first_serial_output, model.serial_ports, first_serial_input, model.serial_ports};
    default:
        return {0, first_monitor, 0, first_serial_input};
    }
}

videohub_bank videohub_bank_of_output(const videohub_model& model, int output) {
    if (output >= videohub_ports_of(model, videohub_bank::serial).first_output) {
        return videohub_bank::serial;
    }
    return output >= videohub_ports_of(model, videohub_bank::monitoring).first_output
               ? videohub_bank::monitoring
               : videohub_bank::video;
}

videohub_bank videohub_bank_of_input(const videohub_model& model, int input) {
    return input >= videohub_ports_of(model, videohub_bank::serial).first_input ? videohub_bank::serial
                                                                                : videohub_bank::video;
}

bool videohub_version_understood(const videohub_model& model) {
    const std::string_view version = model.version;
    return version.empty() || version.substr(0, version.find('.')) == "2";
}
