// Locks of outputs by tokens. Each change is on the disk before it is answered; locks outlive a restart, and
// the token that set them.
#pragma once

#include "token.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace gateway {

class access_store;

enum class lock_state {
    protect, // the owner alone takes
    lock,    // nobody takes, not even the owner
};

enum class lock_order { lock, protect, unlock, force };

struct lock_wish {
    int output = 0; // 1-based
    lock_order order = lock_order::unlock;
};

std::string_view lock_word(lock_state state);                        // "protect", "lock"
std::optional<lock_order> lock_order_of_word(std::string_view word); // "lock", "protect", "unlock", "force"

// What an output showed last that the router has confirmed: numbers of inputs, 0 for none, -1: nobody knows.
struct locked_sources {
    int video = -1, audio = -1;

    bool operator==(const locked_sources&) const = default;
};

struct output_lock {
    lock_state state = lock_state::lock;
    std::int64_t owner_id = 0; // 0: set by somebody anonymous
    std::string owner;         // the token's name when it was set
    std::string reason;        // UTF-8, may be empty
    std::int64_t since = 0;    // seconds since 1970, UTC
    // While it is locked; so a change is noticed although nobody was there to see it.
    locked_sources shown = {};

    // The same lock, whatever its output shows.
    bool operator==(const output_lock& other) const {
        return state == other.state && owner_id == other.owner_id && owner == other.owner &&
               reason == other.reason && since == other.since;
    }
};

// True when the take of an output with that lock is allowed to `who`.
bool lock_lets_take(const output_lock& held, const token& who);

// "locked by NAME: REASON", "protected by NAME".
std::string lock_text(const output_lock& held);

struct lock_answer {
    enum class kind {
        done,        // as wished, and on the disk
        unchanged,   // it was so before
        not_allowed, // beyond the rights of the token
        held,        // by another owner
        wrong,       // the reason is too long, or no text
        busy,        // another program writes; nothing has changed, and it may be asked again at once
        failed,      // not written; nothing has changed
    };
    kind result = kind::failed;
    std::string problem; // a sentence that says what is possible; empty after done and unchanged
};

class lock_table {
public:
    // The store must outlive it. Null and a sentence in *problem when the locks cannot be read.
    static std::unique_ptr<lock_table> open(access_store& store, std::string* problem);

    // Null when the output is free. Valid until the next set(). Outputs are 1-based.
    const output_lock* of(std::string_view router, int output) const;

    // By output; null when there is none of that router. Valid until the next set().
    const std::map<int, output_lock>* of_router(std::string_view router) const;

    // Rises with each set() and set_all() that changed something; from 1.
    std::uint64_t version() const {
        return version_;
    }

    // Checks the rights, too. `reason` replaces the one of before and belongs to lock and protect. The caller
    // has seen to it that the router has that output.
    lock_answer set(std::string_view router, int output, lock_order order, const token& who,
                    std::string_view reason, std::int64_t now);

    // The same for several outputs, each named once: all of them, or nothing.
    lock_answer set_all(std::string_view router, const std::vector<lock_wish>& wishes, const token& who,
                        std::string_view reason, std::int64_t now);

    // Tells what an output shows that is locked now; that is kept with its lock. Without it nobody knows.
    using shown_finder = std::function<locked_sources(std::string_view router, int output)>;
    void find_shown_with(shown_finder find) {
        find_shown_ = std::move(find);
    }
    // The output shows this now; nothing where it is free. On the disk after keep_shown().
    void note_shown(std::string_view router, int output, const locked_sources& now);
    // Writes what was noted, without waiting for another writer; what cannot be written stays for the next
    // call.
    void keep_shown();

    // Each change is told to `listener`, once it is on the disk.
    using lock_listener = std::function<void(const std::string& router, int output)>;
    void listen(lock_listener listener) {
        listener_ = std::move(listener);
    }

private:
    explicit lock_table(access_store& store) : store_(store) {}
    lock_answer judge(std::string_view router, const lock_wish& wish, const token& who,
                      std::string_view reason) const;
    bool write(std::string_view router, const lock_wish& wish, const output_lock& held, std::string* problem);
    output_lock* place(std::string_view router, int output);
    lock_answer not_written(const std::string& problem) const;

    access_store& store_;
    lock_listener listener_;
    shown_finder find_shown_;
    std::set<std::pair<std::string, int>> unkept_; // router and output of what note_shown() has changed
    std::map<std::string, std::map<int, output_lock>, std::less<>> locks_;
    std::size_t count_ = 0;
    std::uint64_t version_ = 1;
};

} // namespace gateway
