// Members of a JSON object, read with their types. What does not fit is an exception of the library's, which
// reads() catches for a whole message.
#pragma once

#include "gateway/sites/site_limits.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace gateway {

using json = nlohmann::json;

inline std::string message_text(const json& message) {
    return message.dump(-1, ' ', false, json::error_handler_t::replace);
}

// The member, or `otherwise` when there is none.
template<typename value_type>
value_type member(const json& object, const char* name, value_type otherwise = {}) {
    const auto found = object.find(name);
    return found == object.end() ? otherwise : found->get<value_type>();
}

inline const json& array_member(const json& object, const char* name) {
    static const json none = json::array();
    const auto found = object.find(name);
    return found == object.end() || !found->is_array() ? none : *found;
}

// A message whose members `fill` reads when it is of this version.
template<typename message_type, typename filler>
std::optional<message_type> read_message(const std::string& text, const filler& fill) {
    if (text.size() > message_bytes_limit)
        return std::nullopt;
    try {
        const json object = json::parse(text);
        message_type message;
        message.version = object.at("v").get<int>();
        if (message.version == site_message_version && !fill(object, &message))
            return std::nullopt;
        return message;
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

} // namespace gateway
