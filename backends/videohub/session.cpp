#include "session.h"

#include "answers.h"
#include "takes.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t most_shown = 8;

void send_other(videohub_session& session, const char* header, std::uint64_t now) {
    session.unanswered.push_back({sent_block::other, {}, now});
    session.to_router += videohub_block_text(header, {});
}

// Why the router cannot be followed any more; empty when it can.
std::string time_run_out(const videohub_session& session, std::uint64_t now) {
    const session_periods& periods = session.periods;
    if (now >= session.last_heard + periods.silence_us) {
        return "it is silent";
    }
    if (!session.greeted && now >= session.opened + periods.answer_us) {
        return "it does not speak the Videohub protocol";
    }
    const bool may_wait = session.state == session_state::ready ||
                          session.model.presence == videohub_presence::absent ||
                          session.model.presence == videohub_presence::needs_update;
    if (!may_wait && now >= session.opened + periods.silence_us) {
        return "it does not tell its whole state";
    }
    for (const sent_block& block : session.unanswered) {
        if (block.kind != sent_block::other && now >= block.sent + periods.answer_us) {
            return "it does not answer";
        }
    }
    return "";
}

bool is_incomplete(const videohub_session& session) {
    return session.state == session_state::reading && session.greeted &&
           session.model.presence == videohub_presence::present;
}

void ask_for_what_is_missing(videohub_session& session, std::uint64_t now) {
    session.asked = now;
    if (!session.model.inputs_known || !session.model.outputs_known) {
        send_other(session, "VIDEOHUB DEVICE", now);
        return;
    }
    for (const char* header :
         {"INPUT LABELS", "OUTPUT LABELS", "VIDEO OUTPUT LOCKS", "VIDEO OUTPUT ROUTING"}) {
        send_other(session, header, now);
    }
}

// A device that is attached again may not tell all by itself, and a router may have no labels.
void continue_reading(videohub_session& session, std::uint64_t now) {
    const std::uint64_t quiet = now - session.last_heard;
    become_ready_when_complete(session, quiet >= session.periods.quiet_us);
    if (!is_incomplete(session) || quiet < session.periods.ask_us) {
        return;
    }
    if (session.asked == 0) {
        ask_for_what_is_missing(session, now);
    } else if (now >= session.asked + session.periods.ask_us && videohub_routing_known(session.model)) {
        become_ready(session);
    }
}

void keep_alive(videohub_session& session, std::uint64_t now) {
    if (now >= session.next_ping) {
        session.next_ping = now + session.periods.ping_us;
        send_other(session, "PING", now);
    }
}

// What a router never answers must not be mistaken for the block that its next answer is for.
void forget_unanswered(videohub_session& session, std::uint64_t now) {
    std::erase_if(session.unanswered, [&](const sent_block& block) {
        return block.kind == sent_block::other && now >= block.sent + session.periods.answer_us;
    });
}

// The next moment at which continue_reading() may find something to do.
std::uint64_t next_reading_time(const videohub_session& session, std::uint64_t now) {
    std::uint64_t next = never;
    for (const std::uint64_t time :
         {session.last_heard + session.periods.quiet_us, session.last_heard + session.periods.ask_us,
          session.asked + session.periods.ask_us, session.opened + session.periods.silence_us}) {
        next = time > now ? std::min(next, time) : next;
    }
    return next;
}

} // namespace

void open_session(videohub_session& session, std::uint64_t now) {
    session.state = session_state::reading;
    session.reader = {};
    session.model = {};
    session.greeted = false;
    session.asked = 0;
    session.opened = now;
    session.last_heard = now;
    session.next_ping = now + session.periods.ping_us;
    session.unanswered.clear();
    session.to_router.clear();
    session.sound = false;
    session.failure.clear();
}

void close_session(videohub_session& session) {
    if (session.state == session_state::offline) {
        return;
    }
    session.state = session_state::offline;
    give_up_takes(session, "the connection to the router is lost");
    session.unanswered.clear();
    session.to_router.clear();
}

void hear_router(videohub_session& session, std::string_view bytes, std::uint64_t now) {
    if (session.state == session_state::offline || bytes.empty()) {
        return;
    }
    session.last_heard = now;
    std::vector<videohub_block> blocks;
    const bool bounded = read_videohub_bytes(session.reader, bytes, blocks);
    for (const videohub_block& block : blocks) {
        if (session.failure.empty()) {
            hear_block(session, block, now);
        }
    }
    if (!bounded) {
        session.failure = "it sends a block of more than 1 MiB";
    }
}

void run_session_timers(videohub_session& session, std::uint64_t now) {
    if (session.state == session_state::offline || !session.failure.empty()) {
        return;
    }
    expire_takes(session, now);
    session.failure = time_run_out(session, now);
    if (!session.failure.empty()) {
        return;
    }
    forget_unanswered(session, now);
    send_waiting_takes(session, now);
    continue_reading(session, now);
    keep_alive(session, now);
}

std::uint64_t next_session_time(const videohub_session& session, std::uint64_t now) {
    if (session.state == session_state::offline) {
        return never;
    }
    std::uint64_t next = std::min(
        {session.last_heard + session.periods.silence_us, session.next_ping, next_take_deadline(session)});
    if (!session.greeted) {
        next = std::min(next, session.opened + session.periods.answer_us);
    }
    for (const sent_block& block : session.unanswered) {
        next = std::min(next, block.sent + session.periods.answer_us);
    }
    return session.state == session_state::reading ? std::min(next, next_reading_time(session, now)) : next;
}

void warn(videohub_session& session, const std::string& text) {
    add_log_line(session.log, "WARN", text);
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

std::string why_not_ready(const videohub_session& session) {
    if (session.state == session_state::offline) {
        return "not connected to the router";
    }
    if (session.model.presence == videohub_presence::absent) {
        return "no device is attached to the Videohub server";
    }
    if (session.model.presence == videohub_presence::needs_update) {
        return "the device needs an update of its firmware";
    }
    return "the router's state is still being read";
}
