// Commands to the router: one is outstanding, the others wait. An answer is matched to its command by what it
// speaks of, never by its position alone. Times are microseconds of a monotonic clock.
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
    resync // asks for the size again: every answer that comes before this one belongs to something older
};

struct command {
    command_kind kind = command_kind::link_test;
    std::string text;                         // as it is written
    std::vector<crosspoint_take> takes;       // of a take
    std::set<std::pair<int, int>> unseen;     // of status and verify: (output, level) not yet told, 1-based
    std::uint64_t wanted_since = 0;           // of a take: when its flush came
    std::uint64_t expires_us = never_expires; // of a take: the driver has said so
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
    again,    // the outstanding command is to be written a second time
    given_up, // it was, and nothing came
};

constexpr std::uint64_t answer_limit_us = 6000000;     // without a byte, for all commands but takes
constexpr std::uint64_t take_answer_limit_us = 400000; // the driver waits for one second altogether
constexpr std::uint64_t status_quiet_us = 300000; // a complete status without an OK has ended so long after
constexpr std::uint64_t incomplete_status_quiet_us = 2000000; // one that left crosspoints out, at the least
constexpr std::uint64_t longest_answer_us = 60000000; // of all but takes, with bytes coming all the time

struct command_queue {
    std::deque<command> waiting;
    std::optional<command> outstanding;
    bool repeated = false;          // the outstanding one was written twice
    bool status_begun = false;      // something of the status that is asked for has come
    bool status_without_ok = false; // learned: this router ends a status without an OK
    std::uint64_t written_at = 0;
    std::uint64_t heard_at = 0;       // when the last byte came
    std::uint64_t slowest_answer = 0; // of a command of the start: a far router is given more time
    std::uint64_t us_per_byte = 0;    // of a serial line; 0: does not matter
};

// Puts `command` behind what waits, but before a status that waits: takes are worth more.
void enqueue(command_queue& queue, command command);

// The same in front of everything that waits.
void enqueue_first(command_queue& queue, command command);

// When nothing is outstanding, makes the next command that, with its timer running, and returns it to be
// written; else null.
const command* start_next(command_queue& queue, std::uint64_t now);

// Says that a byte has come.
void note_heard(command_queue& queue, std::uint64_t now);

// Strikes what a report spoke of from what the outstanding status or verify still waits for.
void note_seen(command_queue& queue, int output, int level);

// What the parts of one string mean to the outstanding command. Anything but not_ours ends it: the caller
// then takes it out with remove_outstanding.
answer judge_answer(const command_queue& queue, const std::vector<reply>& parts);

// Removes the outstanding command. `answered_at` is the time, for the router's pace; 0 when it was no answer.
command remove_outstanding(command_queue& queue, std::uint64_t answered_at);

// True when the outstanding status or verify has ended without an OK.
bool status_ended(const command_queue& queue, std::uint64_t now);

// What has become of the outstanding command by `now`. `again` arms the timer for the second time.
expiry check_expiry(command_queue& queue, std::uint64_t now);

// When status_ended or check_expiry may have something new to say; nothing while nothing is outstanding.
std::optional<std::uint64_t> next_expiry(const command_queue& queue);
