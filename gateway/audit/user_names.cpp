#include "user_names.h"

#include <chrono>
#include <map>
#include <pwd.h>
#include <vector>

namespace gateway {

namespace {

constexpr std::size_t names_kept = 256;
constexpr std::chrono::minutes kept_for{1};

std::string looked_up(std::int64_t user) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(16384);
    if (getpwuid_r(static_cast<uid_t>(user), &entry, texts.data(), texts.size(), &found) == 0 &&
        found != nullptr && found->pw_name[0] != '\0')
        return found->pw_name;
    return "user " + std::to_string(user);
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
