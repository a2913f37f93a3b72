#include "commands.h"

#include "naming.h"
#include "takes.h"

namespace {

void on_report(const simulator& simulator, const TavrixAPIRouterMessage& message, reaction& reaction) {
    const std::string& what = message_field(message, "what");
    if (what == "outputs") {
        reaction.reports.push_back(outputs_report(simulator.router));
    } else if (what == "inputs") {
        reaction.reports.push_back(inputs_report(simulator.router));
    } else {
        warn(reaction, "report of the unknown '" + what + "' skipped");
    }
}

void on_set(simulator& simulator, const TavrixAPIRouterMessage& message, reaction& reaction) {
    const std::string& name = message_field(message, "name");
    if (name.empty()) {
        warn(reaction, "setting without a name skipped");
        return;
    }
    const std::string& value = message_field(message, "value");
    add_log_line(reaction.log, "NOTE", "setting " + name + " = " + value);
    change_setting(simulator.settings, name, value, reaction.log);
}

} // namespace

void handle_message(simulator& simulator, const TavrixAPIRouterMessage& message, std::uint64_t now,
                    reaction& reaction) {
    if (message.type == "command" && message.command == "route output") {
        route_output(simulator, message, now, reaction);
    } else if (message.type == "command" && message.command == "report") {
        on_report(simulator, message, reaction);
    } else if (message.type == "command" && message.command == "router set") {
        set_properties(simulator, message, reaction);
    } else if (message.type == "message" && message.command == "set") {
        on_set(simulator, message, reaction);
    } else {
        warn(reaction, "unknown message '" + message.command + "' of type '" + message.type + "' skipped");
    }
}
