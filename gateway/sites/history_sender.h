// Hands this site's history on to the broker's stream, entry by entry as they are numbered. Of one thread.
//
// An entry counts as handed on when the broker has acknowledged it; up to where that is so stands in
// history.db. After a kill or a cut some come to the broker once more: who reads them leaves out what he has.
#pragma once

#include "broker_questions.h"
#include "gateway/audit/history_outbox.h"
#include "gateway/audit/history_writer.h"

#include <functional>
#include <optional>

namespace gateway {

using ask_broker = std::function<std::vector<broker_answer>(const std::vector<broker_question>&)>;

class history_sender {
public:
    // `writer` outlives it.
    history_sender(std::string site, std::string state_directory, history_writer& writer);

    // Sends a batch of what is there. True when there may be more at once. A problem is told in *problem.
    bool step(const ask_broker& ask, std::string* problem);

    // Entries that are not at the broker yet, as of the last step; and those it has acknowledged since the
    // start.
    [[nodiscard]] std::uint64_t unsent() const {
        return unsent_;
    }
    [[nodiscard]] std::uint64_t sent() const {
        return sent_;
    }

private:
    bool look(std::vector<far_entry>* entries, std::string* problem);

    const std::string site_, state_directory_;
    history_writer& writer_;
    std::unique_ptr<history_outbox> outbox_;
    std::optional<std::int64_t> place_; // unknown before it was read
    std::uint64_t unsent_ = 0, sent_ = 0;
};

} // namespace gateway
