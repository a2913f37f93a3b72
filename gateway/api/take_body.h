// The body of a request for takes.
#pragma once

#include "gateway/takes/take_wish.h"
#include "json_reply.h"

namespace gateway {

// Nothing and a sentence in *problem when the body asks for nothing that is possible.
std::optional<takes_wish> read_takes(const json& body, std::string* problem);

// Output and sources of one take; which members it has beside them was looked at. False and a sentence in
// *problem.
bool read_output_wish(const json& take, output_wish* wish, std::string* problem);

// The members `within` and `all_or_nothing`, where they are there. False and a sentence in *problem.
bool read_manner(const json& body, unsigned* within_ms, bool* all_or_nothing, std::string* problem);

} // namespace gateway
