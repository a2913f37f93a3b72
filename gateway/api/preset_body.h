// Bodies of requests about presets, and the files of `vrdx_routectl save`.
#pragma once

#include "gateway/presets/recall_work.h"
#include "json_reply.h"

namespace gateway {

// The takes of {"takes": [...]}. Nothing and a sentence in *problem when the body asks for nothing that is
// possible.
std::optional<std::vector<preset_take>> read_preset(const json& body, std::string* problem);

// The crosspoints of a saved file, as takes on that router. Its names, if it has some, are left aside.
std::optional<std::vector<preset_take>> read_snapshot(const json& body, const std::string& router,
                                                      std::string* problem);

struct recall_request {
    recall_wish wish;
    bool dry_run = false;
};

// `may_be_dry`: whether a dry run is possible here.
std::optional<recall_request> read_recall(const json& body, bool may_be_dry, std::string* problem);

} // namespace gateway
