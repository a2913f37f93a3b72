// What the files of the conversation use of each other.
#pragma once

#include "conversation.h"

// --- answers.cpp: what the router's blocks mean

void hear_block(videohub_conversation& conversation, const videohub_block& block, std::uint64_t now);

// Answers that do not come: a PING's is not waited for any more, one in doubt counts as given.
void forget_unanswered(videohub_conversation& conversation, std::uint64_t now);

// --- reading.cpp: from the link to the whole state

// Announces the router when its whole state is known.
void become_ready_when_complete(videohub_conversation& conversation, bool quiet, std::uint64_t now);

// Asks for what is missing, and does without what the router does not tell.
void continue_reading(videohub_conversation& conversation, std::uint64_t now);

// The next moment at which continue_reading() may find something to do.
std::uint64_t next_reading_time(const videohub_conversation& conversation, std::uint64_t now);

// --- picture.cpp: what the driver is shown

void show_whole_router(videohub_conversation& conversation);
void show_news(videohub_conversation& conversation, const videohub_news& news);
void show_property_again(videohub_conversation& conversation, const endpoint_property& property);

// --- takes.cpp: one block of takes at a time is under way, since routers were seen to drop takes that follow
// each other fast. What must wait for the block before it is merged, and refused when its time is over.

void switch_takes(videohub_conversation& conversation, const endpoint_takes& takes, std::uint64_t expires_us,
                  std::uint64_t now);
void send_waiting_takes(videohub_conversation& conversation, std::uint64_t now);
void takes_acknowledged(videohub_conversation& conversation, const sent_block& block);

// A block of several is tried again one by one, so that one locked output does not cost the others.
void takes_refused(videohub_conversation& conversation, const sent_block& block);

// The router has told the sources of `outputs`.
void hear_routing(videohub_conversation& conversation, const std::vector<int>& outputs);

void expire_takes(videohub_conversation& conversation, std::uint64_t now);
std::uint64_t next_take_deadline(const videohub_conversation& conversation);
void give_up_takes(videohub_conversation& conversation, const std::string& why);

// --- properties.cpp: names and locks that clients set

void set_properties(videohub_conversation& conversation, const std::vector<endpoint_property>& properties,
                    std::uint64_t now);
