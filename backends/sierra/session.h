// The conversation with the router: from the first link test over its state to takes and reports of changes.
// No input or output behind this: the main loop carries out what a reaction asks for. Times are microseconds
// of a monotonic clock.
#pragma once

#include "command_queue.h"
#include "driver_side.h"
#include "levels.h"
#include "router_picture.h"
#include "router_program.h"
#include "settings.h"
#include "sierra_string_reader.h"
#include "takes.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

constexpr std::uint64_t status_period_us = 30000000;
constexpr std::uint64_t link_test_period_us = 10000000; // of silence
constexpr std::uint64_t garbage_period_us = 5000000;    // garbage is told and mended no more often
constexpr std::uint64_t confirmation_us = 800000;       // of the second that the driver waits
constexpr std::uint64_t oldest_take_us = 1000000;       // later the driver has rolled the take back
constexpr std::uint64_t oldest_line_take_us = 5000000;  // the rest of a salvo that was begun on a serial line
constexpr std::size_t most_takes_in_string = 64;        // what a router's buffer holds is not known

struct session {
    driver_side driver;
    router_side router;
    sierra_settings settings;
    string_reader reader;
    router_picture picture;
    level_groups groups;
    command_queue queue;
    std::set<int> own_locks; // outputs that we have locked, 1-based
    std::string letters;     // commands that the router has; empty: it did not say
    std::string model;
    bool tells_changes = true;       // else the status is polled
    std::size_t stray_told = 0;      // bytes of reader.stray that are dealt with
    std::uint64_t garbage_at = 0;    // when garbage was told last; 0: never
    bool read_again_soon = false;    // right after a reading before: what was told then is not told again
    std::uint64_t status_due = 0;    // while ready
    std::uint64_t link_test_due = 0; // while ready
};

// The connection stands: begins to read the router's state. `us_per_byte` is a serial line's pace, else 0.
void session_connected(session& session, std::uint64_t us_per_byte, std::uint64_t now);

// The connection is gone: everything is unknown, and takes under way are given up.
void session_lost(session& session);

// Takes in what the router sent.
void hear_router(session& session, std::string_view bytes, std::uint64_t now);

// Does what is due at `now`, and ends each pass: also writes the next command and reports what has changed.
void run_due(session& session, std::uint64_t now);

// How often the whole status is read.
std::uint64_t status_period(const session& session);

// When run_due has something to do; the largest number while there is no connection.
std::uint64_t next_due_time(const session& session);

// The levels as the settings group them now; tells the driver everything again.
void regroup_levels(session& session);

// Handles one message from the driver. What it returns is new about the settings: at changed_part::line the
// connection is to be made anew.
changed_part handle_driver_message(session& session, const TavrixAPIRouterMessage& message,
                                   std::uint64_t now);
