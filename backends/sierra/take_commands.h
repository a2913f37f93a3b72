// Takes between their flush and the answer of the router.
#pragma once

#include "session.h"

// Puts takes, each for crosspoints the router has, into the queue, in place of older ones of the same
// outputs. They are not written after `expires_us`.
void queue_takes(session& session, std::vector<crosspoint_take> takes, std::uint64_t expires_us,
                 std::uint64_t now);

// The router said OK to `take`. Asks for the outputs that it did not report by itself.
void finish_take(session& session, const router_command& take);

// The router said ERROR, with `text`: the takes of several outputs are tried one output after another, so
// that an error stays with its own; for one output the source that it keeps is asked for.
void refuse_take(session& session, const router_command& take, const std::string& text);

// No answer came: the first function writes the take once more, the second gives it up.
void repeat_take(session& session);
void give_up_take(session& session, const router_command& take);

// Drops takes that have waited too long, and ends the waits for confirmations whose deadline has passed.
void expire_takes(session& session, std::uint64_t now);

// The earliest end of such a wait; the largest number when there is none.
std::uint64_t next_take_expiry(const session& session);

// Refuses the takes that wait, and gives up the one that was written; both because of `reason`.
void drop_all_takes(session& session, const std::string& reason);
