#include "user_lookup.h"

#include "system_user.h"

#include <chrono>
#include <map>

namespace gateway {

namespace {

constexpr std::size_t names_kept = 256;
constexpr std::chrono::minutes kept_for{1};

std::string looked_up(std::int64_t user) {
    const std::string name = system_user_name(static_cast<std::uint64_t>(user));
    return name.empty() ? "user " + std::to_string(user) : name;
}

} // namespace

std::string user_name(std::int64_t user) {
    struct known_name {
        std::string name;
        std::chrono::steady_clock::time_point until;
    };
    thread_local std::map<std::int64_t, known_name> names;
    const auto now = std::chrono::steady_clock::now();
    const auto found = names.find(user);
    if (found != names.end() && now < found->second.until)
        return found->second.name;
    if (names.size() >= names_kept)
        names.clear();
    return (names[user] = {looked_up(user), now + kept_for}).name;
}

} // namespace gateway
