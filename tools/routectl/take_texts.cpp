#include "take_texts.h"

#include "display_text.h"
#include "plain_text.h"
#include "port_names.h"
#include "system_user.h"

#include <map>
#include <string_view>

namespace {

bool as_numbers = false;

std::string looked_up(std::uint64_t user) {
    const std::string name = as_numbers ? "" : system_user_name(user);
    return name.empty() ? "user " + std::to_string(user) : name;
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
    const std::size_t behind_user = text.find(' ');
    if (behind_user == std::string::npos)
        return printable(text);
    const std::string_view rest = std::string_view(text).substr(behind_user + 1);
    const std::size_t behind_process = rest.find(' ');
    const auto user = number_of_digits<std::uint64_t>(text.substr(0, behind_user));
    const auto process = number_of_digits<std::uint64_t>(rest.substr(0, behind_process));
    if (!user || !process)
        return printable(text);
    return person_text(
        *user, behind_process == std::string_view::npos ? "" : std::string(rest.substr(behind_process + 1)));
}

std::string result_text(const vrdx::take_result& result, const router_picture& picture) {
    const std::string& text = result.text;
    switch (result.word) {
    case vrdx::take_word::confirmed:
        return "confirmed";
    case vrdx::take_word::shows:
        return "the router shows " + sources_text(picture, result.sources) + " instead";
    case vrdx::take_word::refused:
        return text.starts_with("by the router") ? "refused " + text : "refused: " + text;
    case vrdx::take_word::replaced_sent:
        return "replaced by a later take of " + person_in(text);
    case vrdx::take_word::replaced_unsent:
        return "never sent, replaced by a later take of " + person_in(text);
    case vrdx::take_word::withdrawn:
        return "never sent: " + text;
    case vrdx::take_word::unknown:
        return text + ", nobody knows whether it switched";
    case vrdx::take_word::other:
        break;
    }
    return "the driver says: " + text;
}
