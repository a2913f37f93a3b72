// What the router's blocks mean for the conversation.
#pragma once

#include "conversation.h"

void hear_block(videohub_conversation& conversation, const videohub_block& block, std::uint64_t now);

// Announces the router when its whole state is known.
void become_ready_when_complete(videohub_conversation& conversation, bool quiet);

void become_ready(videohub_conversation& conversation);
