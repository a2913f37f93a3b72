// Commands to the router: one is outstanding, the others wait. An answer is matched to a command by its
// content, never by its position alone. Times are microseconds of a monotonic clock.
#pragma once

#include "endpoint_requests.h"
#include "sierra_requests.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

enum class command_kind {
    link_test,
    letters,
    model,
    size,
    reports, // switches reports of changes on
    status,  // of all outputs
    verify,  // status of some outputs
    take,
    lock,
    delayed_reports, // for a router that refuses the others
    resync // asks for the size again: every answer that comes before the size belongs to an older command
};

struct router_command {
    command_kind kind = command_kind::link_test;
    std::string text;                         // as it is written
    std::vector<crosspoint_take> takes;       // of a take
    std::set<std::pair<int, int>> unseen;     // of status and verify: (output, level) not yet told, 1-based
    std::uint64_t wanted_since = 0;           // of a take: when its flush came
    std::uint64_t expires_us = never_expires; // of a take: not to be written later than this
    bool salvo_begun = false;                 // of a take: a string of the same flush was written before
    int lock_output = 0;                      // of a lock, 1-based
    bool locks = false;                       // of a lock; else it frees
};

enum class answer {
    not_ours, // nothing, or the answer to something else
    done,
    refused, // the router said ERROR
};

enum class expiry {
    none,
    again,    // no answer: the outstanding command must be written a second time
    given_up, // no answer to the second one either
};

constexpr std::uint64_t answer_limit_us = 6000000;     // the longest silence, for all commands but takes
constexpr std::uint64_t take_answer_limit_us = 400000; // the driver waits for one second altogether
constexpr std::uint64_t status_quiet_us = 300000; // the silence that ends a complete status without an OK
constexpr std::uint64_t incomplete_status_quiet_us =
    2000000;                                          // the same when crosspoints are missing, at least
constexpr std::uint64_t longest_answer_us = 60000000; // even while bytes keep coming; for all but takes

struct command_queue {
    std::deque<router_command> waiting;
    std::optional<router_command> outstanding;
    bool repeated = false;          // the outstanding one was written twice
    bool status_begun = false;      // a part of the outstanding status has come
    bool status_without_ok = false; // learned: this router ends a status without an OK
    std::uint64_t written_at = 0;
    std::uint64_t heard_at = 0;       // when the last byte came
    std::uint64_t slowest_answer = 0; // of the commands at the start: a slow router is given more time
    std::uint64_t us_per_byte = 0;    // the pace of a serial line; 0: no serial line
};

// Puts `command` behind the others that wait, but before a status, because takes are more important.
void enqueue(command_queue& queue, router_command command);

// The same in front of everything that waits.
void enqueue_first(command_queue& queue, router_command command);

// When nothing is outstanding, makes the next command the outstanding one, starts its timer, and returns it:
// the caller writes it. Else null.
const router_command* start_next(command_queue& queue, std::uint64_t now);

// To be called when a byte has come.
void note_heard(command_queue& queue, std::uint64_t now);

// Notes that this crosspoint was reported: the outstanding status or verify does not wait for it any more.
void note_seen(command_queue& queue, int output, int level);

// What the parts of one string mean for the outstanding command. Anything but not_ours ends it: the caller
// then calls remove_outstanding.
answer judge_answer(const command_queue& queue, const std::vector<reply>& parts);

// Removes the outstanding command and returns it. `answered_at` is now, to measure how fast the router
// answers; 0 when there was no answer.
router_command remove_outstanding(command_queue& queue, std::uint64_t answered_at);

// True when the outstanding status or verify has ended without an OK.
bool status_ended(const command_queue& queue, std::uint64_t now);

// Whether the outstanding command has expired at `now`. After `again` the timer runs once more.
expiry check_expiry(command_queue& queue, std::uint64_t now);

// When status_ended or check_expiry must be called; nothing while nothing is outstanding.
std::optional<std::uint64_t> next_expiry(const command_queue& queue);
