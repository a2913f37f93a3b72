#include "conversation_parts.h"

#include <algorithm>

namespace {

bool must_be_answered(const sent_block& block) {
    return block.kind == sent_block::takes || block.kind == sent_block::properties;
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
    const bool may_wait = conversation.driver.state == router_state::ready || conversation.no_device;
    if (!may_wait && now >= conversation.opened + periods.silence_us) {
        return "it does not tell its size";
    }
    for (const sent_block& block : conversation.unanswered) {
        if (must_be_answered(block) && now >= block.sent + periods.answer_us) {
            return "it does not answer";
        }
    }
    return "";
}

void keep_alive(videohub_conversation& conversation, std::uint64_t now) {
    if (now < conversation.next_ping) {
        return;
    }
    conversation.next_ping = now + conversation.periods.ping_us;
    conversation.router.to_router += videohub_block_text("PING", {});
    if (conversation.answers_pings) {
        sent_block ping;
        ping.kind = sent_block::ping;
        ping.sent = now;
        conversation.unanswered.push_back(std::move(ping));
    }
}

// Why takes and names cannot be sent.
std::string why_not_ready(const videohub_conversation& conversation) {
    if (conversation.driver.state == router_state::away) {
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

} // namespace

void open_conversation(videohub_conversation& conversation, std::uint64_t now) {
    forget_router(conversation.driver, router_state::reading);
    conversation.router = {};
    conversation.reader = {};
    conversation.model = {};
    conversation.model.with_monitors = conversation.with_monitors;
    conversation.model.with_serial_ports = conversation.with_serial_ports;
    conversation.greeted = false;
    conversation.no_device = false;
    conversation.answers_pings = true;
    conversation.asked = 0;
    conversation.opened = now;
    conversation.last_heard = now;
    conversation.next_ping = now + conversation.periods.ping_us;
    conversation.unanswered.clear();
}

void close_conversation(videohub_conversation& conversation) {
    if (conversation.driver.state == router_state::away) {
        return;
    }
    forget_router(conversation.driver, router_state::away);
    give_up_takes(conversation, "the connection to the router is lost");
    conversation.unanswered.clear();
    conversation.router.to_router.clear();
    conversation.router.is_sound = false;
}

void hear_router(videohub_conversation& conversation, std::string_view bytes, std::uint64_t now) {
    if (conversation.driver.state == router_state::away || bytes.empty()) {
        return;
    }
    conversation.last_heard = now;
    std::vector<videohub_block> blocks;
    const bool bounded = read_videohub_bytes(conversation.reader, bytes, blocks);
    for (const videohub_block& block : blocks) {
        if (conversation.router.failure.empty()) {
            hear_block(conversation, block, now);
            report_news(conversation.driver);
        }
    }
    if (!bounded) {
        conversation.router.failure = "it sends a block of more than 1 MiB";
    }
}

void run_conversation_timers(videohub_conversation& conversation, std::uint64_t now) {
    if (conversation.driver.state == router_state::away || !conversation.router.failure.empty()) {
        return;
    }
    expire_takes(conversation, now);
    forget_unanswered(conversation, now);
    conversation.router.failure = time_run_out(conversation, now);
    if (!conversation.router.failure.empty()) {
        return;
    }
    send_waiting_takes(conversation, now);
    continue_reading(conversation, now);
    keep_alive(conversation, now);
    report_news(conversation.driver);
    conversation.router.awaits_answer =
        !conversation.unanswered.empty() || !conversation.driver.awaited.empty();
}

std::uint64_t next_conversation_time(const videohub_conversation& conversation, std::uint64_t now) {
    if (conversation.driver.state == router_state::away) {
        return never_expires;
    }
    const conversation_periods& periods = conversation.periods;
    std::uint64_t next = std::min({conversation.last_heard + periods.silence_us, conversation.next_ping,
                                   next_take_deadline(conversation)});
    if (!conversation.greeted) {
        next = std::min(next, conversation.opened + periods.answer_us);
    }
    for (const sent_block& block : conversation.unanswered) {
        const bool is_short = block.kind == sent_block::ping || block.in_doubt;
        next = std::min(next, block.sent + (is_short ? periods.ping_answer_us : periods.answer_us));
    }
    return conversation.driver.state == router_state::reading
               ? std::min(next, next_reading_time(conversation, now))
               : next;
}

void handle_driver_message(
    videohub_conversation& conversation, const TavrixAPIRouterMessage& message, std::uint64_t now,
    const std::function<void(const std::string& name, const std::string& value)>& change_setting) {
    protocol_requests requests;
    requests.switch_takes = [&](const endpoint_takes& takes, std::uint64_t expires_us) {
        switch_takes(conversation, takes, expires_us, now);
    };
    requests.set_properties = [&](const auto& properties) { set_properties(conversation, properties, now); };
    requests.change_setting = change_setting;
    requests.why_not_ready = [&] { return why_not_ready(conversation); };
    hear_driver(conversation.driver, message, now, requests);
}
