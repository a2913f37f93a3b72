// What requests leave behind in the history.
#pragma once

#include "call.h"
#include "gateway/audit/history_entry.h"
#include "take_wish.h"

namespace gateway {

// Who asked, from where, about which router; `kind` from the operation.
history_entry entry_of_call(const api_world& world, const call& incoming);

// The request was refused, with that sentence.
void note_refusal(api_world& world, const call& incoming, const std::string& reason);

// A take that was not sent to the driver: `result` and `reason` as they were answered.
void note_unsent_take(api_world& world, const call& incoming, const vrdx::output_take& take,
                      const std::string& result, const std::string& reason);

void note_wrong_login(api_world& world, const std::string& address);

} // namespace gateway
