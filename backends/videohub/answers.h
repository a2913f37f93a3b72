// What the router's blocks mean for the session.
#pragma once

#include "session.h"

void hear_block(videohub_session& session, const videohub_block& block, std::uint64_t now);

// Announces the router when its whole state is known.
void become_ready_when_complete(videohub_session& session, bool quiet);

void become_ready(videohub_session& session);
