// Watching a driver: a picture that is always that of its sequence, and what happens on the way.
//
// Send watch_request(); hand its reply to begin_watch() and each pushed packet to add_news(). When that says
// anything but `told`, the picture can no longer be trusted: send watch_request() again.
#pragma once

#include "client_picture.h"
#include "client_record.h"

namespace vrdx {

struct router_watch {
    router_picture picture;
    bool begun = false;              // the reply to `watch` was read
    bool any_change = false;         // the first change was read
    bool complete = false;           // the picture is whole, and that of its sequence
    std::uint64_t to = 0;            // the sequence that the changes so far lead to
    std::uint64_t from = 0;          // where the change began that goes on in further packets
    bool more = false;               // further packets of the same change follow
    std::uint64_t told_sequence = 0; // the newest one the driver has told of; the picture may be behind it
    std::uint64_t heard_us = 0;      // when a packet came last
};

enum class watch_step {
    told,        // the packet was read, or is of a kind that nobody knows
    other_epoch, // the driver has been started anew: numbers of before mean nothing any more
    gap,         // changes are missing between this packet and the one before
    malformed,   // a known packet without what it has to hold
};

struct watch_news {
    picture_news picture;
    bool began_anew = false; // the first change: it tells all there is
    bool complete =
        false; // the picture is again that of its sequence; false: wait for the rest of the change
    std::vector<take_record> takes; // decided takes
    std::uint64_t takes_lost = 0;   // how many the driver could not tell; the record may have them
};

comm_socket_v4_packet watch_request();

// Begins with the reply to watch_request(), which came at `now`. other_epoch when the watch had begun before,
// with another driver: it has begun all the same. malformed for an `error` or anything else; nothing has
// begun then.
watch_step begin_watch(router_watch* watch, const comm_socket_v4_packet& reply, std::uint64_t now);

// Reads a pushed packet, which came at `now`, and tells in *news what it was about.
watch_step add_news(router_watch* watch, const comm_socket_v4_packet& pushed, std::uint64_t now,
                    watch_news* news);

// True when the driver has said nothing for longer than a driver that lives ever does.
bool is_silent(const router_watch& watch, std::uint64_t now);

// Sends watch_request() and begins. done, or as ask_until(); refused with `problem` when the driver does not
// let us.
outcome watch_until(driver_connection* connection, router_watch* watch, std::uint64_t deadline);

} // namespace vrdx
