#include "command_queue.h"

#include <algorithm>

namespace {

bool is_routing(const reply& part) {
    return part.kind == reply_kind::crosspoint || part.kind == reply_kind::all_levels ||
           part.kind == reply_kind::per_level;
}

bool is_status(command_kind kind) {
    return kind == command_kind::status || kind == command_kind::verify;
}

bool has_kind(const std::vector<reply>& parts, reply_kind kind) {
    return std::any_of(parts.begin(), parts.end(), [&](const reply& part) { return part.kind == kind; });
}

bool has_routing(const std::vector<reply>& parts) {
    return std::any_of(parts.begin(), parts.end(), is_routing);
}

bool is_nothing_but_ok(const std::vector<reply>& parts) {
    return parts.size() == 1 && parts.front().kind == reply_kind::ok;
}

// OK, perhaps behind the command itself.
bool is_ok_with_echo(const std::vector<reply>& parts) {
    const auto is_either = [](const reply& part) {
        return part.kind == reply_kind::ok || part.kind == reply_kind::other || part.kind == reply_kind::lock;
    };
    return has_kind(parts, reply_kind::ok) && std::all_of(parts.begin(), parts.end(), is_either);
}

bool speaks_of(const std::vector<reply>& parts, const std::vector<crosspoint_take>& takes) {
    const auto belongs_to_take = [&](const reply& part) {
        const auto same_output = [&](const crosspoint_take& take) { return take.output == part.output; };
        return is_routing(part) && std::any_of(takes.begin(), takes.end(), same_output);
    };
    return std::any_of(parts.begin(), parts.end(), belongs_to_take);
}

bool answers_in_words(const command_queue& queue, const std::vector<reply>& parts) {
    switch (queue.outstanding->kind) {
    case command_kind::link_test:
        return is_nothing_but_ok(parts);
    case command_kind::reports:
    case command_kind::delayed_reports:
    case command_kind::lock:
        return is_ok_with_echo(parts);
    case command_kind::letters:
        return has_kind(parts, reply_kind::letters);
    case command_kind::model:
        return has_kind(parts, reply_kind::model);
    case command_kind::size:
    case command_kind::resync:
        return has_kind(parts, reply_kind::size);
    case command_kind::status:
    case command_kind::verify:
        return has_kind(parts, reply_kind::ok) && (has_routing(parts) || queue.status_begun);
    case command_kind::take:
        return is_nothing_but_ok(parts) ||
               (has_kind(parts, reply_kind::ok) && speaks_of(parts, queue.outstanding->takes));
    }
    return false;
}

bool is_take(const command_queue& queue) {
    return queue.outstanding->kind == command_kind::take;
}

std::uint64_t line_time_of(const command_queue& queue) {
    return queue.outstanding->text.size() * queue.us_per_byte;
}

std::uint64_t patience_for(const command_queue& queue) {
    const std::uint64_t pace = std::min(2 * queue.slowest_answer, answer_limit_us);
    return is_take(queue) ? std::max(take_answer_limit_us, pace) : answer_limit_us;
}

// Reports of other controllers' takes are no answer, and do not delay the repetition of a lost take, which
// must come while the driver still waits. The answer needs about as long on the line as the take itself.
std::uint64_t longest_answer(const command_queue& queue) {
    return is_take(queue) ? 3 * patience_for(queue) / 2 + 2 * line_time_of(queue) : longest_answer_us;
}

std::uint64_t silent_since(const command_queue& queue) {
    return std::max(queue.written_at, queue.heard_at);
}

std::uint64_t expires_at(const command_queue& queue) {
    return std::min(silent_since(queue) + patience_for(queue) + line_time_of(queue),
                    queue.written_at + longest_answer(queue));
}

bool complete_without_ok(const command_queue& queue) {
    return queue.status_without_ok && queue.outstanding->unseen.empty();
}

// In a status that has begun and is not complete, the missing crosspoints may not exist, or may still come.
std::uint64_t status_ends_at(const command_queue& queue) {
    if (complete_without_ok(queue)) {
        return 0;
    }
    const bool complete = queue.outstanding->unseen.empty();
    const std::uint64_t pause = std::max(incomplete_status_quiet_us, 2 * queue.slowest_answer);
    return silent_since(queue) + (complete ? status_quiet_us : pause);
}

void mark_salvo_begun(command_queue& queue) {
    for (router_command& waiting : queue.waiting) {
        waiting.salvo_begun |= waiting.wanted_since == queue.outstanding->wanted_since;
    }
}

} // namespace

void enqueue(command_queue& queue, router_command command) {
    const auto is_last = [](const auto& waiting) { return waiting.kind == command_kind::status; };
    const auto place = std::find_if(queue.waiting.begin(), queue.waiting.end(), is_last);
    queue.waiting.insert(place, std::move(command));
}

void enqueue_first(command_queue& queue, router_command command) {
    queue.waiting.push_front(std::move(command));
}

const router_command* start_next(command_queue& queue, std::uint64_t now) {
    if (queue.outstanding || queue.waiting.empty()) {
        return nullptr;
    }
    queue.outstanding = std::move(queue.waiting.front());
    queue.waiting.pop_front();
    queue.repeated = false;
    queue.status_begun = false;
    queue.written_at = now;
    if (is_take(queue)) {
        mark_salvo_begun(queue);
    }
    return &*queue.outstanding;
}

void note_heard(command_queue& queue, std::uint64_t now) {
    queue.heard_at = now;
}

void note_seen(command_queue& queue, int output, int level) {
    if (queue.outstanding && is_status(queue.outstanding->kind)) {
        queue.status_begun = true;
        queue.outstanding->unseen.erase({output, level});
    }
}

answer judge_answer(const command_queue& queue, const std::vector<reply>& parts) {
    if (!queue.outstanding) {
        return answer::not_ours;
    }
    if (answers_in_words(queue, parts)) {
        return answer::done;
    }
    const bool is_resync = queue.outstanding->kind == command_kind::resync;
    const bool foreign = has_routing(parts) && !speaks_of(parts, queue.outstanding->takes);
    return has_kind(parts, reply_kind::error) && !is_resync && !foreign ? answer::refused : answer::not_ours;
}

router_command remove_outstanding(command_queue& queue, std::uint64_t answered_at) {
    router_command removed = std::move(*queue.outstanding);
    queue.outstanding.reset();
    const bool is_quick = !is_status(removed.kind) && removed.kind != command_kind::take;
    if (answered_at != 0 && is_quick && !queue.repeated) {
        queue.slowest_answer = std::max(queue.slowest_answer, answered_at - queue.written_at);
    }
    return removed;
}

bool status_ended(const command_queue& queue, std::uint64_t now) {
    if (!queue.outstanding || !is_status(queue.outstanding->kind) || !queue.status_begun) {
        return false;
    }
    return now >= status_ends_at(queue);
}

expiry check_expiry(command_queue& queue, std::uint64_t now) {
    if (!queue.outstanding || now < expires_at(queue)) {
        return expiry::none;
    }
    if (queue.repeated || queue.outstanding->kind == command_kind::resync) {
        return expiry::given_up;
    }
    queue.repeated = true;
    queue.written_at = now;
    return expiry::again;
}

std::optional<std::uint64_t> next_expiry(const command_queue& queue) {
    if (!queue.outstanding) {
        return std::nullopt;
    }
    if (is_status(queue.outstanding->kind) && queue.status_begun) {
        return status_ends_at(queue);
    }
    return expires_at(queue);
}
