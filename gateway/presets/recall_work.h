// Takes on several routers as one: looked at together, then sent router by router.
#pragma once

#include "gateway/presets/preset.h"
#include "gateway/takes/take_desk.h"

namespace gateway {

struct recall_wish {
    unsigned within_ms = 0; // 0: the driver's usual
    bool all_or_nothing = false;
};

// One output of a recall.
struct recalled_output {
    std::string router;
    bool split_levels = false; // of the router
    // What the output shows, as far as that is known now, and what it is to show. The latter is not known
    // when nothing of its router is.
    std::optional<vrdx::level_sources> shown, wanted;
    output_answer answer; // without a result before the take was sent
};

struct recall_answer {
    enum class kind {
        answered,    // `outputs` has one for each take, in their order
        wrong,       // a name is no input's, or that of several
        not_allowed, // beyond the rights of the token
    } ended = kind::answered;
    std::string problem; // of all but answered, where nothing was done: a sentence
    std::vector<recalled_output> outputs;
};

using recall_done = std::function<void(const recall_answer&)>;

// What sending these takes would find now; an output without a result would be sent.
recall_answer look_at_recall(const router_board& routers, const take_desk& desk,
                             const std::vector<preset_take>& takes, const token& who,
                             const recall_wish& wish);

// Looks at them, and sends those that can be sent. `done` is called once, perhaps before this returns.
void run_recall(const router_board& routers, take_desk& desk, const std::vector<preset_take>& takes,
                const take_asker& asker, const recall_wish& wish, const recall_done& done);

} // namespace gateway
