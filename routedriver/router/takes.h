// Takes that are under way, and what becomes of them. Every take on an output that exists is watched here
// from its planning until it is decided, whether somebody waits for an answer or not. There is at most one
// take per output, because a later one replaces an earlier one.
//
//   event                      | nothing of its batch was sent       | something was
//   ---------------------------+-------------------------------------+-------------------
//   its sources are reported   | -                                   | confirmed, once its flush was written
//   its deadline               | withdrawn (route: unknown)          | shows, or unknown
//   a later take on the output | replaced and never sent (route: is) | replaced
//   the backend ends           | withdrawn                           | unknown
//   the link goes down         | withdrawn (route: -)                | -
//   the router refuses it      | -                                   | refused
#pragma once

#include "pending.h"
#include "take_record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

constexpr std::size_t reason_bytes = 256; // of the reason that a backend gives for a refusal

struct asked_take {
    std::int32_t output = -1; // 0-based, as asked for
    route_sources sources{};
    std::optional<route_sources> expected; // the take is done only if these are shown and confirmed
};

// What the takes of one packet have in common.
struct take_terms {
    requester whose{};
    std::string by;              // shown beside who asks
    std::uint64_t within_us = 0; // until the answer
    std::uint64_t answer = 0;    // decided_take::answer of each of them; not 0
    bool too_late = false;       // they were read too late: each is refused
};

// Checks the takes against the picture, and sends those that are not refused as one batch. Each output occurs
// once. Each is decided by one record_take, some of them before this returns.
void ask_takes(const std::vector<asked_take>& takes, const take_terms& terms);

// --- from the planner and from what is sent ----------------------------------------------------------------

// To be called when a "route" is about to be sent: shows it at once, and watches it.
void watch_route(const route_request& request, bool breakaway, requester whose);
// Gives the batch of the takes that were watched last its number.
void watched_batch(std::uint64_t batch);

void takes_batch_begun(std::uint64_t batch);   // its first message was moved
void takes_flush_written(std::uint64_t batch); // its last message is in the backend's pipe
void takes_batches_dropped();                  // the backend has ended

// --- from the backend's reports ----------------------------------------------------------------------------

void takes_hear_source(std::int32_t output, bool audio, bool video, std::int32_t source, bool known);
// The router did not switch `input` to `output`, on these levels, for the reason `text`.
void takes_hear_refusal(std::int32_t output, bool audio, bool video, std::int32_t input,
                        std::string_view text);
void takes_hear_link_down();

// Counts the takes that were rolled back.
void count_rollbacks(const picture_event& event);

// Decides the takes whose time is over. To be called once per pass, and before a message is moved.
void expire_takes();
