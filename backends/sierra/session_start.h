// Starting the conversation, and starting it again.
#pragma once

#include "session.h"

// Forgets what was read, and queues what is to be read first.
void begin_reading(session& session);

// The same in the middle of a conversation, because of `reason`; takes under way are given up. A router that
// causes it again and again cannot fill the log.
void begin_anew(session& session, const std::string& reason, std::uint64_t now);

// The size has been read: the driver hears of it, and the status is asked for.
void accept_size(session& session, const reply& size);

// The first status has been read.
void become_ready(session& session, std::uint64_t now);
