// The conversation with the router, and what it means for the driver. Nothing here reads or writes
// descriptors: `router` says what the main loop is to do. Times are monotonic microseconds, numbers are
// 0-based. The states are those of driver_side.h: away while the link is not open; reading until the router's
// whole state is known, also after another device was attached; then ready.
#pragma once

#include "driver_side.h"
#include "router_program.h"
#include "videohub_model.h"

#include <deque>

struct conversation_periods {
    std::uint64_t ping_us = 15000000;
    std::uint64_t silence_us = 30000000;
    std::uint64_t answer_us = 10000000;
    std::uint64_t ping_answer_us = 2000000; // the longest wait for the answer to a PING
    std::uint64_t quiet_us = 300000; // the silence that ends the state of a router that does not mark its end
    std::uint64_t ask_us = 2000000;  // after so much silence, what is missing is asked for
    std::uint64_t confirm_us = 1000000; // how long the driver waits for a confirmation
};

// A take that waits for its turn.
struct waiting_take {
    int output = 0;
    int source = no_source;
    std::uint64_t deadline = 0; // not to be sent after this
};

// A block that the router has not answered yet. Answers come in the order of the blocks, but a PING may stay
// without one.
struct sent_block {
    enum { takes, properties, question, ping } kind = question;
    std::vector<waiting_take> takes_in_it; // those that nothing has confirmed yet
    std::vector<endpoint_property> set;    // of properties
    std::uint64_t sent = 0;
    bool in_doubt = false; // an answer came that was either for this block or for a PING before it
};

struct videohub_conversation {
    driver_side driver;
    router_side router;
    conversation_periods periods;
    bool one_take_per_block = false;
    bool with_monitors = false;     // monitoring outputs stand after the others
    bool with_serial_ports = false; // serial ports stand behind all inputs and all outputs

    videohub_reader reader;
    videohub_model model;
    bool greeted = false;      // the router has said that it speaks the protocol
    bool no_device = false;    // the router's device is missing, or waits for an update
    bool answers_pings = true; // until a PING stays without an answer
    std::uint64_t asked = 0;   // when what is missing of its state was asked for; 0: not yet
    std::uint64_t opened = 0;  // when the router began to tell its state: with the link, or with a new device
    std::uint64_t last_heard = 0;
    std::uint64_t next_ping = 0;
    std::deque<sent_block> unanswered;
    std::deque<waiting_take> waiting; // until the block before them is answered; one for each output
    std::deque<waiting_take> single;  // to be sent one by one, before those
};

// The link was opened at `now`. Forgets everything of the link before.
void open_conversation(videohub_conversation& conversation, std::uint64_t now);

// The link is lost. Takes that wait are refused.
void close_conversation(videohub_conversation& conversation);

// Handles what the router has sent.
void hear_router(videohub_conversation& conversation, std::string_view bytes, std::uint64_t now);

// Does what is due.
void run_conversation_timers(videohub_conversation& conversation, std::uint64_t now);

// When run_conversation_timers() must be called again at the latest; the largest number: only when something
// happens.
std::uint64_t next_conversation_time(const videohub_conversation& conversation, std::uint64_t now);

// Handles one message from the driver; for "set" it calls `change_setting`.
void handle_driver_message(
    videohub_conversation& conversation, const TavrixAPIRouterMessage& message, std::uint64_t now,
    const std::function<void(const std::string& name, const std::string& value)>& change_setting = nullptr);
