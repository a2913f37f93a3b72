#include "driver_messages.h"

#include "reports.h"
#include "whole_number.h"

#include <algorithm>

namespace {

constexpr std::size_t most_collected = 65536; // far more than any router has crosspoints to take

void warn(reaction& reaction, const std::string& text) {
    add_log_line(reaction.log, "WARN", text);
}

const std::string& field(const TavrixAPIRouterMessage& message, const std::string& name) {
    static const std::string absent;
    const auto entry = message.fields.find(name);
    return entry == message.fields.end() ? absent : entry->second;
}

bool read_control(const TavrixAPIRouterMessage& message, take_control& control) {
    const auto entry = message.fields.find("control");
    if (entry == message.fields.end()) {
        control = take_control::both;
    } else if (entry->second == "video") {
        control = take_control::video;
    } else if (entry->second == "audio") {
        control = take_control::audio;
    } else {
        return false;
    }
    return true;
}

void collect_take(session& session, const TavrixAPIRouterMessage& message, reaction& reaction) {
    asked_take take;
    const std::string& from = field(message, "from input");
    const std::optional<int> source = whole_number(from);
    const std::optional<int> output = whole_number(field(message, "to output"));
    const bool is_none = from == "none";
    if (!output || (!is_none && (!source || *source < 0)) || !read_control(message, take.control) ||
        session.collected.size() >= most_collected) {
        warn(reaction, "take skipped: from input " + quoted(from) + " to output " +
                           quoted(field(message, "to output")) + " cannot be read");
        return;
    }
    take.output = *output;
    take.source = is_none ? -1 : *source;
    session.collected.push_back(take);
}

void refuse_takes(const session& session, reaction& reaction) {
    const std::size_t count = session.collected.size();
    warn(reaction, std::to_string(count) + (count == 1 ? " take" : " takes") + " refused: " +
                       (session.phase == session_phase::offline ? "the router is not connected"
                                                                : "the router's state is still being read"));
}

void flush_takes(session& session, std::uint64_t now, reaction& reaction) {
    std::vector<crosspoint_take> planned;
    if (session.phase != session_phase::ready && !session.collected.empty()) {
        refuse_takes(session, reaction);
        session.collected.clear();
    }
    for (const asked_take& take : session.collected) {
        const std::string fault = fault_of_take(take, session.picture, session.groups);
        if (fault.empty()) {
            plan_take(take, session.groups, planned);
        } else {
            warn(reaction, "take skipped: " + fault);
        }
    }
    session.collected.clear();
    queue_takes(session, std::move(planned), now);
}

void on_route_output(session& session, const TavrixAPIRouterMessage& message, std::uint64_t now,
                     reaction& reaction) {
    const std::string& queue = field(message, "queue");
    if (queue == "add") {
        collect_take(session, message, reaction);
    } else if (queue == "flush") {
        flush_takes(session, now, reaction);
    } else {
        warn(reaction, "route output with the unknown queue " + quoted(queue) + " skipped");
    }
}

void on_report(const session& session, const TavrixAPIRouterMessage& message, reaction& reaction) {
    const std::string& what = field(message, "what");
    if (what == "outputs") {
        report_outputs(session, reaction);
    } else if (what == "inputs") {
        report_inputs(session, reaction);
    } else {
        warn(reaction, "report of the unknown " + quoted(what) + " skipped");
    }
}

changed_part on_set(session& session, const TavrixAPIRouterMessage& message, reaction& reaction) {
    const changed_part part =
        change_setting(session.settings, field(message, "name"), field(message, "value"), reaction.log);
    if (part == changed_part::levels && size_known(session.picture)) {
        regroup_levels(session, reaction);
    } else if (part == changed_part::names) {
        report_inputs(session, reaction);
        report_outputs(session, reaction);
    }
    return part;
}

} // namespace

changed_part handle_driver_message(session& session, const TavrixAPIRouterMessage& message, std::uint64_t now,
                                   reaction& reaction) {
    if (message.type == "command" && message.command == "route output") {
        on_route_output(session, message, now, reaction);
    } else if (message.type == "command" && message.command == "report") {
        on_report(session, message, reaction);
    } else if (message.type == "command" && message.command == "router set") {
        add_log_line(reaction.log, "NOTE",
                     "router set skipped: names are settings here, \"output name 1\" and so on");
    } else if (message.type == "message" && message.command == "set") {
        return on_set(session, message, reaction);
    } else {
        warn(reaction,
             "unknown message " + quoted(message.command) + " of type " + quoted(message.type) + " skipped");
    }
    return changed_part::nothing;
}
