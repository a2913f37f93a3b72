// What becomes of takes between their flush and the router's word.
#pragma once

#include "session.h"

// Puts takes, each for crosspoints the router has, into the queue, in place of those that they supersede.
// They are not written after `expires_us`.
void queue_takes(session& session, std::vector<crosspoint_take> takes, std::uint64_t expires_us,
                 std::uint64_t now);

// The router said OK to `take`: what it did not show at once is asked for.
void finish_take(session& session, const router_command& take);

// The router said ERROR, with `text`: the takes of several outputs are tried one output after another, so
// that an error stays with its own; for one output the source that it keeps is asked for.
void refuse_take(session& session, const router_command& take, const std::string& text);

// Nothing came: writes once more what is still wanted, or asks in vain no longer.
void repeat_take(session& session);
void give_up_take(session& session, const router_command& take);

// Drops takes that waited too long, and ends the waiting for confirmations whose time is over.
void expire_takes(session& session, std::uint64_t now);

// The earliest end of such a wait; the largest number when there is none.
std::uint64_t next_take_expiry(const session& session);

// Forgets all takes, and says so.
void drop_all_takes(session& session, const std::string& reason);
