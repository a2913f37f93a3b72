// The router as its driver describes it.
#pragma once

#include "client_asking.h"

#include <optional>
#include <string>
#include <vector>

namespace vrdx {

// Sources: the number of an input, from 1, or one of these.
constexpr int source_unknown = -1; // nobody knows it
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

// Inputs and outputs are kept in vectors: number N is at index N - 1. `told` is false until the driver has
// told of it.
struct picture_input {
    bool told = false;
    std::string name;
    std::vector<place_property> properties;
};

struct last_taker {
    std::uint64_t user = 0;
    std::uint64_t process = 0;
    std::string by; // the name given with the take; perhaps empty
};

struct picture_output {
    bool told = false;
    std::string name;
    level_sources sources;
    // Set while the router has not confirmed what is shown: milliseconds until the driver rolls it back; 0:
    // it does not do so by itself.
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
    bool split_levels = false;  // video and audio can be switched separately (breakaway)
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

    std::size_t property_bytes = 0; // of all properties; the functions below count it
};

// What a packet has changed. Inputs and outputs by their numbers, ascending, each once.
struct picture_news {
    std::vector<int> inputs;
    std::vector<int> outputs;
    bool sizes = false; // the number of inputs or outputs; removed ones are in neither list
    bool state = false; // levels, backend or link
};

// The request for a page: `next` as add_page() returned it; empty for the first page.
comm_socket_v4_packet describe_request(const std::string& next = {});

// Adds a page to the picture; the first page (`*next` empty) replaces the picture. Sets *next for the next
// request; empty after the last page. False when `reply` is no such page; the picture is then as before.
bool add_page(router_picture* picture, const comm_socket_v4_packet& reply, std::string* next);

// Asks for all pages. Returns done, or what ask_until() returns; refused, with `problem`, when the driver
// does not know `describe`.
outcome describe_until(driver_connection* connection, router_picture* picture, std::uint64_t deadline);

// Enters the content of a page or a change, whatever the packet's command: sizes first, then the rest in its
// order. Unknown entries are skipped, and so are those about inputs and outputs that do not exist.
void enter_packet(router_picture* picture, const comm_socket_v4_packet& packet, picture_news* news);

} // namespace vrdx
