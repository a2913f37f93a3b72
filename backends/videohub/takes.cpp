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

void collect_take(videohub_conversation& conversation, const TavrixAPIRouterMessage& message) {
    if (message.fields.contains("control")) {
        warn(conversation, "take of one level skipped: this router has no levels");
        return;
    }
    const std::string& source = field(message, "from input");
    const std::optional<int> input = source == "none" ? std::optional(no_source) : whole_number(source);
    const std::optional<int> output = whole_number(field(message, "to output"));
    if (!input || *input < no_source) {
        warn(conversation, "take from the unreadable input " + quoted(source) + " skipped");
    } else if (!output || *output < 0) {
        warn(conversation,
             "take to the unreadable output " + quoted(field(message, "to output")) + " skipped");
    } else if (*output >= most_videohub_ports) {
        warn(conversation, "take skipped: there is no output " + std::to_string(*output + 1L));
    } else {
        conversation.collected[*output] = *input;
    }
}

// Why this take cannot be sent; empty when it can.
std::string objection(const videohub_conversation& conversation, int output, int source) {
    const std::string shown = shown_outputs({output});
    if (source == no_source) {
        return shown + " keeps its source: this router knows no output without one";
    }
    if (source >= static_cast<int>(conversation.model.inputs.size())) {
        return "take to " + shown + " skipped: there is no input " + std::to_string(source + 1L);
    }
    if (conversation.model.outputs[static_cast<std::size_t>(output)].lock == videohub_lock::other) {
        return shown + " is locked by another client of the router";
    }
    return "";
}

void refuse_collected(videohub_conversation& conversation) {
    std::set<int> outputs;
    for (const auto& [output, source] : conversation.collected) {
        outputs.insert(output);
    }
    conversation.collected.clear();
    if (!outputs.empty()) {
        warn(conversation, "take to " + shown_outputs(outputs) + " refused: " + why_not_ready(conversation));
    }
}

void flush(videohub_conversation& conversation, std::uint64_t now) {
    if (conversation.state != conversation_state::ready) {
        refuse_collected(conversation);
        return;
    }
    std::set<int> kept;
    for (const auto& [output, source] : conversation.collected) {
        if (output >= static_cast<int>(conversation.model.outputs.size())) {
            warn(conversation, "take skipped: there is no output " + std::to_string(output + 1L));
            continue;
        }
        const std::string reason = objection(conversation, output, source);
        if (reason.empty()) {
            conversation.waiting[output] = {source, now + conversation.periods.confirm_us};
        } else {
            warn(conversation, reason);
            kept.insert(output);
        }
    }
    conversation.collected.clear();
    report_sources(conversation, kept);
    send_waiting_takes(conversation, now);
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

int source_of(const videohub_conversation& conversation, int output) {
    return conversation.model.outputs[static_cast<std::size_t>(output)].source;
}

bool is_take(const sent_block& block) {
    return block.kind == sent_block::take;
}

// The block that took `output` last has been confirmed there. Once all of it is, nothing depends on its
// answer any more. A take that was only waited for too long is not confirmed: its block still needs the
// answer.
void note_confirmed(videohub_conversation& conversation, int output) {
    for (sent_block& block : conversation.unanswered) {
        if (is_take(block) && block.outputs.erase(output) > 0 && block.outputs.empty()) {
            block.kind = sent_block::other;
        }
    }
}

} // namespace

void route_output(videohub_conversation& conversation, const TavrixAPIRouterMessage& message,
                  std::uint64_t now) {
    const std::string& queue = field(message, "queue");
    if (queue == "add") {
        collect_take(conversation, message);
    } else if (queue == "flush") {
        flush(conversation, now);
    } else {
        warn(conversation, "route output with the unknown queue " + quoted(queue) + " skipped");
    }
}

void send_waiting_takes(videohub_conversation& conversation, std::uint64_t now) {
    if (conversation.waiting.empty() ||
        std::any_of(conversation.unanswered.begin(), conversation.unanswered.end(), is_take)) {
        return;
    }
    std::map<int, std::string> entries;
    for (const auto& [output, take] : conversation.waiting) {
        entries[output] = std::to_string(take.source);
        // The confirmation's clock starts before anything is sent.
        conversation.unconfirmed[output] = {take.source, now + conversation.periods.confirm_us};
    }
    conversation.unanswered.push_back({sent_block::take, outputs_of(conversation.waiting), now});
    conversation.waiting.clear();
    conversation.to_router += videohub_block_text("VIDEO OUTPUT ROUTING", entries);
}

// Its own routing has the last word. Where it has already told what was asked for, it need not say so again.
void take_acknowledged(videohub_conversation& conversation, const sent_block& block) {
    std::set<int> confirmed;
    for (const int output : block.outputs) {
        const auto take = conversation.unconfirmed.find(output);
        if (take != conversation.unconfirmed.end() &&
            source_of(conversation, output) == take->second.source) {
            conversation.unconfirmed.erase(take);
            confirmed.insert(output);
        }
    }
    report_sources(conversation, confirmed);
}

void take_refused(videohub_conversation& conversation, const sent_block& block) {
    std::set<int> kept;
    for (const int output : block.outputs) {
        conversation.unconfirmed.erase(output);
        if (static_cast<std::size_t>(output) < conversation.model.outputs.size() &&
            !conversation.waiting.contains(output)) {
            kept.insert(output);
        }
    }
    warn(conversation, "the router refused the take to " + shown_outputs(block.outputs));
    if (conversation.state == conversation_state::ready) {
        report_sources(conversation, kept);
    }
}

void hear_routing(videohub_conversation& conversation, const std::vector<int>& outputs) {
    std::set<int> settled;
    for (const int output : outputs) {
        const auto take = conversation.unconfirmed.find(output);
        if (take != conversation.unconfirmed.end() &&
            take->second.source != source_of(conversation, output)) {
            take->second.contradicted = true;
            continue;
        }
        if (take != conversation.unconfirmed.end()) {
            conversation.unconfirmed.erase(take);
            note_confirmed(conversation, output);
        }
        if (!conversation.waiting.contains(output)) {
            settled.insert(output);
        }
    }
    if (conversation.state == conversation_state::ready) {
        report_sources(conversation, settled);
    }
}

void expire_takes(videohub_conversation& conversation, std::uint64_t now) {
    const auto given_up = take_expired(conversation.waiting, now);
    if (!given_up.empty()) {
        warn(conversation, "take to " + shown_outputs(outputs_of(given_up)) +
                               " given up: the router has not answered the one before");
        report_sources(conversation, outputs_of(given_up));
    }
    std::set<int> silent;
    std::set<int> contradicted;
    for (const auto& [output, take] : take_expired(conversation.unconfirmed, now)) {
        (take.contradicted ? contradicted : silent).insert(output);
    }
    if (!silent.empty()) {
        warn(conversation, "the router has not confirmed the take to " + shown_outputs(silent));
    }
    if (!contradicted.empty()) {
        warn(conversation,
             "the router shows another source than was taken to " + shown_outputs(contradicted));
        report_sources(conversation, contradicted);
    }
}

std::uint64_t next_take_deadline(const videohub_conversation& conversation) {
    std::uint64_t earliest = std::numeric_limits<std::uint64_t>::max();
    for (const auto* takes : {&conversation.waiting, &conversation.unconfirmed}) {
        for (const auto& [output, take] : *takes) {
            earliest = std::min(earliest, take.deadline);
        }
    }
    return earliest;
}

void give_up_takes(videohub_conversation& conversation, const std::string& why) {
    std::set<int> outputs = outputs_of(conversation.waiting);
    outputs.merge(outputs_of(conversation.unconfirmed));
    conversation.waiting.clear();
    conversation.unconfirmed.clear();
    for (sent_block& block : conversation.unanswered) {
        if (is_take(block)) {
            block.kind = sent_block::other; // a new device is not to wait for the old one's answer
        }
    }
    if (!outputs.empty()) {
        warn(conversation, "take to " + shown_outputs(outputs) + " given up: " + why);
    }
}
