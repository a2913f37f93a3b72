#include "session.h"

#include "commands.h"
#include "reports.h"
#include "session_answers.h"
#include "session_start.h"
#include "take_commands.h"

#include <algorithm>
#include <limits>

namespace {

void check_outstanding(session& session, std::uint64_t now, reaction& reaction) {
    if (status_ended(session.queue, now)) {
        session.queue.status_without_ok = true;
        finish_command(session, take_outstanding(session.queue, 0), {}, now, reaction);
        return;
    }
    switch (check_expiry(session.queue, now)) {
    case expiry::none:
        return;
    case expiry::again:
        if (session.queue.outstanding->kind == command_kind::take) {
            repeat_take(session, reaction);
        } else {
            reaction.to_router += session.queue.outstanding->text;
        }
        return;
    case expiry::given_up:
        const command silent = take_outstanding(session.queue, 0);
        if (silent.kind == command_kind::take) {
            give_up_take(session, silent, reaction);
        } else {
            reaction.failure = "no answer to " + silent.text;
        }
    }
}

bool status_waits(const command_queue& queue) {
    const auto is_status = [](const command& one) { return one.kind == command_kind::status; };
    return (queue.outstanding && is_status(*queue.outstanding)) ||
           std::any_of(queue.waiting.begin(), queue.waiting.end(), is_status);
}

void queue_what_is_due(session& session, std::uint64_t now) {
    if (session.phase != session_phase::ready) {
        return;
    }
    if (now >= session.status_due) {
        session.status_due = now + status_period_us;
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

void session_connected(session& session, std::uint64_t us_per_byte, std::uint64_t now, reaction&) {
    session.reader = {};
    session.stray_told = 0;
    session.queue = {};
    session.queue.us_per_byte = us_per_byte;
    session.queue.heard_at = now;
    begin_reading(session);
}

void session_lost(session& session, reaction& reaction) {
    drop_all_takes(session, "the connection is lost", reaction);
    session.phase = session_phase::offline;
    session.picture = {};
    session.groups = {};
    session.queue = {};
    session.changed.clear();
}

void take_router_bytes(session& session, std::string_view bytes, std::uint64_t now, reaction& reaction) {
    if (bytes.empty()) {
        return;
    }
    note_heard(session.queue, now);
    for (const char byte : bytes) {
        const read_result result = take_byte(session.reader, byte);
        if (result == read_result::complete) {
            take_string(session, now, reaction);
        } else if (result == read_result::too_long) {
            reaction.failure = "it sends what never ends";
        }
        if (!reaction.failure.empty()) {
            return;
        }
    }
    note_stray_bytes(session, now, reaction);
}

void run_due(session& session, std::uint64_t now, reaction& reaction) {
    if (session.phase == session_phase::offline || !reaction.failure.empty()) {
        return;
    }
    expire_takes(session, now, reaction);
    check_outstanding(session, now, reaction);
    queue_what_is_due(session, now);
    if (const command* next = start_next(session.queue, now)) {
        reaction.to_router += next->text;
    }
    report_changed(session, reaction);
}

std::optional<std::uint64_t> next_due_time(const session& session) {
    if (session.phase == session_phase::offline) {
        return std::nullopt;
    }
    constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t next = next_take_expiry(session).value_or(never);
    next = std::min(next, next_expiry(session.queue).value_or(never));
    if (session.phase == session_phase::ready) {
        next = std::min({next, session.status_due, session.link_test_due});
    }
    return next;
}

void regroup_levels(session& session, reaction& reaction) {
    session.groups = group_levels(session.picture.levels, session.settings.video_level,
                                  session.settings.audio_level, reaction.log);
    report_all(session, reaction);
}
