// Recalls presets, and undoes it.
//
// A recall is a take on each of its routers, within the rights of who recalls and beside the locks. An undo
// is of the last recall of a preset, on the outputs that still show what it brought: what somebody has taken
// since, stays. What an undo needs is kept on the disk.
#pragma once

#include "gateway/presets/recall_store.h"
#include "gateway/presets/recall_work.h"

namespace gateway {

class recall_desk {
public:
    // Seconds since 1970, UTC.
    using clock = std::function<std::int64_t()>;

    // All of them outlive the desk.
    recall_desk(router_board& routers, take_desk& takes, recall_store& store, clock now)
        : routers_(routers), takes_(takes), store_(store), now_(std::move(now)) {}

    // What was recalled before this start. False and a sentence in *problem when it cannot be read.
    bool remember(std::string* problem);

    // What a recall would find now.
    recall_answer look(const preset& wanted, const token& who, const recall_wish& wish) const {
        return look_at_recall(routers_, takes_, wanted.takes, who, wish);
    }

    // `done` is called once, perhaps before this returns. What an undo needs is then in memory; write()
    // brings it to the disk.
    void recall(const preset& wanted, const take_asker& asker, const recall_wish& wish,
                const recall_done& done);

    // False when no recall of that preset can be undone. An undo that sent something cannot be repeated.
    bool undo(const std::string& preset, const take_asker& asker, const recall_wish& wish,
              const recall_done& done);
    // How many outputs an undo would lead back.
    std::size_t undo_takes(std::string_view preset);

    // The preset is no more, or another one.
    void forget(std::string_view preset) {
        memory_.forget_replaced(preset);
    }

    // Writes what the disk does not have yet. False when another program writes, and it may be asked again at
    // once; also to be called now and then, for what the disk had no room for.
    bool write();

private:
    router_board& routers_;
    take_desk& takes_;
    recall_store& store_;
    clock now_;
    recall_memory memory_;
};

} // namespace gateway
