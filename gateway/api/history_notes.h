// What requests leave behind in the history.
#pragma once

#include "call.h"
#include "gateway/audit/history_entry.h"

#include <set>

namespace gateway {

// Who asked, from where, about which router; `kind` from the operation.
history_entry entry_of_call(const api_world& world, const call& incoming);

// The request was refused, with that sentence.
void note_refusal(api_world& world, const call& incoming, const std::string& reason);

// What was done with a preset, on each of its routers.
void note_preset(api_world& world, const call& incoming, const std::set<std::string>& routers,
                 const std::string& done, const std::string& reason = {});

void note_wrong_login(api_world& world, const std::string& address);

} // namespace gateway
