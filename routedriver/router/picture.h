// The picture: what is known of the router. Everybody may read it, only the functions below change it. Each
// change raises the version and is told as one event.
//
// All inputs and outputs are 0-based; -1 means no source. The picture outlives the backend: the last known
// state stays until new reports replace it.
#pragma once

#include "router_limits.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

constexpr std::int32_t max_inputs = most_router_inputs;
constexpr std::int32_t max_outputs = most_router_outputs;

// The connection that asked for something. Its number counts from 1; 0: no client, the driver itself.
struct requester {
    std::uint64_t connection = 0;
    uid_t user = static_cast<uid_t>(-1);
    pid_t process = 0;
};

// Further properties of an input or output, as the backend reported them, by name.
using port_properties = std::map<std::string, std::string, std::less<>>;
constexpr std::size_t properties_per_port = 16;
constexpr std::size_t property_name_bytes = 64;
constexpr std::size_t property_value_bytes = 1024;
constexpr std::size_t properties_bytes_in_all = 8388608; // names and values

struct router_output {
    std::int32_t audio_input = -1; // current sources, as shown to clients
    std::int32_t video_input = -1;
    std::int32_t saved_audio_input = -1; // sources before the take that is shown without a confirmation
    std::int32_t saved_video_input = -1;
    std::uint64_t confirm_deadline = 0; // monotonic_us; 0: nothing awaits confirmation
    std::string name;
    bool audio_known = false; // the source is known; else -1 does not mean "no source"
    bool video_known = false;
    bool confirmed = true; // false: shown because of a take, and not reported by the router since then
    bool saved_audio_known = false;
    bool saved_video_known = false;
    bool saved_confirmed = true;
    std::uint64_t take = 0;  // number of the take that is shown and waits for its confirmation
    requester assumed_for{}; // who asked for it
    requester taken_by{};    // who made the last take here, and the name given with it
    std::string taken_by_name;
    port_properties properties;
    std::uint64_t changed = 0; // the picture's version when it last changed
};

struct router_input {
    port_properties properties;
    std::uint64_t changed = 0;
};

enum class link_state { unknown, up, down };          // of the backend's connection to its router
enum class backend_state { none, starting, running }; // none: the item names no backend

extern const std::int32_t& input_count;                  // 0..max_inputs
extern const std::int32_t& output_count;                 // 0..max_outputs
extern const bool& split_levels;                         // video and audio are switched separately
extern const std::vector<std::string>& input_names;      // input_count names
extern const std::vector<router_input>& router_inputs;   // input_count inputs
extern const std::vector<router_output>& router_outputs; // output_count outputs
extern const link_state& router_link;
extern const std::string& router_link_text; // why it is up or down
extern const backend_state& router_backend;
extern const std::string& router_backend_text;
extern const std::uint64_t& picture_version; // from 1; raised by each change
extern const std::uint64_t&
    picture_state_changed;                   // the version with the last change of sizes, backend or link
extern const std::uint64_t& picture_resized; // the version with the last change of sizes or levels
extern const std::uint64_t assume_timeout;   // how long a shown take waits for its confirmation, microseconds
constexpr std::uint64_t no_deadline_yet = UINT64_MAX; // of a shown take that is still being sent

// --- changes -----------------------------------------------------------------------------------------------

// Sets the size, 0..max_inputs and 0..max_outputs. Places that stay keep their names and sources; new ones
// have none.
void resize_picture(std::int32_t inputs, std::int32_t outputs, bool split);

// `input` and `output` must exist in all that follows.
void name_input(std::int32_t input, std::string_view name);
void name_output(std::int32_t output, std::string_view name);

struct route_sources {
    std::int32_t audio = -1;
    std::int32_t video = -1;

    bool operator==(const route_sources&) const = default;
};

// A take that is shown before the router has confirmed it.
struct shown_take {
    std::int32_t output;
    route_sources sources;
    std::uint64_t number; // of the take
    requester whose;
    std::string_view by;    // the name given with it
    std::uint64_t deadline; // monotonic_us at which it is rolled back; no_deadline_yet while it is being sent
};
// Saves the present sources, and shows those of the take.
void assume_sources(const shown_take& take);
// Sets when this take is rolled back, if it is still shown and still waits then.
void set_take_deadline(std::int32_t output, std::uint64_t number, std::uint64_t deadline);
// Rolls it back now, if it is still shown and still waits.
void take_back(std::int32_t output, std::uint64_t number);
// Notes who made a take that is not shown before it is reported.
void note_taker(std::int32_t output, requester whose, std::string_view by);

// Enters what the backend has reported: the levels named get `source`, and the output waits for no
// confirmation any more, even when no level is named. `known` false: nobody knows the source; it is shown as
// none.
void report_source(std::int32_t output, bool audio, bool video, std::int32_t source, bool known = true);

// Rolls back every output whose deadline has passed: it gets its saved sources again.
void expire_assumed_routes();

// A property as reported; beyond the limits above it is not kept. All are forgotten when a backend starts.
void report_input_property(std::int32_t input, std::string_view name, std::string_view value);
void report_output_property(std::int32_t output, std::string_view name, std::string_view value);

void report_link(link_state state, std::string_view text);
void tell_backend(backend_state state, std::string_view text);
// Forgets what the last backend has said: the state of its link, and all properties.
void forget_backend();

// --- events ------------------------------------------------------------------------------------------------

enum class picture_change {
    resized,
    input_named,
    output_named,
    assumed,
    taken, // a take that is not shown yet
    reported,
    rolled_back,
    input_property,
    output_property,
    link,
    backend
};
enum class change_cause { client, backend, rollback }; // rollback: the deadline of an assumed take

struct picture_event {
    std::uint64_t version; // of the picture with this change
    picture_change what;
    change_cause cause;
    std::int32_t place; // the input or output; -1 for the size, the link and the backend
    // Of a change of sources: the levels it is about (none: only the waiting for a confirmation has ended),
    // the sources before and after it, and who asked for the take that it shows, confirms or rolls back.
    bool audio = false;
    bool video = false;
    route_sources before{};
    route_sources after{};
    requester whose{};
    // Of a change of a name or property; valid during the call only.
    std::string_view name_before{};
    std::string_view name_after{};
};

// Calls `hear` for every change from now on, after it was made. It must not change the picture itself.
void watch_picture(void (*hear)(const picture_event& event));
