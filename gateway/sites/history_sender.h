// Hands this site's history on to the broker's stream, entry by entry as they are numbered. Of one thread.
//
// An entry counts as handed on when the broker has acknowledged it; up to where that is so stands in
// history.db, with the mark of the stream. When the broker has another stream, or lost what was in it, all
// that is kept here and is younger than the stream keeps it is sent once more: who reads leaves out what he
// has.
#pragma once

#include "asked_stream.h"
#include "gateway/audit/history_outbox.h"
#include "gateway/audit/history_writer.h"

namespace gateway {

class history_sender {
public:
    // `writer` outlives it.
    history_sender(std::string site, std::string state_directory, history_writer& writer);

    // Sends a batch of what is there. True when there may be more at once. A problem is told in *problem.
    bool step(const ask_broker& ask, std::string* problem);

    // What is sent next was sent before: it may take its time.
    [[nodiscard]] bool sends_again() const {
        return place_ < again_to_;
    }

    // Entries that are not at the broker yet, as of the last step; and those it has acknowledged since the
    // start.
    [[nodiscard]] std::uint64_t unsent() const {
        return unsent_;
    }
    [[nodiscard]] std::uint64_t sent() const {
        return sent_;
    }

private:
    bool open(std::string* problem);
    void compare(const stream_state& now);
    bool read_on(std::vector<far_entry>* entries, std::string* problem);
    bool cannot_read(std::string* problem);
    std::size_t send(const ask_broker& ask, const std::vector<far_entry>& entries, std::string* problem);
    void keep_places();

    const std::string site_, state_directory_;
    history_writer& writer_;
    std::unique_ptr<history_outbox> outbox_;
    bool knows_places_ = false;
    std::int64_t place_ = 0;    // number of the entry up to which the stream has them
    std::int64_t again_to_ = 0; // up to here a stream had them before
    std::uint64_t stored_ = 0;  // sequence of the last one in the stream
    stream_mark stream_;
    std::uint64_t unsent_ = 0, sent_ = 0;
};

} // namespace gateway
