// JSON as text, and as an answer.
#pragma once

#include "gateway/http/http_types.h"

#include <nlohmann/json.hpp>

namespace gateway {

using json = nlohmann::ordered_json; // members in the order in which they were written

// Without line feeds. Bytes that are no UTF-8 are replaced by U+FFFD.
std::string json_text(const json& value);

reply json_reply(unsigned status, const json& value);

} // namespace gateway
