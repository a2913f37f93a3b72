#include "token.h"

#include "gateway/settings/limits.h"

#include <algorithm>

namespace gateway {
namespace {

bool is_printable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// As a file name without a path, which item names and sockets are made of.
bool is_router_name(std::string_view name) {
    return !name.empty() && name.size() <= router_name_limit && name != "." && name != ".." &&
           name.find('/') == std::string_view::npos &&
           std::none_of(name.begin(), name.end(),
                        [](unsigned char c) { return c < ' ' || c == 0x7f || c == ','; });
}

bool is_token_name(std::string_view name) {
    return !name.empty() && name.size() <= token_name_limit && is_printable(name) && name.front() != ' ' &&
           name.back() != ' ';
}

} // namespace

token anonymous_token(role right) {
    token anonymous;
    anonymous.name = anonymous_name;
    anonymous.right = right;
    return anonymous;
}

std::string token_problem(const token& wish) {
    if (!is_token_name(wish.name))
        return "that is no name for a token; possible: 1 to " + std::to_string(token_name_limit) +
               " printable ASCII characters, no blank at either end";
    if (wish.name == anonymous_name)
        return "\"anonymous\" is who asks without a token; possible: any other name";
    if (wish.right == role::none)
        return "a token needs a role; possible: view, operate, lock, admin";
    if (wish.routers.size() > token_routers_limit)
        return "too many routers; possible: " + std::to_string(token_routers_limit) +
               " names, or none for all routers";
    for (const std::string& router : wish.routers)
        if (!is_router_name(router))
            return "that is no name of a router; possible: the name of an item, without path and \".item\"";
    return {};
}

} // namespace gateway
