// What the driver's messages ask for.
#include "labels.h"
#include "reports.h"
#include "takes.h"

namespace {

void on_report(videohub_conversation& conversation, const TavrixAPIRouterMessage& message) {
    const auto entry = message.fields.find("what");
    const std::string what = entry == message.fields.end() ? "" : entry->second;
    if (what != "outputs" && what != "inputs") {
        warn(conversation, "report of the unknown " + quoted(what) + " skipped");
    } else if (conversation.state != conversation_state::ready) {
        return; // nothing is shown that the router has not told
    } else if (what == "outputs") {
        report_outputs(conversation);
    } else {
        report_inputs(conversation);
    }
}

} // namespace

void handle_driver_message(videohub_conversation& conversation, const TavrixAPIRouterMessage& message,
                           std::uint64_t now) {
    if (message.type == "command" && message.command == "route output") {
        route_output(conversation, message, now);
    } else if (message.type == "command" && message.command == "report") {
        on_report(conversation, message);
    } else if (message.type == "command" && message.command == "router set") {
        set_labels(conversation, message, now);
    } else {
        warn(conversation,
             "unknown message " + quoted(message.command) + " of type " + quoted(message.type) + " skipped");
    }
}
