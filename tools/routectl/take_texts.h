// What became of a take, in words for people.
#pragma once

#include "client_take.h"

#include <string>

// "confirmed", "shows 3 "Cam 3" instead", "refused: no backend", "replaced by a later take of alice", ...
std::string result_text(const vrdx::take_result& result, const vrdx::router_picture& picture);
