#include "take_commands.h"

#include "commands.h"
#include "shown.h"

#include <algorithm>

namespace {

router_command command_of(std::vector<crosspoint_take> takes, std::uint64_t wanted_since,
                          std::uint64_t expires_us) {
    router_command result = plain_command(command_kind::take);
    result.takes = std::move(takes);
    result.text = take_request(result.takes);
    result.wanted_since = wanted_since;
    result.expires_us = expires_us;
    return result;
}

std::vector<int> outputs_of(const std::vector<crosspoint_take>& takes) {
    std::set<int> outputs;
    for (const crosspoint_take& take : takes) {
        outputs.insert(take.output);
    }
    return {outputs.begin(), outputs.end()};
}

std::string shown(const std::vector<crosspoint_take>& takes) {
    std::set<int> outputs;
    for (const crosspoint_take& take : takes) {
        outputs.insert(take.output - 1);
    }
    return shown_outputs(outputs);
}

void refuse(session& session, const std::vector<crosspoint_take>& takes, const std::string& why) {
    refuse_takes(session.driver, asked_takes(takes, session.groups), why);
}

bool switches_same(const crosspoint_take& earlier, const std::vector<crosspoint_take>& later) {
    return std::any_of(later.begin(), later.end(),
                       [&](const auto& take) { return touches(take, earlier.output, earlier.level); });
}

// A route that a newer one replaces is never sent.
void remove_superseded(command_queue& queue, const std::vector<crosspoint_take>& takes) {
    for (router_command& waiting : queue.waiting) {
        const auto superseded = [&](const auto& earlier) { return switches_same(earlier, takes); };
        const auto end = std::remove_if(waiting.takes.begin(), waiting.takes.end(), superseded);
        waiting.takes.erase(end, waiting.takes.end());
        if (waiting.kind == command_kind::take) {
            waiting.text = take_request(waiting.takes);
        }
    }
    const auto empty = [](const router_command& waiting) {
        return waiting.kind == command_kind::take && waiting.takes.empty();
    };
    queue.waiting.erase(std::remove_if(queue.waiting.begin(), queue.waiting.end(), empty),
                        queue.waiting.end());
}

// Where the string that begins at `begin` ends: the takes of one output stay together.
std::size_t string_end(const std::vector<crosspoint_take>& takes, std::size_t begin) {
    std::size_t end = std::min(begin + most_takes_in_string, takes.size());
    while (end < takes.size() && takes[end].output == takes[end - 1].output) {
        ++end;
    }
    return end;
}

void stop_waiting(session& session, const std::vector<crosspoint_take>& takes) {
    // An output whose newer take wants another source is still awaited.
    for (const int output : outputs_of(not_shown(session.driver.awaited, takes))) {
        session.driver.awaited.erase(output - 1);
    }
}

std::uint64_t dropped_at(const session& session, const router_command& take) {
    const bool needs_time = take.salvo_begun && session.queue.us_per_byte != 0;
    const std::uint64_t oldest = take.wanted_since + (needs_time ? oldest_line_take_us : oldest_take_us);
    return take.expires_us == never_expires ? oldest : take.expires_us;
}

// Those that are to be dropped by `now`.
std::vector<crosspoint_take> remove_waiting(session& session, std::uint64_t now) {
    std::vector<crosspoint_take> takes;
    const auto is_old = [&](const router_command& waiting) {
        const bool old = waiting.kind == command_kind::take && dropped_at(session, waiting) <= now;
        if (old) {
            takes.insert(takes.end(), waiting.takes.begin(), waiting.takes.end());
        }
        return old;
    };
    auto& waiting = session.queue.waiting;
    waiting.erase(std::remove_if(waiting.begin(), waiting.end(), is_old), waiting.end());
    return takes;
}

} // namespace

void queue_takes(session& session, std::vector<crosspoint_take> takes, std::uint64_t expires_us,
                 std::uint64_t now) {
    remove_superseded(session.queue, takes);
    const int levels = static_cast<int>(session.picture.levels.size());
    await_takes(session.driver.awaited, takes, levels, now + confirmation_us);
    const auto by_output = [](const auto& one, const auto& other) { return one.output < other.output; };
    std::stable_sort(takes.begin(), takes.end(), by_output);
    for (std::size_t begin = 0; begin < takes.size();) {
        const std::size_t end = string_end(takes, begin);
        const auto first = takes.begin() + static_cast<std::ptrdiff_t>(begin);
        enqueue(session.queue,
                command_of({first, takes.begin() + static_cast<std::ptrdiff_t>(end)}, now, expires_us));
        begin = end;
    }
}

void finish_take(session& session, const router_command& take) {
    const std::vector<int> outputs = outputs_of(not_shown(session.driver.awaited, take.takes));
    if (!outputs.empty()) {
        enqueue_first(session.queue, verify_command(session, outputs));
    }
}

void refuse_take(session& session, const router_command& take, const std::string& text) {
    const std::vector<int> outputs = outputs_of(take.takes);
    const std::vector<crosspoint_take> left = not_shown(session.driver.awaited, take.takes);
    if (outputs.size() == 1 || left.empty()) {
        refuse(session, take.takes, text);
        for (const int output : outputs_of(left)) {
            session.driver.awaited[output - 1].refused = true;
        }
        enqueue_first(session.queue, verify_command(session, outputs));
        return;
    }
    std::vector<int> single_outputs = outputs_of(left);
    std::reverse(single_outputs.begin(), single_outputs.end()); // each is put in front
    for (const int output : single_outputs) {
        std::vector<crosspoint_take> single;
        std::copy_if(left.begin(), left.end(), std::back_inserter(single),
                     [&](const auto& entry) { return entry.output == output; });
        router_command next = command_of(std::move(single), take.wanted_since, take.expires_us);
        next.salvo_begun = true;
        enqueue_first(session.queue, std::move(next));
    }
}

void repeat_take(session& session) {
    router_command& take = *session.queue.outstanding;
    take.takes = not_shown(session.driver.awaited, take.takes);
    if (take.takes.empty()) {
        remove_outstanding(session.queue, 0);
        enqueue_first(session.queue, plain_command(command_kind::resync));
        return;
    }
    take.text = take_request(take.takes);
    session.router.to_router += take.text;
}

void give_up_take(session& session, const router_command& take) {
    const std::vector<int> outputs = outputs_of(take.takes);
    warn(session.driver, "the router does not answer to the take to " + shown(take.takes));
    stop_waiting(session, take.takes);
    enqueue_first(session.queue, verify_command(session, outputs));
    enqueue_first(session.queue, plain_command(command_kind::resync));
}

void expire_takes(session& session, std::uint64_t now) {
    const auto dropped = remove_waiting(session, now);
    stop_waiting(session, dropped);
    refuse(session, dropped, "came too late: the router was busy");
    for (const int output : outputs_of(dropped)) {
        show_routing(session, output);
    }
    const expired_takes expired = expire_awaited(session.driver.awaited, now);
    if (!expired.contradicted.empty()) {
        warn(session.driver,
             "the router shows another source than was taken to " + shown_outputs(expired.contradicted));
    }
}

std::uint64_t next_take_expiry(const session& session) {
    std::uint64_t next = next_awaited_deadline(session.driver.awaited);
    for (const router_command& waiting : session.queue.waiting) {
        if (waiting.kind == command_kind::take) {
            next = std::min(next, dropped_at(session, waiting));
        }
    }
    return next;
}

// What was sent may have been done, so it is not reported as refused, only logged.
void drop_all_takes(session& session, const std::string& reason) {
    const auto unsent = remove_waiting(session, never_expires);
    refuse(session, unsent, reason);
    if (session.queue.outstanding && !session.queue.outstanding->takes.empty()) {
        warn(session.driver, "take to " + shown(session.queue.outstanding->takes) + " given up: " + reason);
    }
    session.driver.awaited.clear();
}
