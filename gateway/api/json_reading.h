// Reads the JSON of a request's body strictly: what two readers could understand differently is refused.
#pragma once

#include "json_reply.h"

#include <initializer_list>
#include <optional>

namespace gateway {

// The value; nothing and a sentence in *problem for what is no JSON, is nested deeper than json_depth_limit,
// has a member twice, text that is no UTF-8, or a number that is not whole or does not fit 32 bits with a
// sign.
std::optional<json> read_json(std::string_view text, std::string* problem);

// "" when `value` is an object with no members but these; else a sentence that names what is possible.
std::string members_problem(const json& value, std::initializer_list<std::string_view> possible);

// True when the text has no control character and fits. For names and reasons.
bool is_plain_text(std::string_view text, std::size_t most_bytes);

} // namespace gateway
