// Presets, their recalls and saved files as JSON.
#pragma once

#include "gateway/presets/recall_work.h"
#include "router_json.h"

namespace gateway {

// What a list says of it.
json preset_row_json(const preset_row& row);

// All of it; `undo`: how many outputs an undo would lead back.
json preset_json(const preset& one, std::size_t undo);

// {"results": [...]}, an output each.
json recall_json(const recall_answer& answer);

// {"differences": [...]}: what each output shows and is to show, and why it cannot be taken now.
json differences_json(const recall_answer& look);

// The takes on that router as a file that `vrdx_routectl restore` reads. Left out are levels that nobody
// knows. Nothing and a sentence in *problem when a name is no input's, or no crosspoint is left.
std::optional<json> snapshot_json(const preset& one, const shown_router& router, std::string* problem);

} // namespace gateway
