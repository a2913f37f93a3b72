#include "session_answers.h"

#include "commands.h"
#include "locks.h"
#include "session_start.h"
#include "shown.h"
#include "take_commands.h"

#include <algorithm>

namespace {

const reply& part_of_kind(const std::vector<reply>& parts, reply_kind kind) {
    return *std::find_if(parts.begin(), parts.end(), [&](const reply& part) { return part.kind == kind; });
}

void tell_refusal(session& session, const router_command& refused, const std::string& text) {
    if (refused.kind == command_kind::delayed_reports) {
        add_log_line(session.driver.log, "WARN",
                     "the router does not tell changes, they are seen every " +
                         std::to_string(session.settings.poll_ms) + " ms: " + text);
    } else {
        add_log_line(session.driver.log, "NOTE", "the router refuses " + refused.text + ": " + text);
    }
}

void refuse_command(session& session, const router_command& refused, const std::string& text) {
    switch (refused.kind) {
    case command_kind::take:
        refuse_take(session, refused, text);
        break;
    case command_kind::verify: // an output cannot be read singly
        std::erase(session.letters, 'O');
        enqueue(session.queue, status_command(session));
        break;
    case command_kind::size:
    case command_kind::status:
        session.router.failure = "the router refuses " + refused.text + ": " + text;
        break;
    case command_kind::lock:
        finish_lock(session, refused, text);
        break;
    case command_kind::reports: // some routers know the older kind only
        enqueue_first(session.queue, plain_command(command_kind::delayed_reports));
        break;
    default: // it is of use, but not needed
        session.tells_changes &= refused.kind != command_kind::delayed_reports;
        if (!session.read_again_soon) {
            tell_refusal(session, refused, text);
        }
    }
}

void hear_answer(session& session, const std::vector<reply>& parts, std::uint64_t now) {
    const answer verdict = judge_answer(session.queue, parts);
    if (verdict == answer::not_ours) {
        return;
    }
    const bool repeated = session.queue.repeated;
    const router_command ended = remove_outstanding(session.queue, verdict == answer::done ? now : 0);
    if (verdict == answer::refused) {
        refuse_command(session, ended, part_of_kind(parts, reply_kind::error).text);
    } else {
        if (ended.kind == command_kind::status || ended.kind == command_kind::verify) {
            session.queue.status_without_ok = false;
        }
        finish_command(session, ended, parts, now);
    }
    // A command that was written twice may be answered twice.
    if (repeated && session.driver.state == router_state::ready) {
        enqueue_first(session.queue, plain_command(command_kind::resync));
    }
}

void hear_routing(session& session, const reply& part) {
    for (const seen_crosspoint& seen : apply_routing(session.picture, part)) {
        note_seen(session.queue, seen.output, seen.level);
        const std::optional<int> source =
            seen.source == source_unknown ? std::nullopt : std::optional(seen.source);
        const bool is_settled = note_shown(session.driver.awaited, seen.output - 1, seen.level, source);
        if (seen.changed || is_settled) {
            show_routing(session, seen.output);
        }
    }
}

// Garbage may have been a report or an answer: the state is read again.
void note_garbage(session& session, const std::string& what, std::uint64_t now) {
    const bool is_told = session.garbage_at != 0 && now < session.garbage_at + garbage_period_us;
    if (session.driver.state != router_state::ready) {
        return;
    }
    if (is_told) {
        session.status_due = std::min(session.status_due, session.garbage_at + garbage_period_us);
        return;
    }
    session.garbage_at = now;
    add_log_line(session.driver.log, "WARN", "the router sent what cannot be read: " + what);
    enqueue(session.queue, plain_command(command_kind::resync));
    session.status_due = now;
}

void note_unreadable_parts(session& session, const std::vector<reply>& parts, std::uint64_t now) {
    constexpr std::size_t most_shown = 40;
    for (const reply& part : parts) {
        if (part.kind == reply_kind::unreadable) {
            note_garbage(session, "'" + part.text.substr(0, most_shown) + "'", now);
        }
    }
}

} // namespace

void finish_command(session& session, const router_command& done, const std::vector<reply>& parts,
                    std::uint64_t now) {
    switch (done.kind) {
    case command_kind::letters:
        session.letters = part_of_kind(parts, reply_kind::letters).text;
        break;
    case command_kind::model:
        session.model = part_of_kind(parts, reply_kind::model).text;
        break;
    case command_kind::size:
        accept_size(session, part_of_kind(parts, reply_kind::size));
        break;
    case command_kind::resync:
        if (!same_size(session.picture, part_of_kind(parts, reply_kind::size))) {
            begin_anew(session, "the router's size has changed", now);
        }
        break;
    case command_kind::status:
        session.status_due = now + status_period(session);
        if (session.driver.state == router_state::reading) {
            become_ready(session, now);
        }
        break;
    case command_kind::take:
        finish_take(session, done);
        break;
    case command_kind::lock:
        finish_lock(session, done, "");
        break;
    case command_kind::link_test:
    case command_kind::reports:
    case command_kind::delayed_reports:
    case command_kind::verify:
        break;
    }
}

void hear_string(session& session, std::uint64_t now) {
    const std::vector<reply> parts = parse_replies(session.reader.content);
    const auto is_reset = [](const reply& part) { return part.kind == reply_kind::reset; };
    if (std::any_of(parts.begin(), parts.end(), is_reset)) {
        begin_anew(session, "the router has restarted", now);
        return;
    }
    for (const reply& part : parts) {
        hear_routing(session, part);
        if (part.kind == reply_kind::lock) {
            hear_lock(session, part);
        }
    }
    hear_answer(session, parts, now);
    note_unreadable_parts(session, parts, now);
}

void note_stray_bytes(session& session, std::uint64_t now) {
    const std::size_t count = session.reader.stray - session.stray_told;
    session.stray_told = session.reader.stray;
    if (count > 0) {
        note_garbage(session, std::to_string(count) + " bytes outside of a string", now);
    }
}
