// What a token may do. Each role may do what the one before may.
#pragma once

#include <optional>
#include <string_view>

namespace gateway {

enum class role {
    none,
    view,    // see its routers
    operate, // take, and lock, protect and unlock outputs as their owner
    lock,    // remove the locks of others (force), give names: a supervisor's business
    admin,   // see the gateway's own state
};

std::string_view role_word(role right);

// Nothing for an unknown word. "none" is known.
std::optional<role> role_of_word(std::string_view word);

} // namespace gateway
