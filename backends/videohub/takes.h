// Takes on their way: collected by the driver's messages, flushed together, sent in one block, confirmed by
// what the router says of its routing. One block at a time is under way: routers were seen to drop takes that
// follow each other fast. What must wait for the block before it is merged, and given up when the driver has.
#pragma once

#include "conversation.h"

// Handles "route output": "queue" is "add" or "flush".
void route_output(videohub_conversation& conversation, const TavrixAPIRouterMessage& message,
                  std::uint64_t now);

// Sends what waits, unless a block of takes is still unanswered.
void send_waiting_takes(videohub_conversation& conversation, std::uint64_t now);

// The router has answered the block of takes `block`.
void take_acknowledged(videohub_conversation& conversation, const sent_block& block);
void take_refused(videohub_conversation& conversation, const sent_block& block);

// The router has told the sources of `outputs`: reports them, but waits until its deadline with one that
// contradicts an open take, because the right one may follow.
void hear_routing(videohub_conversation& conversation, const std::vector<int>& outputs);

// Gives up what has passed its deadline.
void expire_takes(videohub_conversation& conversation, std::uint64_t now);

// The earliest deadline; the largest number when there is none.
std::uint64_t next_take_deadline(const videohub_conversation& conversation);

// Gives up all takes, because of `why`.
void give_up_takes(videohub_conversation& conversation, const std::string& why);
