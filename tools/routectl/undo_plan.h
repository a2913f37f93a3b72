// What undoing the last takes of somebody means.
//
// The last takes are those of one request: the newest take in the driver's record with this user and `by`,
// and all others with the same user, `by` and process that were decided within the two minutes before it.
// What a program sends in several requests within that time counts as one.
#pragma once

#include "client_record.h"
#include "take_plan.h"

struct undo_plan {
    bool found = false;               // there are last takes
    std::vector<planned_take> takes;  // guarded: only where the take is still shown
    std::vector<std::string> skipped; // why an output stays as it is, a line each
};

// `records` in the order of the driver's record. An output that shows again what it showed before is in
// neither list.
undo_plan plan_undo(const std::vector<vrdx::take_record>& records, std::uint64_t user, const std::string& by,
                    const router_picture& picture);
