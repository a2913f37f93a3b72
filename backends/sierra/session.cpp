#include "session.h"

#include "commands.h"
#include "session_answers.h"
#include "session_start.h"
#include "shown.h"
#include "take_commands.h"

#include <algorithm>

namespace {

void check_outstanding(session& session, std::uint64_t now) {
    if (status_ended(session.queue, now)) {
        session.queue.status_without_ok = true;
        finish_command(session, remove_outstanding(session.queue, 0), {}, now);
        return;
    }
    switch (check_expiry(session.queue, now)) {
    case expiry::none:
        return;
    case expiry::again:
        if (session.queue.outstanding->kind == command_kind::take) {
            repeat_take(session);
        } else {
            session.router.to_router += session.queue.outstanding->text;
        }
        return;
    case expiry::given_up:
        const router_command silent = remove_outstanding(session.queue, 0);
        if (silent.kind == command_kind::take) {
            give_up_take(session, silent);
        } else {
            // A lock's text holds a password, which is not for the log.
            session.router.failure =
                "no answer to " + (silent.kind == command_kind::lock ? "a lock" : silent.text);
        }
    }
}

bool status_waits(const command_queue& queue) {
    const auto is_status = [](const router_command& one) { return one.kind == command_kind::status; };
    return (queue.outstanding && is_status(*queue.outstanding)) ||
           std::any_of(queue.waiting.begin(), queue.waiting.end(), is_status);
}

void queue_what_is_due(session& session, std::uint64_t now) {
    if (session.driver.state != router_state::ready) {
        return;
    }
    if (now >= session.status_due) {
        session.status_due = now + status_period(session);
        if (!status_waits(session.queue)) {
            enqueue(session.queue, status_command(session));
        }
    }
    if (now >= session.link_test_due) {
        session.link_test_due = now + link_test_period_us;
        const bool silent = now >= session.queue.heard_at + link_test_period_us;
        if (silent && !session.queue.outstanding && session.queue.waiting.empty()) {
            enqueue(session.queue, plain_command(command_kind::link_test));
        }
    }
}

} // namespace

std::uint64_t status_period(const session& session) {
    return session.tells_changes ? status_period_us
                                 : static_cast<std::uint64_t>(session.settings.poll_ms) * 1000;
}

void session_connected(session& session, std::uint64_t us_per_byte, std::uint64_t now) {
    session.reader = {};
    session.stray_told = 0;
    session.queue = {};
    session.queue.us_per_byte = us_per_byte;
    session.queue.heard_at = now;
    session.read_again_soon = false;
    begin_reading(session);
}

void session_lost(session& session) {
    forget_router(session.driver, router_state::away);
    drop_all_takes(session, "the connection is lost");
    session.router = {};
    session.picture = {};
    session.groups = {};
    session.queue = {};
}

void hear_router(session& session, std::string_view bytes, std::uint64_t now) {
    if (bytes.empty()) {
        return;
    }
    note_heard(session.queue, now);
    for (const char byte : bytes) {
        const read_result result = read_byte(session.reader, byte);
        if (result == read_result::complete) {
            hear_string(session, now);
        } else if (result == read_result::too_long) {
            session.router.failure = "it sends what never ends";
        }
        if (!session.router.failure.empty()) {
            return;
        }
    }
    note_stray_bytes(session, now);
}

void run_due(session& session, std::uint64_t now) {
    if (session.driver.state == router_state::away || !session.router.failure.empty()) {
        return;
    }
    expire_takes(session, now);
    check_outstanding(session, now);
    queue_what_is_due(session, now);
    if (const router_command* next = start_next(session.queue, now)) {
        session.router.to_router += next->text;
    }
    report_news(session.driver);
    session.router.is_sound = session.driver.state == router_state::ready;
    session.router.awaits_answer = session.queue.outstanding.has_value();
}

std::uint64_t next_due_time(const session& session) {
    if (session.driver.state == router_state::away) {
        return never_expires;
    }
    std::uint64_t next = next_take_expiry(session);
    next = std::min(next, next_expiry(session.queue).value_or(never_expires));
    if (session.driver.state == router_state::ready) {
        next = std::min({next, session.status_due, session.link_test_due});
    }
    return next;
}

void regroup_levels(session& session) {
    session.groups = group_levels(session.picture.levels, session.settings.video_level,
                                  session.settings.audio_level, session.driver.log);
    show_router(session);
}
