// What a router looks like on the panels of a token: kept in the gateway's database as a text that whoever
// asks has checked. A layout is a view and no right: what it hides can be taken all the same.
//
// Nothing is kept in memory, so that a token which another program removes leaves nothing behind here.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace gateway {

class access_store;

struct layout_owner {
    std::int64_t token = 0; // its id; 0: who asks without one
    std::string_view router;
};

struct kept_layout {
    std::string content;      // "" when none is kept
    std::int64_t changed = 0; // seconds since 1970, UTC; 0 when none is kept
};

struct layout_answer {
    enum class kind {
        done,     // on the disk
        too_much, // layouts, or bytes of them: of this token, or of all
        failed,   // not written; nothing has changed
    } result = kind::failed;
    std::string problem; // of all but done: a sentence that says what is possible
};

class layout_store {
public:
    // The store must outlive it.
    explicit layout_store(access_store& store) : store_(store) {}

    // False and a sentence in *problem when it cannot be read.
    bool read(const layout_owner& owner, kept_layout* found, std::string* problem) const;

    // In the place of the one of before. `content` has at most layout_bytes_limit bytes.
    layout_answer write(const layout_owner& owner, std::string_view content, std::int64_t now);

    // Done, too, when there is none.
    layout_answer remove(const layout_owner& owner);

private:
    access_store& store_;
};

} // namespace gateway
