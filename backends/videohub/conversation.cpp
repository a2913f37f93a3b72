#include "conversation.h"

#include "answers.h"
#include "takes.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t most_shown = 8;

void send_other(videohub_conversation& conversation, const char* header, std::uint64_t now) {
    conversation.unanswered.push_back({sent_block::other, {}, now});
    conversation.to_router += videohub_block_text(header, {});
}

// Why the router cannot be followed any more; empty when it can.
std::string time_run_out(const videohub_conversation& conversation, std::uint64_t now) {
    const conversation_periods& periods = conversation.periods;
    if (now >= conversation.last_heard + periods.silence_us) {
        return "it is silent";
    }
    if (!conversation.greeted && now >= conversation.opened + periods.answer_us) {
        return "it does not speak the Videohub protocol";
    }
    const bool may_wait = conversation.state == conversation_state::ready || conversation.no_device;
    if (!may_wait && now >= conversation.opened + periods.silence_us) {
        return "it does not tell its whole state";
    }
    for (const sent_block& block : conversation.unanswered) {
        if (block.kind != sent_block::other && now >= block.sent + periods.answer_us) {
            return "it does not answer";
        }
    }
    return "";
}

bool is_incomplete(const videohub_conversation& conversation) {
    return conversation.state == conversation_state::reading && conversation.greeted &&
           conversation.model.presence == videohub_presence::present;
}

void ask_for_what_is_missing(videohub_conversation& conversation, std::uint64_t now) {
    conversation.asked = now;
    if (!conversation.model.inputs_known || !conversation.model.outputs_known) {
        send_other(conversation, "VIDEOHUB DEVICE", now);
        return;
    }
    for (const char* header :
         {"INPUT LABELS", "OUTPUT LABELS", "VIDEO OUTPUT LOCKS", "VIDEO OUTPUT ROUTING"}) {
        send_other(conversation, header, now);
    }
}

// A router that tells changes all the time is never quiet: by this time it has told what it tells by itself.
std::uint64_t longest_prelude(const videohub_conversation& conversation) {
    return conversation.opened + 2 * conversation.periods.ask_us;
}

// A device that is attached again may not tell all by itself, and a router may have no labels.
void continue_reading(videohub_conversation& conversation, std::uint64_t now) {
    const std::uint64_t quiet = now - conversation.last_heard;
    const bool long_enough = now >= longest_prelude(conversation);
    become_ready_when_complete(conversation, long_enough || quiet >= conversation.periods.quiet_us);
    if (!is_incomplete(conversation) || (!long_enough && quiet < conversation.periods.ask_us)) {
        return;
    }
    if (conversation.asked == 0) {
        ask_for_what_is_missing(conversation, now);
    } else if (now >= conversation.asked + conversation.periods.ask_us &&
               videohub_routing_known(conversation.model)) {
        become_ready(conversation);
    }
}

void keep_alive(videohub_conversation& conversation, std::uint64_t now) {
    if (now >= conversation.next_ping) {
        conversation.next_ping = now + conversation.periods.ping_us;
        send_other(conversation, "PING", now);
    }
}

// What a router never answers must not be mistaken for the block that its next answer is for.
void forget_unanswered(videohub_conversation& conversation, std::uint64_t now) {
    std::erase_if(conversation.unanswered, [&](const sent_block& block) {
        return block.kind == sent_block::other && now >= block.sent + conversation.periods.answer_us;
    });
}

// The next moment at which continue_reading() may find something to do.
std::uint64_t next_reading_time(const videohub_conversation& conversation, std::uint64_t now) {
    std::uint64_t next = never;
    for (const std::uint64_t time :
         {conversation.last_heard + conversation.periods.quiet_us,
          conversation.last_heard + conversation.periods.ask_us,
          conversation.asked + conversation.periods.ask_us, longest_prelude(conversation),
          conversation.opened + conversation.periods.silence_us}) {
        next = time > now ? std::min(next, time) : next;
    }
    return next;
}

} // namespace

void open_conversation(videohub_conversation& conversation, std::uint64_t now) {
    conversation.state = conversation_state::reading;
    conversation.reader = {};
    conversation.model = {};
    conversation.greeted = false;
    conversation.no_device = false;
    conversation.asked = 0;
    conversation.opened = now;
    conversation.last_heard = now;
    conversation.next_ping = now + conversation.periods.ping_us;
    conversation.unanswered.clear();
    conversation.to_router.clear();
    conversation.sound = false;
    conversation.failure.clear();
}

void close_conversation(videohub_conversation& conversation) {
    if (conversation.state == conversation_state::offline) {
        return;
    }
    conversation.state = conversation_state::offline;
    give_up_takes(conversation, "the connection to the router is lost");
    conversation.unanswered.clear();
    conversation.to_router.clear();
}

void hear_router(videohub_conversation& conversation, std::string_view bytes, std::uint64_t now) {
    if (conversation.state == conversation_state::offline || bytes.empty()) {
        return;
    }
    conversation.last_heard = now;
    std::vector<videohub_block> blocks;
    const bool bounded = read_videohub_bytes(conversation.reader, bytes, blocks);
    for (const videohub_block& block : blocks) {
        if (conversation.failure.empty()) {
            hear_block(conversation, block, now);
        }
    }
    if (!bounded) {
        conversation.failure = "it sends a block of more than 1 MiB";
    }
}

void run_conversation_timers(videohub_conversation& conversation, std::uint64_t now) {
    if (conversation.state == conversation_state::offline || !conversation.failure.empty()) {
        return;
    }
    expire_takes(conversation, now);
    conversation.failure = time_run_out(conversation, now);
    if (!conversation.failure.empty()) {
        return;
    }
    forget_unanswered(conversation, now);
    send_waiting_takes(conversation, now);
    continue_reading(conversation, now);
    keep_alive(conversation, now);
}

std::uint64_t next_conversation_time(const videohub_conversation& conversation, std::uint64_t now) {
    if (conversation.state == conversation_state::offline) {
        return never;
    }
    std::uint64_t next = std::min({conversation.last_heard + conversation.periods.silence_us,
                                   conversation.next_ping, next_take_deadline(conversation)});
    if (!conversation.greeted) {
        next = std::min(next, conversation.opened + conversation.periods.answer_us);
    }
    for (const sent_block& block : conversation.unanswered) {
        next = std::min(next, block.sent + conversation.periods.answer_us);
    }
    return conversation.state == conversation_state::reading
               ? std::min(next, next_reading_time(conversation, now))
               : next;
}

void warn(videohub_conversation& conversation, const std::string& text) {
    add_log_line(conversation.log, "WARN", text);
}

std::string shown_outputs(const std::set<int>& outputs) {
    std::string text = outputs.size() == 1 ? "output " : "outputs ";
    std::size_t shown = 0;
    for (const int output : outputs) {
        if (shown == most_shown) {
            return text + " and " + std::to_string(outputs.size() - shown) + " more";
        }
        text += (shown == 0 ? "" : ", ") + std::to_string(output + 1L);
        ++shown;
    }
    return text;
}

std::string why_not_ready(const videohub_conversation& conversation) {
    if (conversation.state == conversation_state::offline) {
        return "not connected to the router";
    }
    if (conversation.model.presence == videohub_presence::absent) {
        return "no device is attached to the Videohub server";
    }
    if (conversation.model.presence == videohub_presence::needs_update) {
        return "the device needs an update of its firmware";
    }
    return "the router's state is still being read";
}
