// Names and locks of Videohub clients, for the history. Takes are noted by the take desk.
#pragma once

#include "gateway/access/lock_table.h"
#include "gateway/audit/history_keeper.h"
#include "gateway/fronts/videohub/hub_asker.h"
#include "gateway/routers/router_board.h"

namespace gateway {

// A name that was sent, or not: `problem` says why not. `before`: the name until now.
void note_name(history_keeper& history, const std::string& router, const hub_asker& asker,
               const new_name& name, const std::string& before, const std::string& problem);

// "free", "protect of desk".
std::string lock_words(const output_lock* held);

// A change of a lock, in these words. `output` is that of the router.
void note_lock(history_keeper& history, const std::string& router, const hub_asker& asker, int output,
               const std::string& before, const std::string& after);

// What went beyond what the asker may.
void note_refusal(history_keeper& history, const std::string& router, const hub_asker& asker, entry_kind kind,
                  const std::string& problem);

} // namespace gateway
