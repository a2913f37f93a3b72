// A router as a gateway tells of it, in the same form as its driver's own description.
#pragma once

#include "client_picture.h"
#include "client_record.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using gateway_json = nlohmann::json;

// The state that a gateway gives a router, and why.
struct gateway_state {
    std::string word; // "up", "link down", "no backend", "reading", "no driver", "stale"
    std::string reason;
};

// True when the picture that the gateway shows with this state is the router's own of now.
bool is_true_now(const gateway_state& state);

// Text and state members of any message; what is missing or of another type is "".
std::string text_in(const gateway_json& object, const char* name);
std::uint64_t number_in(const gateway_json& object, const char* name); // 0 for what is none
bool is_so_in(const gateway_json& object, const char* name);           // false for what is no truth value
gateway_state state_in(const gateway_json& message);

// Backend and link as the state tells of them.
void enter_state(vrdx::router_picture* picture, const gateway_state& state);

// Reads a whole picture. False when that is none; *picture is spoilt then.
bool read_picture(const gateway_json& message, vrdx::router_picture* picture);

// Enters the inputs and outputs of a `change`. What does not fit is skipped.
void enter_change(const gateway_json& message, vrdx::router_picture* picture, vrdx::picture_news* news);

// {"all": 3} or {"video": 3, "audio": 4}; null is unknown.
vrdx::level_sources gateway_sources(const gateway_json& message, const char* name);

// A result of a take: {"result": "refused", "reason": "...", "sources": {...}}. A take that a lock stood
// against is `refused`, one that the driver could not be asked for is `withdrawn`.
vrdx::take_result gateway_result(const gateway_json& result);

// A `take` message.
vrdx::take_record gateway_record(const gateway_json& message);
