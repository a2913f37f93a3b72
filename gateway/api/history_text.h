// The history as JSON and as CSV.
#pragma once

#include "gateway/audit/history_entry.h"
#include "json_reply.h"

#include <vector>

namespace gateway {

// One entry as docs/api.md describes it.
json entry_json(const history_entry& entry);

// {"history": [...]}, in the order of the entries.
std::string history_json_text(const std::vector<history_entry>& entries);

// A line of names, then a line for each entry. A text that a spreadsheet would read as a formula gets an
// apostrophe in front.
std::string history_csv_text(const std::vector<history_entry>& entries);

} // namespace gateway
