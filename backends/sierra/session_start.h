// How the conversation begins, and begins again.
#pragma once

#include "session.h"

// Forgets what was read, and queues what is to be read first.
void begin_reading(session& session);

// The same in a conversation that stands, because of `reason`; takes under way are given up.
void begin_anew(session& session, const std::string& reason, reaction& reaction);

// The size has been read: the driver hears of it, and the status is asked for.
void take_over_size(session& session, const reply& size, reaction& reaction);

// The first status has been read.
void become_ready(session& session, std::uint64_t now, reaction& reaction);
