// What the driver's messages ask for.
#include "labels.h"
#include "reports.h"
#include "takes.h"

namespace {

void on_report(videohub_session& session, const TavrixAPIRouterMessage& message) {
    const auto entry = message.fields.find("what");
    const std::string what = entry == message.fields.end() ? "" : entry->second;
    if (what != "outputs" && what != "inputs") {
        warn(session, "report of the unknown '" + what + "' skipped");
    } else if (session.state != session_state::ready) {
        return; // nothing is shown that the router has not told
    } else if (what == "outputs") {
        report_outputs(session);
    } else {
        report_inputs(session);
    }
}

} // namespace

void handle_driver_message(videohub_session& session, const TavrixAPIRouterMessage& message,
                           std::uint64_t now) {
    if (message.type == "command" && message.command == "route output") {
        route_output(session, message, now);
    } else if (message.type == "command" && message.command == "report") {
        on_report(session, message);
    } else if (message.type == "command" && message.command == "router set") {
        set_labels(session, message, now);
    } else {
        warn(session, "unknown message '" + message.command + "' of type '" + message.type + "' skipped");
    }
}
