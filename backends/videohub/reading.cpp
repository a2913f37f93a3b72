#include "conversation_parts.h"

#include <algorithm>

namespace {

void become_ready(videohub_conversation& conversation, std::uint64_t now) {
    const videohub_model& model = conversation.model;
    conversation.driver.state = router_state::ready;
    conversation.router.is_sound = true;
    add_rare_line(conversation.driver.log, conversation.driver.rare, "ready", "INFO",
                  (model.model_name.empty() ? "Videohub" : model.model_name) + ", " +
                      std::to_string(model.inputs.size()) + " inputs, " +
                      std::to_string(model.outputs.size()) + " outputs, protocol " +
                      (model.version.empty() ? "unknown" : model.version),
                  now);
    show_whole_router(conversation);
}

bool is_incomplete(const videohub_conversation& conversation) {
    return conversation.driver.state == router_state::reading && conversation.greeted &&
           conversation.model.presence == videohub_presence::present;
}

void ask(videohub_conversation& conversation, const char* header, std::uint64_t now) {
    sent_block question;
    question.sent = now;
    conversation.unanswered.push_back(std::move(question));
    conversation.router.to_router += videohub_block_text(header, {});
}

void ask_for_what_is_missing(videohub_conversation& conversation, std::uint64_t now) {
    conversation.asked = now;
    if (!videohub_size_known(conversation.model)) {
        ask(conversation, "VIDEOHUB DEVICE", now);
        return;
    }
    for (const char* header :
         {"INPUT LABELS", "OUTPUT LABELS", "VIDEO OUTPUT LOCKS", "VIDEO OUTPUT ROUTING"}) {
        ask(conversation, header, now);
    }
    if (conversation.model.monitors > 0) {
        ask(conversation, "MONITORING OUTPUT LABELS", now);
        ask(conversation, "VIDEO MONITORING OUTPUT ROUTING", now);
    }
    if (conversation.model.serial_ports > 0) {
        ask(conversation, "SERIAL PORT LABELS", now);
        ask(conversation, "SERIAL PORT LOCKS", now);
        ask(conversation, "SERIAL PORT ROUTING", now);
    }
}

// A router that tells changes all the time is never quiet: by this time it has told what it tells by itself.
std::uint64_t longest_prelude(const videohub_conversation& conversation) {
    return conversation.opened + 2 * conversation.periods.ask_us;
}

} // namespace

void become_ready_when_complete(videohub_conversation& conversation, bool quiet, std::uint64_t now) {
    if (conversation.driver.state == router_state::reading && conversation.greeted &&
        videohub_state_complete(conversation.model, quiet)) {
        become_ready(conversation, now);
    }
}

// A device that is attached again may not tell all by itself, and a router may have no labels, or outputs
// without a source.
void continue_reading(videohub_conversation& conversation, std::uint64_t now) {
    const std::uint64_t quiet = now - conversation.last_heard;
    const bool long_enough = now >= longest_prelude(conversation);
    become_ready_when_complete(conversation, long_enough || quiet >= conversation.periods.quiet_us, now);
    if (!is_incomplete(conversation) || (!long_enough && quiet < conversation.periods.ask_us)) {
        return;
    }
    if (conversation.asked == 0) {
        ask_for_what_is_missing(conversation, now);
    } else if (now >= conversation.asked + conversation.periods.ask_us &&
               videohub_size_known(conversation.model)) {
        become_ready(conversation, now);
    }
}

std::uint64_t next_reading_time(const videohub_conversation& conversation, std::uint64_t now) {
    std::uint64_t next = never_expires;
    for (const std::uint64_t time :
         {conversation.last_heard + conversation.periods.quiet_us,
          conversation.last_heard + conversation.periods.ask_us,
          conversation.asked + conversation.periods.ask_us, longest_prelude(conversation),
          conversation.opened + conversation.periods.silence_us}) {
        next = time > now ? std::min(next, time) : next;
    }
    return next;
}
