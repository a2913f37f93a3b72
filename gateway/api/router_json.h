// A router, its inputs and outputs, takes and locks as JSON: the same in answers and events.
#pragma once

#include "gateway/access/lock_table.h"
#include "gateway/routers/shown_router.h"
#include "gateway/takes/take_desk.h"
#include "json_reply.h"

#include <map>

namespace gateway {

using router_locks = std::map<int, output_lock>; // of one router, by output from 1

// ["video", "audio"] where they are switched apart, else ["all"].
json levels_json(const vrdx::router_picture& picture);

// A member for each level: the number of an input, 0 for none, null for unknown.
json sources_json(bool split_levels, const vrdx::level_sources& sources);

// A driver's client: user, process, what it says of itself.
json who_json(std::uint64_t user, std::uint64_t process, const std::string& by);

json lock_json(const output_lock* lock); // null without one

// One input or output; `number` from 1 and within the picture.
json input_json(const vrdx::router_picture& picture, int number);
json output_json(const shown_router& router, int number, const output_lock* lock);

json last_error_json(const shown_router& router); // null without one

// What a list says of a router: `name`, `state`, `reason`, sizes, `levels`, `last_error`.
json router_row_json(const shown_router& router);

// All of it. `locks` may be null.
json picture_json(const shown_router& router, const router_locks* locks);

// How a take ended: `output`, `result`, and what belongs to it.
json result_json(const output_answer& answer, bool split_levels);

} // namespace gateway
