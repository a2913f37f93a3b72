// The router as its driver describes it.
#pragma once

#include "client_asking.h"

#include <optional>
#include <string>
#include <vector>

namespace vrdx {

// Sources: the number of an input, from 1, or one of these.
constexpr int source_unknown = -1; // nobody has said yet
constexpr int source_none = 0;

struct level_sources {
    int audio = source_unknown;
    int video = source_unknown;

    bool operator==(const level_sources&) const = default;
};

struct place_property {
    std::string name;
    std::string value;

    bool operator==(const place_property&) const = default;
};

// An input or output stands at its number minus 1. What the driver has not told of yet is not `told`.
struct picture_input {
    bool told = false;
    std::string name;
    std::vector<place_property> properties;
};

struct last_taker {
    std::uint64_t user = 0;
    std::uint64_t process = 0;
    std::string by; // who that was, in the take's own words; perhaps empty
};

struct picture_output {
    bool told = false;
    std::string name;
    level_sources sources;
    // The router has not confirmed what is shown: milliseconds until it is taken back, 0 for never by itself.
    std::optional<std::uint64_t> waits_ms;
    std::optional<last_taker> taken;
    std::vector<place_property> properties;
};

enum class backend_state { untold, running, starting, none };
enum class link_state { untold, unknown, up, down };

struct takes_count {
    std::uint64_t since_start = 0;
    std::uint64_t last_hour = 0;
};

struct driver_message {
    std::uint64_t time_ms = 0; // since 1970
    std::string text;
};

struct router_picture {
    std::string epoch;
    std::uint64_t sequence = 0; // of the page or change that was read last
    bool split_levels = false;  // video and audio are switched apart
    backend_state backend = backend_state::untold;
    std::string backend_text;
    link_state link = link_state::untold;
    std::string link_text;
    std::vector<picture_input> inputs;   // at most picture_inputs_limit
    std::vector<picture_output> outputs; // at most picture_outputs_limit
    std::uint64_t last_take = 0;         // number of the newest take in the record

    // Of a description only; a watcher is not told when they change.
    std::uint64_t clients = 0;
    std::uint64_t uptime_ms = 0;
    takes_count asked, confirmed, refused, rolled_back, unknown;
    takes_count backend_starts;
    std::vector<driver_message> errors, notes; // oldest first
    bool changed_between_pages = false;        // the pages do not show one moment

    std::size_t property_bytes = 0; // of all properties; kept by who fills the picture
};

// What a packet has changed. Inputs and outputs by their numbers, ascending, each once.
struct picture_news {
    std::vector<int> inputs;
    std::vector<int> outputs;
    bool sizes = false; // how many inputs and outputs there are; those that went are in neither list
    bool state = false; // levels, backend or link
};

// A request for the page that `next` asks for; the first one when it is empty.
comm_socket_v4_packet describe_request(const std::string& next = {});

// Adds a page to the picture; the first one (`*next` empty) begins it anew. *next becomes what asks for the
// next page, empty after the last. False when `reply` is no such page, and the picture stays.
bool add_page(router_picture* picture, const comm_socket_v4_packet& reply, std::string* next);

// Asks for all pages. done, or as ask_until(); refused with `problem` when the driver does not describe
// routers.
outcome describe_until(driver_connection* connection, router_picture* picture, std::uint64_t deadline);

// Enters what the packet tells, whatever its command: sizes first, then the rest in its order. Entries that
// nobody knows are skipped, so are those of places that there are not. For pages and changes alike.
void enter_packet(router_picture* picture, const comm_socket_v4_packet& packet, picture_news* news);

} // namespace vrdx
