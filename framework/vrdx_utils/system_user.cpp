#include "system_user.h"

#include <limits>
#include <pwd.h>
#include <vector>

namespace {

constexpr std::size_t texts_bytes = 16384; // of one entry; far beyond what any has

} // namespace

std::string system_user_name(std::uint64_t user) {
    if (user >= std::numeric_limits<uid_t>::max()) // that one means "nobody" to the system's calls
        return {};
    std::vector<char> texts(texts_bytes);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(static_cast<uid_t>(user), &entry, texts.data(), texts.size(), &found) != 0 ||
        found == nullptr)
        return {};
    return found->pw_name;
}
