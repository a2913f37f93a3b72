// What is said between the router and us, and what it means for the driver. No input or output behind this:
// the main loop carries out what a conversation asks for. Times are monotonic microseconds, numbers are
// 0-based.
//
//   state      entered                                takes
//   offline    at the start, when the link is lost    refused
//   reading    when the link is open, and whenever    refused
//              another device is attached
//   ready      when the router's whole state is       sent; confirmed by what the router says of its routing
//              known, which announces it
#pragma once

#include "log_lines.h"
#include "message.h"
#include "videohub_model.h"

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

enum class conversation_state { offline, reading, ready };

struct conversation_periods {
    std::uint64_t ping_us = 15000000;
    std::uint64_t silence_us = 30000000;
    std::uint64_t answer_us = 10000000;
    std::uint64_t quiet_us = 300000;    // ends the state of a router that does not say where it ends
    std::uint64_t ask_us = 2000000;     // after this much quiet, what is missing is asked for
    std::uint64_t confirm_us = 1000000; // the driver waits so long for a confirmation
};

// A take that waits for its turn, or for the router's confirmation.
struct open_take {
    int source = -1;
    std::uint64_t deadline = 0;
    bool contradicted = false; // the router has told of another source meanwhile
};

// A block that the router has not answered yet. Answers come in the order of the blocks.
struct sent_block {
    enum { take, labels, other } kind = other;
    std::set<int> outputs; // of a take
    std::uint64_t sent = 0;
};

struct videohub_conversation {
    conversation_periods periods;
    conversation_state state = conversation_state::offline;
    videohub_reader reader;
    videohub_model model;
    bool greeted = false;    // the router has said that it speaks the protocol
    std::uint64_t asked = 0; // when what is missing of its state was asked for; 0: not yet
    std::uint64_t opened =
        0; // when the link was opened, a ready router became another one, or one was attached
    bool no_device = false; // the router's device is missing, or waits for an update
    std::uint64_t last_heard = 0;
    std::uint64_t next_ping = 0;
    std::deque<sent_block> unanswered;
    std::map<int, int> collected;         // source by output, until the flush
    std::map<int, open_take> waiting;     // flushed, until the block before them is answered
    std::map<int, open_take> unconfirmed; // sent

    // What is to be done; the main loop empties these.
    std::vector<TavrixAPIRouterMessage> reports; // for the driver, in this order
    std::string to_router;
    log_lines log;
    bool sound = false;  // the router speaks the protocol: the link is worth its name
    std::string failure; // not empty: the connection must be dropped
};

// The link was opened at `now`: nothing of the one before counts any more.
void open_conversation(videohub_conversation& conversation, std::uint64_t now);

// The link is lost. Takes on their way are given up.
void close_conversation(videohub_conversation& conversation);

// Takes in what the router has said.
void hear_router(videohub_conversation& conversation, std::string_view bytes, std::uint64_t now);

// Does what is due.
void run_conversation_timers(videohub_conversation& conversation, std::uint64_t now);

// When run_conversation_timers() is to be called again at the latest; the largest number: not before
// something happens.
std::uint64_t next_conversation_time(const videohub_conversation& conversation, std::uint64_t now);

// Handles one message from the driver; "set" is not among them.
void handle_driver_message(videohub_conversation& conversation, const TavrixAPIRouterMessage& message,
                           std::uint64_t now);

// --- used among the files of the conversation

void warn(videohub_conversation& conversation, const std::string& text);

// "output 3" or "outputs 3, 5, 8 and 40 more", counted from 1.
std::string shown_outputs(const std::set<int>& outputs);

// Why takes and names cannot be sent, while the conversation is not ready.
std::string why_not_ready(const videohub_conversation& conversation);
