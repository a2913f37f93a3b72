#include "gateway/presets/preset.h"

#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"

#include <algorithm>
#include <charconv>

namespace gateway {

// What came here through a path is UTF-8.
std::string preset_name_problem(std::string_view name) {
    const bool fits = !name.empty() && name.size() <= preset_name_limit;
    const bool plain = std::none_of(name.begin(), name.end(), [](char letter) {
        return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7f || letter == '/';
    });
    const bool reachable = name != "." && name != ".."; // browsers take these out of a path
    if (fits && plain && reachable)
        return {};
    return "That cannot be the name of a preset; possible are 1 to " + std::to_string(preset_name_limit) +
           " bytes without slashes and control characters, but not \".\" and \"..\".";
}

bool may_see(const token& who, const preset_row& row) {
    return std::all_of(row.routers.begin(), row.routers.end(),
                       [&who](const std::string& router) { return may_see(who, router); });
}

std::string kept_source(const std::optional<source_wish>& source) {
    if (!source)
        return {};
    if (const int* number = std::get_if<int>(&*source))
        return std::to_string(*number);
    return ':' + std::get<std::string>(*source);
}

std::optional<source_wish> source_of_kept(std::string_view text) {
    if (text.starts_with(':') && text.size() > 1)
        return std::string(text.substr(1));
    int number = -1;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || number < 0 ||
        number > static_cast<int>(vrdx::picture_inputs_limit))
        return std::nullopt;
    return number;
}

} // namespace gateway
