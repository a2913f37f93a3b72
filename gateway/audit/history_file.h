// history.db for its only writer: adds entries, removes what is too old or too much. For one thread.
#pragma once

#include "gateway/access/database.h"
#include "history_entry.h"

#include <span>
#include <vector>

namespace gateway {

// How long entries are kept, and how many bytes the file may have; whichever is less. 0 of either: nothing is
// written, and what is there stays as it is.
struct history_share {
    std::int64_t days = 0, bytes = 0;
};

inline bool is_kept(const history_share& share) {
    return share.days > 0 && share.bytes > 0;
}

class history_file {
public:
    // A run of the gateway, which is written down when the file is opened: takes that the drivers recorded
    // for this process since `began_us` came through the gateway.
    struct run {
        std::int64_t process = 0, user = 0, began_us = 0;
    };

    // Null and a sentence in *problem when it cannot be used.
    static std::unique_ptr<history_file> open(const std::string& state_directory, const run& now,
                                              std::string* problem);

    // All of it in one transaction, or nothing. What is there already is left out; *written gets what is new,
    // with `by` and `through` as they were written. Then all of it outlives a kill and a power cut.
    bool write(std::span<const history_item> batch, std::vector<history_entry>* written,
               std::string* problem);

    // Numbers refusals whose minute is long over: nothing is added to them any more, they can be handed on.
    bool number_refusals(std::int64_t now_us, std::string* problem);

    // Removes some of what is beyond the share, entries of other sites before those of this one; *more says
    // that there is more to remove.
    bool trim(const history_share& share, std::int64_t now_us, bool* more, std::string* problem);

private:
    explicit history_file(std::unique_ptr<database> kept) : kept_(std::move(kept)) {}
    bool add(history_entry entry, std::vector<history_entry>* written, std::string* problem);
    bool add(const counted_entry& counted, std::vector<history_entry>* written, std::string* problem);
    bool add(const record_mark& mark, std::vector<history_entry>* written, std::string* problem);
    bool add(const far_entry& far, std::vector<history_entry>* written, std::string* problem);
    bool add(const history_place& place, std::vector<history_entry>* written, std::string* problem);
    bool add_gap(const record_mark& mark, std::int64_t missing, const std::string& reason,
                 std::vector<history_entry>* written, std::string* problem);
    bool note_numbered(std::int64_t before, std::string* problem);
    bool insert(const history_entry& entry, entry_share share, const std::string& key, std::string* problem);
    void tell_who(history_entry* entry) const;

    // history_of_others.cpp
    bool find_newest(const std::string& site, std::int64_t* number, std::string* problem);
    bool add_again(const far_entry& far, std::string* problem);
    bool add_missing(const far_entry& far, std::int64_t newest, std::string* problem);

    // history_trimming.cpp
    bool trim_days(std::int64_t oldest_us, bool* more, std::string* problem);
    bool trim_bytes(std::int64_t bytes, bool* more, std::string* problem);
    bool trim_share(entry_share share, std::int64_t bytes, bool* more, std::string* problem);
    bool trim_oldest(entry_share share, std::int64_t rows, std::int64_t* removed, std::string* problem);
    bool note_trimmed(entry_share share, std::int64_t time_us, std::string* problem);

    std::unique_ptr<database> kept_;
    std::vector<run> runs_;                 // by their beginning
    std::int64_t epoch_ = 0, numbered_ = 0; // of this site's entries: of this start, and the newest number
};

} // namespace gateway
