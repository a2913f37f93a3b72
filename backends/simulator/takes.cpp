#include "takes.h"

#include "whole_number.h"

#include <set>

namespace {

std::optional<take_level> read_level(const simulator& simulator, const TavrixAPIRouterMessage& message,
                                     reaction& reaction) {
    const auto control = message.fields.find("control");
    if (control == message.fields.end()) {
        return take_level::both;
    }
    if (!simulator.router.split_levels) {
        warn(reaction, "take of one level skipped: this router has no levels");
        return std::nullopt;
    }
    if (control->second == "video") {
        return take_level::video;
    }
    if (control->second == "audio") {
        return take_level::audio;
    }
    warn(reaction, "take of the unknown level '" + control->second + "' skipped");
    return std::nullopt;
}

std::optional<int> read_source(const simulator& simulator, const TavrixAPIRouterMessage& message,
                               reaction& reaction) {
    const std::string& text = message_field(message, "from input");
    if (text == "none") {
        return -1;
    }
    const std::optional<int> input = whole_number(text);
    if (!input) {
        warn(reaction, "take from the unreadable input '" + text + "' skipped");
        return std::nullopt;
    }
    if (!input_exists(simulator.router, *input)) {
        warn(reaction, "take skipped: there is no input " + shown_number(*input));
        return std::nullopt;
    }
    return input;
}

std::optional<int> read_output(const simulator& simulator, const TavrixAPIRouterMessage& message,
                               reaction& reaction) {
    const std::string& text = message_field(message, "to output");
    const std::optional<int> output = whole_number(text);
    if (!output) {
        warn(reaction, "take to the unreadable output '" + text + "' skipped");
        return std::nullopt;
    }
    if (!output_exists(simulator.router, *output)) {
        warn(reaction, "take skipped: there is no output " + shown_number(*output));
        return std::nullopt;
    }
    return output;
}

void collect_take(simulator& simulator, const TavrixAPIRouterMessage& message, reaction& reaction) {
    const auto level = read_level(simulator, message, reaction);
    if (!level) {
        return;
    }
    const auto input = read_source(simulator, message, reaction);
    if (!input) {
        return;
    }
    const auto output = read_output(simulator, message, reaction);
    if (output) {
        simulator.collected.push_back({*level, *input, *output});
    }
}

void execute_flush(simulator& simulator, const std::vector<crosspoint_take>& takes, reaction& reaction) {
    std::set<int> taken_outputs;
    std::size_t taken = 0;
    for (const crosspoint_take& take : takes) {
        if (simulator.settings.refused_outputs.contains(take.output)) {
            warn(reaction, "output " + shown_number(take.output) + " refuses to switch");
            continue;
        }
        reaction.router_changed |= execute_take(simulator.router, take);
        taken_outputs.insert(take.output);
        ++taken;
    }
    // An output that already showed the source is reported too: the operator waits for the confirmation.
    if (!taken_outputs.empty()) {
        reaction.reports.push_back(routing_report(simulator.router, taken_outputs));
    }
    add_log_line(reaction.log, "INFO",
                 "took " + std::to_string(taken) + (taken == 1 ? " crosspoint" : " crosspoints"));
}

void flush(simulator& simulator, std::uint64_t now, reaction& reaction) {
    const auto delay = static_cast<std::uint64_t>(simulator.settings.delay_ms) * 1000;
    simulator.flushes.emplace(now + delay, std::move(simulator.collected));
    simulator.collected.clear();
    run_due_flushes(simulator, now, reaction);
}

} // namespace

void route_output(simulator& simulator, const TavrixAPIRouterMessage& message, std::uint64_t now,
                  reaction& reaction) {
    const std::string& queue = message_field(message, "queue");
    if (queue == "add") {
        collect_take(simulator, message, reaction);
    } else if (queue == "flush") {
        flush(simulator, now, reaction);
    } else {
        warn(reaction, "route output with the unknown queue '" + queue + "' skipped");
    }
}

void run_due_flushes(simulator& simulator, std::uint64_t now, reaction& reaction) {
    while (!simulator.flushes.empty() && simulator.flushes.begin()->first <= now) {
        const auto due = simulator.flushes.extract(simulator.flushes.begin());
        execute_flush(simulator, due.mapped(), reaction);
    }
}

std::optional<std::uint64_t> next_due_time(const simulator& simulator) {
    if (simulator.flushes.empty()) {
        return std::nullopt;
    }
    return simulator.flushes.begin()->first;
}
