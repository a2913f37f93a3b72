// What a router looks like on a panel, as JSON: read from a request, kept as a text, told.
#pragma once

#include "json_reply.h"

#include <optional>

namespace gateway {

// The layout of that body, with all its members. Nothing and a sentence in *problem when the body asks for
// nothing that is possible.
std::optional<json> read_layout(const json& body, std::string* problem);

// The one of a panel that has kept none: everything is shown as the router has it.
json plain_layout();

} // namespace gateway
