// What the driver asks of a backend, read from its messages. Inputs and outputs are numbered from 0.
#pragma once

#include "message.h"
#include "router_limits.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

enum class endpoint_level { all, video, audio };

constexpr int no_source = -1;      // an output without a source, "none"
constexpr int unknown_source = -2; // in reports only: nobody knows it, "unknown"

struct endpoint_take {
    int output = 0;         // 0..most_router_outputs-1, whether the router has it or not
    int source = no_source; // 0..most_router_inputs-1, or no_source
    endpoint_level level = endpoint_level::all;
};

using endpoint_takes = std::vector<endpoint_take>; // in the order in which they were asked for

constexpr std::uint64_t never_expires = std::numeric_limits<std::uint64_t>::max();

struct endpoint_property {
    bool of_output = false; // else of an input
    int number = 0;         // 0..most_router_outputs-1 or most_router_inputs-1
    std::string name;       // "name" for the port's name
    std::string value;
};

// What a backend does with the driver's requests; requests whose handler is empty are ignored. All are called
// from endpoint_dispatch(), and their arguments are valid only until they return.
struct endpoint_handlers {
    // Switch these together. They must not be switched after the moment `expires_us` (CLOCK_MONOTONIC,
    // microseconds): a backend that cannot switch at once has to look at the clock again before it does.
    std::function<void(const endpoint_takes& takes, std::uint64_t expires_us)> switch_takes;

    // These takes came too late: they must not be done.
    std::function<void(const endpoint_takes& takes)> refuse_late;

    std::function<void()> report_outputs;
    std::function<void()> report_inputs;

    // The properties of one "router set" that could be read, ordered by the bytes of their names.
    std::function<void(const std::vector<endpoint_property>& properties)> set_properties;

    std::function<void(const std::string& name, const std::string& value)> change_setting;

    // Something could not be read; `text` says what, for one log line.
    std::function<void(const std::string& text)> skipped;
};

// Takes between their "add" and their "flush".
struct endpoint_collection {
    endpoint_takes takes;
};

// Does what `message` asks for: "add" puts a take into `collection`, everything else calls one handler.
// `now_us` is CLOCK_MONOTONIC in microseconds.
void endpoint_dispatch(const TavrixAPIRouterMessage& message, std::uint64_t now_us,
                       endpoint_collection& collection, const endpoint_handlers& handlers);

// The field's value; empty when there is no such field.
const std::string& message_field(const TavrixAPIRouterMessage& message, const std::string& name);

// `text` in quotation marks, cut off after 60 bytes, control characters replaced by blanks: so what a client
// sent can neither fill the log nor begin a new line there.
std::string endpoint_quoted(std::string_view text);
