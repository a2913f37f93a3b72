// Watching a driver: the picture of its router, kept up to date by the packets that the driver pushes.
//
// Send watch_request(); pass its reply to begin_watch() and each pushed packet to add_news(). When add_news()
// returns anything but `told`, the picture can no longer be trusted: send watch_request() again.
#pragma once

#include "client_picture.h"
#include "client_record.h"

namespace vrdx {

struct router_watch {
    router_picture picture;
    bool begun = false;              // the reply to `watch` was read
    bool any_change = false;         // the first change was read
    bool complete = false;           // the picture is complete, and is that of its sequence
    std::uint64_t to = 0;            // the sequence after the changes so far
    std::uint64_t from = 0;          // the sequence before a change that needs further packets
    bool more = false;               // further packets of the same change follow
    std::uint64_t told_sequence = 0; // the newest one the driver has told of; the picture may be behind it
    std::uint64_t heard_us = 0;      // when a packet came last
};

enum class watch_step {
    told,        // the packet was read, or is of a kind that is not known here
    other_epoch, // the driver was started again: its numbers from before mean nothing any more
    gap,         // changes are missing between this packet and the one before
    malformed,   // a packet of a known kind, without something that it must contain
};

struct watch_news {
    picture_news picture;
    bool began_anew = false;        // this is the first change, which contains everything
    bool complete = false;          // false: the change goes on in the next packet
    std::vector<take_record> takes; // decided takes
    std::uint64_t takes_lost = 0;   // how many the driver could not tell; the record may have them
};

comm_socket_v4_packet watch_request();

// Begins with the reply to watch_request(), which came at `now`. Returns other_epoch when the watch had begun
// before, with a driver that was started earlier; the watch has begun then, too. Returns malformed for an
// `error` and for any other packet; the watch has not begun then.
watch_step begin_watch(router_watch* watch, const comm_socket_v4_packet& reply, std::uint64_t now);

// Reads a pushed packet, which came at `now`, and sets *news to what it has changed.
watch_step add_news(router_watch* watch, const comm_socket_v4_packet& pushed, std::uint64_t now,
                    watch_news* news);

// True when nothing has come for watch_silence_limit_us: the driver no longer works, or is cut off.
bool is_silent(const router_watch& watch, std::uint64_t now);

// Sends watch_request() and begins. Returns done, or what ask_until() returns; refused, with `problem`, when
// the driver does not allow it.
outcome watch_until(driver_connection* connection, router_watch* watch, std::uint64_t deadline);

} // namespace vrdx
