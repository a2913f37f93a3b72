#include "takes.h"

#include "reports.h"
#include "whole_number.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace {

constexpr int no_source = -1;

const std::string& field(const TavrixAPIRouterMessage& message, const char* name) {
    static const std::string absent;
    const auto entry = message.fields.find(name);
    return entry == message.fields.end() ? absent : entry->second;
}

void collect_take(videohub_session& session, const TavrixAPIRouterMessage& message) {
    if (message.fields.contains("control")) {
        warn(session, "take of one level skipped: this router has no levels");
        return;
    }
    const std::string& source = field(message, "from input");
    const std::optional<int> input = source == "none" ? std::optional(no_source) : whole_number(source);
    const std::optional<int> output = whole_number(field(message, "to output"));
    if (!input || *input < no_source) {
        warn(session, "take from the unreadable input '" + source + "' skipped");
    } else if (!output || *output < 0) {
        warn(session, "take to the unreadable output '" + field(message, "to output") + "' skipped");
    } else if (*output >= most_videohub_ports) {
        warn(session, "take skipped: there is no output " + std::to_string(*output + 1L));
    } else {
        session.collected[*output] = *input;
    }
}

// Why this take cannot be sent; empty when it can.
std::string objection(const videohub_session& session, int output, int source) {
    const std::string shown = shown_outputs({output});
    if (source == no_source) {
        return shown + " keeps its source: this router knows no output without one";
    }
    if (source >= static_cast<int>(session.model.inputs.size())) {
        return "take to " + shown + " skipped: there is no input " + std::to_string(source + 1L);
    }
    if (session.model.outputs[static_cast<std::size_t>(output)].lock == videohub_lock::other) {
        return shown + " is locked by another client of the router";
    }
    return "";
}

void refuse_collected(videohub_session& session) {
    std::set<int> outputs;
    for (const auto& [output, source] : session.collected) {
        outputs.insert(output);
    }
    session.collected.clear();
    if (!outputs.empty()) {
        warn(session, "take to " + shown_outputs(outputs) + " refused: " + why_not_ready(session));
    }
}

void flush(videohub_session& session, std::uint64_t now) {
    if (session.state != session_state::ready) {
        refuse_collected(session);
        return;
    }
    std::set<int> kept;
    for (const auto& [output, source] : session.collected) {
        if (output >= static_cast<int>(session.model.outputs.size())) {
            warn(session, "take skipped: there is no output " + std::to_string(output + 1L));
            continue;
        }
        const std::string reason = objection(session, output, source);
        if (reason.empty()) {
            session.waiting[output] = {source, now + session.periods.confirm_us};
        } else {
            warn(session, reason);
            kept.insert(output);
        }
    }
    session.collected.clear();
    report_sources(session, kept);
    send_waiting_takes(session, now);
}

std::set<int> outputs_of(const std::map<int, open_take>& takes) {
    std::set<int> outputs;
    for (const auto& [output, take] : takes) {
        outputs.insert(output);
    }
    return outputs;
}

// Removes from `takes` those past their deadline.
std::map<int, open_take> take_expired(std::map<int, open_take>& takes, std::uint64_t now) {
    std::map<int, open_take> expired;
    for (const auto& [output, take] : takes) {
        if (take.deadline <= now) {
            expired.emplace(output, take);
        }
    }
    std::erase_if(takes, [now](const auto& entry) { return entry.second.deadline <= now; });
    return expired;
}

int source_of(const videohub_session& session, int output) {
    return session.model.outputs[static_cast<std::size_t>(output)].source;
}

// Once all of it is confirmed, nothing depends on a block's answer any more.
void release_confirmed_blocks(videohub_session& session) {
    for (sent_block& block : session.unanswered) {
        const auto is_open = [&](int output) { return session.unconfirmed.contains(output); };
        if (block.kind == sent_block::take &&
            std::none_of(block.outputs.begin(), block.outputs.end(), is_open)) {
            block.kind = sent_block::other;
        }
    }
}

} // namespace

void route_output(videohub_session& session, const TavrixAPIRouterMessage& message, std::uint64_t now) {
    const std::string& queue = field(message, "queue");
    if (queue == "add") {
        collect_take(session, message);
    } else if (queue == "flush") {
        flush(session, now);
    } else {
        warn(session, "route output with the unknown queue '" + queue + "' skipped");
    }
}

void send_waiting_takes(videohub_session& session, std::uint64_t now) {
    const auto is_take = [](const sent_block& block) { return block.kind == sent_block::take; };
    if (session.waiting.empty() ||
        std::any_of(session.unanswered.begin(), session.unanswered.end(), is_take)) {
        return;
    }
    std::map<int, std::string> entries;
    for (const auto& [output, take] : session.waiting) {
        entries[output] = std::to_string(take.source);
        // The confirmation's clock starts before anything is sent.
        session.unconfirmed[output] = {take.source, now + session.periods.confirm_us};
    }
    session.unanswered.push_back({sent_block::take, outputs_of(session.waiting), now});
    session.waiting.clear();
    session.to_router += videohub_block_text("VIDEO OUTPUT ROUTING", entries);
}

// Its own routing has the last word. Where it has already told what was asked for, it need not say so again.
void take_acknowledged(videohub_session& session, const sent_block& block) {
    std::set<int> confirmed;
    for (const int output : block.outputs) {
        const auto take = session.unconfirmed.find(output);
        if (take != session.unconfirmed.end() && source_of(session, output) == take->second.source) {
            session.unconfirmed.erase(take);
            confirmed.insert(output);
        }
    }
    report_sources(session, confirmed);
}

void take_refused(videohub_session& session, const sent_block& block) {
    std::set<int> kept;
    for (const int output : block.outputs) {
        session.unconfirmed.erase(output);
        if (static_cast<std::size_t>(output) < session.model.outputs.size() &&
            !session.waiting.contains(output)) {
            kept.insert(output);
        }
    }
    warn(session, "the router refused the take to " + shown_outputs(block.outputs));
    if (session.state == session_state::ready) {
        report_sources(session, kept);
    }
}

void hear_routing(videohub_session& session, const std::vector<int>& outputs) {
    std::set<int> settled;
    for (const int output : outputs) {
        const auto take = session.unconfirmed.find(output);
        if (take != session.unconfirmed.end() && take->second.source != source_of(session, output)) {
            take->second.contradicted = true;
            continue;
        }
        if (take != session.unconfirmed.end()) {
            session.unconfirmed.erase(take);
        }
        if (!session.waiting.contains(output)) {
            settled.insert(output);
        }
    }
    if (session.state == session_state::ready) {
        report_sources(session, settled);
    }
    release_confirmed_blocks(session);
}

void expire_takes(videohub_session& session, std::uint64_t now) {
    const auto given_up = take_expired(session.waiting, now);
    if (!given_up.empty()) {
        warn(session, "take to " + shown_outputs(outputs_of(given_up)) +
                          " given up: the router has not answered the one before");
        report_sources(session, outputs_of(given_up));
    }
    std::set<int> silent;
    std::set<int> contradicted;
    for (const auto& [output, take] : take_expired(session.unconfirmed, now)) {
        (take.contradicted ? contradicted : silent).insert(output);
    }
    if (!silent.empty()) {
        warn(session, "the router has not confirmed the take to " + shown_outputs(silent));
    }
    if (!contradicted.empty()) {
        warn(session, "the router shows another source than was taken to " + shown_outputs(contradicted));
        report_sources(session, contradicted);
    }
}

std::uint64_t next_take_deadline(const videohub_session& session) {
    std::uint64_t earliest = std::numeric_limits<std::uint64_t>::max();
    for (const auto* takes : {&session.waiting, &session.unconfirmed}) {
        for (const auto& [output, take] : *takes) {
            earliest = std::min(earliest, take.deadline);
        }
    }
    return earliest;
}

void give_up_takes(videohub_session& session, const std::string& why) {
    std::set<int> outputs = outputs_of(session.waiting);
    outputs.merge(outputs_of(session.unconfirmed));
    session.waiting.clear();
    session.unconfirmed.clear();
    if (!outputs.empty()) {
        warn(session, "take to " + shown_outputs(outputs) + " given up: " + why);
    }
}
