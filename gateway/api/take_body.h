// The body of a request for takes.
#pragma once

#include "gateway/takes/take_wish.h"
#include "json_reply.h"

namespace gateway {

// Nothing and a sentence in *problem when the body asks for nothing that is possible.
std::optional<takes_wish> read_takes(const json& body, std::string* problem);

} // namespace gateway
