#include "conversation_parts.h"

#include <algorithm>

namespace {

bool is_ping(const sent_block& block) {
    return block.kind == sent_block::ping;
}

void end_block(videohub_conversation& conversation, const sent_block& block, bool acknowledged) {
    if (block.kind == sent_block::takes && acknowledged) {
        takes_acknowledged(conversation, block);
    } else if (block.kind == sent_block::takes) {
        takes_refused(conversation, block);
    } else if (block.kind == sent_block::properties && !acknowledged) {
        warn(conversation.driver, "the router refused the names or locks");
        for (const endpoint_property& property : block.set) {
            show_property_again(conversation, property);
        }
    }
}

// No router answers PING with NAK: that one is for what was sent after it.
void hear_answer(videohub_conversation& conversation, bool acknowledged, std::uint64_t now) {
    std::deque<sent_block>& unanswered = conversation.unanswered;
    while (!acknowledged && !unanswered.empty() && is_ping(unanswered.front())) {
        unanswered.pop_front();
    }
    if (unanswered.empty()) {
        conversation.answers_pings |=
            acknowledged; // this can only answer a PING that is not waited for any more
        return;
    }
    const sent_block block = std::move(unanswered.front());
    unanswered.pop_front();
    if (is_ping(block)) {
        for (sent_block& later : unanswered) {
            later.in_doubt = true;
        }
    }
    end_block(conversation, block, acknowledged);
    send_waiting_takes(conversation, now);
}

void greet(videohub_conversation& conversation) {
    if (!videohub_version_understood(conversation.model)) {
        conversation.router.failure =
            "it speaks version " + conversation.model.version + " of the protocol, not 2.x";
        return;
    }
    conversation.greeted = true;
}

void tell_missing_device(videohub_conversation& conversation, std::uint64_t now) {
    driver_side& driver = conversation.driver;
    conversation.router.is_sound |= conversation.greeted;
    const std::string text = conversation.model.presence == videohub_presence::absent
                                 ? "the Videohub server answers, but no device is attached to it"
                                 : "the Videohub device needs an update of its firmware";
    add_rare_line(driver.log, driver.rare, text, "WARN", text, now);
    report_link(driver, false, text);
}

void hear_device(videohub_conversation& conversation, std::uint64_t now) {
    const videohub_presence presence = conversation.model.presence;
    const bool waited = conversation.no_device;
    const bool was_ready = conversation.driver.state == router_state::ready;
    forget_router(conversation.driver, router_state::reading);
    give_up_takes(conversation, "another device is attached to the router's address");
    conversation.no_device =
        presence == videohub_presence::absent || presence == videohub_presence::needs_update;
    if (was_ready || (waited && !conversation.no_device)) {
        conversation.opened = now; // its time to tell its whole state begins
    }
    conversation.asked = 0;
    if (conversation.no_device) {
        tell_missing_device(conversation, now);
    }
}

} // namespace

void hear_block(videohub_conversation& conversation, const videohub_block& block, std::uint64_t now) {
    if (block.header == "ACK" || block.header == "NAK") {
        hear_answer(conversation, block.header == "ACK", now);
        return;
    }
    const videohub_news news = apply_videohub_block(conversation.model, block);
    if (block.header == "PROTOCOL PREAMBLE") {
        greet(conversation);
    }
    if (news.device) {
        hear_device(conversation, now);
    }
    show_news(conversation, news);
    hear_routing(conversation, news.routed);
    become_ready_when_complete(conversation, false, now);
}

void forget_unanswered(videohub_conversation& conversation, std::uint64_t now) {
    const conversation_periods& periods = conversation.periods;
    std::deque<sent_block> in_doubt;
    std::erase_if(conversation.unanswered, [&](sent_block& block) {
        const bool is_old = now >= block.sent + periods.ping_answer_us;
        if (is_ping(block)) {
            conversation.answers_pings &=
                !is_old; // otherwise the answer to a later block would count as its own
            return is_old;
        }
        if (block.in_doubt && is_old) {
            in_doubt.push_back(std::move(block));
            return true;
        }
        return block.kind == sent_block::question && now >= block.sent + periods.answer_us;
    });
    for (const sent_block& block : in_doubt) {
        end_block(conversation, block, true);
    }
}
