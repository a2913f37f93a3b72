// What the sources of the conversation share.
#pragma once

#include "conversation.h"

// --- answers.cpp: what the router's blocks mean

void hear_block(videohub_conversation& conversation, const videohub_block& block, std::uint64_t now);

// Gives up answers that do not come: a PING is not waited for any more, and a block in doubt counts as
// answered.
void forget_unanswered(videohub_conversation& conversation, std::uint64_t now);

// --- reading.cpp: from the link to the whole state

// Announces the router when its whole state is known.
void become_ready_when_complete(videohub_conversation& conversation, bool quiet, std::uint64_t now);

// Asks for what is missing, and goes on without what the router does not tell.
void continue_reading(videohub_conversation& conversation, std::uint64_t now);

// The next moment at which continue_reading() may find something to do.
std::uint64_t next_reading_time(const videohub_conversation& conversation, std::uint64_t now);

// --- picture.cpp: what the driver is shown

void show_whole_router(videohub_conversation& conversation);
void show_news(videohub_conversation& conversation, const videohub_news& news);
void show_property_again(videohub_conversation& conversation, const endpoint_property& property);

// --- takes.cpp: one block of takes at a time is under way, since routers were seen to drop takes that follow
// each other fast. Takes that wait for the block before them become one block; those whose deadline passes
// are refused.

void switch_takes(videohub_conversation& conversation, const endpoint_takes& takes, std::uint64_t expires_us,
                  std::uint64_t now);
void send_waiting_takes(videohub_conversation& conversation, std::uint64_t now);
void takes_acknowledged(videohub_conversation& conversation, const sent_block& block);

// The takes of a refused block are tried again one by one, so that one locked output does not make the others
// fail.
void takes_refused(videohub_conversation& conversation, const sent_block& block);

// The router has told the sources of `outputs`.
void hear_routing(videohub_conversation& conversation, const std::vector<int>& outputs);

void expire_takes(videohub_conversation& conversation, std::uint64_t now);
std::uint64_t next_take_deadline(const videohub_conversation& conversation);
void give_up_takes(videohub_conversation& conversation, const std::string& why);

// --- properties.cpp: names and locks that clients set

void set_properties(videohub_conversation& conversation, const std::vector<endpoint_property>& properties,
                    std::uint64_t now);
