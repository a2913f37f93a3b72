// Reads the histories of peers from the broker's stream into the one kept here. Of one thread.
//
// How far the stream was read is written together with the entries: a kill or a cut neither loses nor doubles
// one. What comes twice all the same is known by its site, epoch and number; what never comes is noticed by
// the numbers, when the history is written.
#pragma once

#include "history_sender.h"

#include <map>
#include <set>

namespace gateway {

class history_receiver {
public:
    // All of it outlives it. `print` is called from the thread.
    history_receiver(const site_settings& settings, std::string state_directory, history_writer& writer,
                     std::function<void(const std::string&)> print);

    // As history_sender::step(). Makes the stream where there is none.
    bool step(const ask_broker& ask, std::string* problem);

    // Entries at the broker that are not read yet, as of the last step; and those that were read since the
    // start, entries that were here already among them.
    [[nodiscard]] std::uint64_t unread() const {
        return unread_;
    }
    [[nodiscard]] std::uint64_t read() const {
        return read_;
    }

private:
    struct batch {
        std::vector<history_item> items;
        std::uint64_t end = 0; // sequence of the last message that is in it
        std::uint64_t entries = 0;
        std::map<std::string, std::int64_t> not_read; // of a site, since its last entry that could be read
    };
    bool is_at_rest(std::string* problem);
    bool make_stream(const ask_broker& ask, std::string* problem);
    void fetch(const ask_broker& ask, std::uint64_t begin, std::uint64_t last, batch* read,
               std::string* problem);
    void add(const std::string& subject, const std::string& data, batch* read);
    void print_once(const std::string& line);
    bool hand_over(batch read);

    const site_settings& settings_;
    const std::string state_directory_;
    history_writer& writer_;
    const std::function<void(const std::string&)> print_;
    bool knows_place_ = false;
    std::uint64_t place_ = 0;        // sequence up to which all is in the history
    stream_mark stream_;             // which stream the place is of
    std::uint64_t waits_for_ = 0;    // number of what the writer has not written yet; 0: of nothing
    std::uint64_t place_then_ = 0;   // when it is
    std::uint64_t entries_then_ = 0; // likewise
    std::uint64_t unread_ = 0, read_ = 0;
    std::map<std::string, std::int64_t> not_read_; // as in a batch, up to the place then
    std::set<std::string> told_;                   // what was printed of sites
};

} // namespace gateway
