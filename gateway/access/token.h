// A token: who asks, and what he may.
#pragma once

#include "gateway/settings/number_list.h"
#include "gateway/settings/role.h"

#include <cstdint>

namespace gateway {

struct token {
    std::int64_t id = 0; // never given twice; 0: the anonymous one
    std::string name;    // unique among those there are; 1 to token_name_limit printable ASCII characters
    role right = role::none;
    std::vector<std::string> routers; // empty: all
    number_list outputs, inputs;
    std::int64_t created = 0; // seconds since 1970, UTC

    bool operator==(const token&) const = default;
};

constexpr const char* anonymous_name = "anonymous"; // no token of the store has it

// Who asks without a token: all routers, outputs and inputs.
token anonymous_token(role right);

// Why such a token cannot be kept, as a sentence that says what is possible; empty when it can.
std::string token_problem(const token& wish);

} // namespace gateway
