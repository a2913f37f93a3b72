#include "user_name.h"

#include "display_text.h"

#include <array>
#include <charconv>
#include <map>
#include <pwd.h>
#include <string_view>

namespace {

bool as_numbers = false;

std::string looked_up(std::uint64_t user) {
    std::array<char, 16384> texts;
    passwd entry{};
    passwd* found = nullptr;
    const auto number = static_cast<uid_t>(user);
    if (as_numbers || number != user || getpwuid_r(number, &entry, texts.data(), texts.size(), &found) != 0 ||
        found == nullptr)
        return "user " + std::to_string(user);
    return found->pw_name;
}

} // namespace

void show_users_as_numbers() {
    as_numbers = true;
}

std::string user_name(std::uint64_t user) {
    static std::map<std::uint64_t, std::string> known; // a name service may be far away
    const auto found = known.find(user);
    return found != known.end() ? found->second : known.emplace(user, looked_up(user)).first->second;
}

std::string person_text(std::uint64_t user, const std::string& by) {
    return user_name(user) + (by.empty() ? "" : " (" + printable(by) + ")");
}

std::string person_in(const std::string& text) {
    const char* const end = text.data() + text.size();
    std::uint64_t user = 0;
    std::uint64_t process = 0;
    const auto [behind_user, no_user] = std::from_chars(text.data(), end, user);
    if (no_user != std::errc() || behind_user == end || *behind_user != ' ')
        return printable(text);
    const auto [behind_process, no_process] = std::from_chars(behind_user + 1, end, process);
    if (no_process != std::errc() || (behind_process != end && *behind_process != ' '))
        return printable(text);
    return person_text(user, behind_process == end ? "" : std::string(behind_process + 1, end));
}
