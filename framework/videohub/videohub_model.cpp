#include "videohub_model.h"

#include <algorithm>
#include <string_view>

bool videohub_routing_known(const videohub_model& model) {
    return model.presence == videohub_presence::present && model.inputs_known && model.outputs_known &&
           std::all_of(model.outputs.begin(), model.outputs.end(),
                       [](const videohub_output& output) { return output.routed; });
}

bool videohub_state_complete(const videohub_model& model, bool quiet) {
    const auto labelled = [](const auto& port) { return port.labelled; };
    if (!videohub_routing_known(model)) {
        return false;
    }
    return model.prelude_ended || (quiet && std::all_of(model.inputs.begin(), model.inputs.end(), labelled) &&
                                   std::all_of(model.outputs.begin(), model.outputs.end(), labelled));
}

bool videohub_version_understood(const videohub_model& model) {
    const std::string_view version = model.version;
    return version.empty() || version.substr(0, version.find('.')) == "2";
}
