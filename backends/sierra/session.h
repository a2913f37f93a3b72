// The conversation with the router: from the first link test over its state to takes and reports of changes.
// Nothing here reads or writes descriptors: `router` says what the main loop is to do. Times are microseconds
// of a monotonic clock.
#pragma once

#include "command_queue.h"
#include "driver_side.h"
#include "levels.h"
#include "router_program.h"
#include "settings.h"
#include "sierra_picture.h"
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
constexpr std::uint64_t garbage_period_us = 5000000;    // between two reactions to garbage
constexpr std::uint64_t confirmation_us = 800000;       // of the second that the driver waits
constexpr std::uint64_t oldest_take_us = 1000000;       // later the driver has rolled the take back
constexpr std::uint64_t oldest_line_take_us = 5000000;  // the rest of a salvo that was begun on a serial line
constexpr std::size_t most_takes_in_string = 64;        // what a router's buffer holds is not known

struct session {
    driver_side driver;
    router_side router;
    sierra_settings settings;
    string_reader reader;
    sierra_picture picture;
    level_groups groups;
    command_queue queue;
    std::set<int> own_locks; // outputs that we have locked, 1-based
    std::string letters;     // commands that the router has; empty: it did not say
    std::string model;
    bool tells_changes = true;       // else the status is polled
    std::size_t stray_told = 0;      // bytes of reader.stray that were logged
    std::uint64_t garbage_at = 0;    // when garbage was logged last; 0: never
    bool read_again_soon = false;    // the state was read just before: do not report and log the same again
    std::uint64_t status_due = 0;    // while ready
    std::uint64_t link_test_due = 0; // while ready
};

// The connection is open: begins to read the router's state. `us_per_byte` is the pace of a serial line, else
// 0.
void session_connected(session& session, std::uint64_t us_per_byte, std::uint64_t now);

// The connection is gone: everything is unknown, and takes under way are given up.
void session_lost(session& session);

// Handles what the router has sent.
void hear_router(session& session, std::string_view bytes, std::uint64_t now);

// Does what is due at `now`, and ends each pass: also writes the next command and reports what has changed.
void run_due(session& session, std::uint64_t now);

// How often the whole status is read.
std::uint64_t status_period(const session& session);

// When run_due has something to do; the largest number while there is no connection.
std::uint64_t next_due_time(const session& session);

// Groups the levels as the settings say now, and reports everything to the driver again.
void regroup_levels(session& session);

// Handles one message from the driver. Returns what has changed in the settings: after changed_part::line the
// caller must open a new connection.
changed_part handle_driver_message(session& session, const TavrixAPIRouterMessage& message,
                                   std::uint64_t now);
