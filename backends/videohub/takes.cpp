#include "conversation_parts.h"

#include <algorithm>

namespace {

constexpr int only_level = 0;

int source_of(const videohub_conversation& conversation, int output) {
    const auto index = static_cast<std::size_t>(output);
    const auto& outputs = conversation.model.outputs;
    return index < outputs.size() && outputs[index].routed ? outputs[index].source : unknown_source;
}

std::uint64_t confirmed_until(const videohub_conversation& conversation, std::uint64_t now) {
    return now + conversation.periods.confirm_us;
}

bool is_wanted(const videohub_conversation& conversation, const waiting_take& take) {
    return is_awaited(conversation.driver.awaited, take.output, only_level, take.source);
}

// Why this take cannot be sent; empty when it can.
std::string objection(const videohub_conversation& conversation, const endpoint_take& take) {
    const videohub_bank bank = videohub_bank_of_output(conversation.model, take.output);
    const videohub_bank_ports ports = videohub_ports_of(conversation.model, bank);
    const bool is_serial = bank == videohub_bank::serial;
    if (take.source == no_source && !is_serial) {
        return "this router knows no output without a source";
    }
    if (take.source != no_source &&
        (take.source < ports.first_input || take.source >= ports.first_input + ports.inputs)) {
        return is_serial ? "a serial port takes its data from another serial port only"
                         : "a serial port is no source of a picture";
    }
    const auto& output = conversation.model.outputs[static_cast<std::size_t>(take.output)];
    return output.lock == videohub_lock::other ? "locked by another client of the router" : "";
}

videohub_bank bank_of(const videohub_conversation& conversation, const waiting_take& take) {
    return videohub_bank_of_output(conversation.model, take.output);
}

const char* routing_header(videohub_bank bank) {
    switch (bank) {
    case videohub_bank::monitoring:
        return "VIDEO MONITORING OUTPUT ROUTING";
    case videohub_bank::serial:
        return "SERIAL PORT ROUTING";
    default:
        return "VIDEO OUTPUT ROUTING";
    }
}

// The newest take of an output counts; a route that a newer one replaces is never sent.
void remove_superseded(std::deque<waiting_take>& takes, int output) {
    std::erase_if(takes, [&](const waiting_take& take) { return take.output == output; });
}

// Refuses the takes that wait in `takes`, because of `why`; the sources that their outputs have are reported
// again.
void refuse_waiting(videohub_conversation& conversation, const std::vector<waiting_take>& takes,
                    const std::string& why) {
    endpoint_takes refused;
    for (const waiting_take& take : takes) {
        refused.push_back({take.output, take.source, endpoint_level::all});
        conversation.driver.awaited.erase(take.output);
        tell_source(conversation.driver, take.output);
    }
    refuse_takes(conversation.driver, refused, why);
}

// The takes are all of one bank.
void send_block_of(videohub_conversation& conversation, std::vector<waiting_take> takes, std::uint64_t now) {
    const videohub_bank bank = bank_of(conversation, takes.front());
    const videohub_bank_ports ports = videohub_ports_of(conversation.model, bank);
    std::map<int, std::string> entries;
    for (const waiting_take& take : takes) {
        const int source = take.source == no_source ? no_source : take.source - ports.first_input;
        entries[take.output - ports.first_output] = std::to_string(source);
        // The confirmation's clock starts before anything is sent.
        await_take(conversation.driver.awaited, take.output, only_level, take.source,
                   confirmed_until(conversation, now));
    }
    sent_block block;
    block.kind = sent_block::takes;
    block.takes_in_it = std::move(takes);
    block.sent = now;
    conversation.unanswered.push_back(std::move(block));
    conversation.router.to_router += videohub_block_text(routing_header(bank), entries);
}

std::vector<waiting_take> remove_expired(std::deque<waiting_take>& takes, std::uint64_t now) {
    std::vector<waiting_take> expired;
    std::erase_if(takes, [&](const waiting_take& take) {
        const bool is_old = take.deadline <= now;
        if (is_old) {
            expired.push_back(take);
        }
        return is_old;
    });
    return expired;
}

// Once all of a block is confirmed, nothing depends on its answer any more. A take that was only waited for
// too long is not confirmed: its block still needs the answer.
void note_confirmed(videohub_conversation& conversation, int output) {
    for (sent_block& block : conversation.unanswered) {
        const auto confirmed =
            std::erase_if(block.takes_in_it, [&](const waiting_take& take) { return take.output == output; });
        if (confirmed > 0 && block.takes_in_it.empty()) {
            block.kind = sent_block::question;
        }
    }
}

} // namespace

void switch_takes(videohub_conversation& conversation, const endpoint_takes& takes, std::uint64_t expires_us,
                  std::uint64_t now) {
    const std::uint64_t deadline = std::min(expires_us, confirmed_until(conversation, now));
    for (const endpoint_take& take : takes) {
        const std::string reason = objection(conversation, take);
        if (!reason.empty()) {
            refuse_takes(conversation.driver, {take}, reason);
            tell_source(conversation.driver, take.output);
            continue;
        }
        remove_superseded(conversation.waiting, take.output);
        remove_superseded(conversation.single, take.output);
        auto& queue = conversation.one_take_per_block ? conversation.single : conversation.waiting;
        queue.push_back({take.output, take.source, deadline});
        await_take(conversation.driver.awaited, take.output, only_level, take.source, deadline);
    }
    send_waiting_takes(conversation, now);
}

void send_waiting_takes(videohub_conversation& conversation, std::uint64_t now) {
    const auto is_take = [](const sent_block& block) { return block.kind == sent_block::takes; };
    if (std::any_of(conversation.unanswered.begin(), conversation.unanswered.end(), is_take)) {
        return;
    }
    refuse_waiting(conversation, remove_expired(conversation.single, now), "came too late");
    refuse_waiting(conversation, remove_expired(conversation.waiting, now), "came too late");
    if (!conversation.single.empty()) {
        const waiting_take take = conversation.single.front();
        conversation.single.pop_front();
        send_block_of(conversation, {take}, now);
    } else if (!conversation.waiting.empty()) {
        const videohub_bank bank = bank_of(conversation, conversation.waiting.front());
        std::vector<waiting_take> takes;
        std::erase_if(conversation.waiting, [&](const waiting_take& take) {
            const bool is_of_block = bank_of(conversation, take) == bank;
            if (is_of_block) {
                takes.push_back(take);
            }
            return is_of_block;
        });
        send_block_of(conversation, std::move(takes), now);
    }
}

// The router's own routing has the last word. Where it has already told what was asked for, it need not say
// so again.
void takes_acknowledged(videohub_conversation& conversation, const sent_block& block) {
    for (const waiting_take& take : block.takes_in_it) {
        if (is_wanted(conversation, take) && source_of(conversation, take.output) == take.source) {
            conversation.driver.awaited.erase(take.output);
            tell_source(conversation.driver, take.output);
        }
    }
}

void takes_refused(videohub_conversation& conversation, const sent_block& block) {
    std::vector<waiting_take> wanted;
    std::copy_if(block.takes_in_it.begin(), block.takes_in_it.end(), std::back_inserter(wanted),
                 [&](const waiting_take& take) { return is_wanted(conversation, take); });
    if (block.takes_in_it.size() > 1) {
        conversation.single.insert(conversation.single.begin(), wanted.begin(), wanted.end());
        return;
    }
    if (!wanted.empty()) {
        refuse_waiting(conversation, wanted, "the router said NAK");
    } else if (!block.takes_in_it.empty()) {
        warn(conversation.driver, "the router said NAK to an older take to output " +
                                      std::to_string(block.takes_in_it.front().output + 1));
    }
}

void hear_routing(videohub_conversation& conversation, const std::vector<int>& outputs) {
    for (const int output : outputs) {
        if (note_shown(conversation.driver.awaited, output, only_level, source_of(conversation, output))) {
            note_confirmed(conversation, output);
        }
    }
}

void expire_takes(videohub_conversation& conversation, std::uint64_t now) {
    constexpr const char* busy = "came too late: the router has not answered the one before";
    refuse_waiting(conversation, remove_expired(conversation.waiting, now), busy);
    refuse_waiting(conversation, remove_expired(conversation.single, now), busy);
    const expired_takes expired = expire_awaited(conversation.driver.awaited, now);
    if (!expired.silent.empty()) {
        warn(conversation.driver,
             "the router has not confirmed the take to " + shown_outputs(expired.silent));
    }
    if (!expired.contradicted.empty()) {
        warn(conversation.driver,
             "the router shows another source than was taken to " + shown_outputs(expired.contradicted));
    }
}

std::uint64_t next_take_deadline(const videohub_conversation& conversation) {
    std::uint64_t next = next_awaited_deadline(conversation.driver.awaited);
    for (const auto* takes : {&conversation.waiting, &conversation.single}) {
        for (const waiting_take& take : *takes) {
            next = std::min(next, take.deadline);
        }
    }
    return next;
}

// What was sent may have been done, so it is not reported as refused, only logged.
void give_up_takes(videohub_conversation& conversation, const std::string& why) {
    std::vector<waiting_take> unsent(conversation.single.begin(), conversation.single.end());
    unsent.insert(unsent.end(), conversation.waiting.begin(), conversation.waiting.end());
    conversation.single.clear();
    conversation.waiting.clear();
    refuse_waiting(conversation, unsent, why);
    std::set<int> sent;
    for (const auto& [output, wait] : conversation.driver.awaited) {
        sent.insert(output);
    }
    conversation.driver.awaited.clear();
    if (!sent.empty()) {
        warn(conversation.driver, "take to " + shown_outputs(sent) + " given up: " + why);
    }
    for (sent_block& block : conversation.unanswered) {
        block.kind = sent_block::question; // a new device must not wait for the answer of the old one
        block.takes_in_it.clear();
    }
}
