// Idempotency keys: the same request of the same token is done once, and answered as often as it is asked.
//
// In memory alone: a restart forgets them. Times are given in.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

struct kept_answer {
    unsigned status = 0;
    std::string content_type;
    std::shared_ptr<const std::string> body; // may be null
};

// Of method, path and body of a request: 32 bytes.
std::string request_hash(std::string_view method, std::string_view path, std::string_view body);

enum class key_state {
    first,      // do it, and call finish() once
    answered,   // *answer is the first one's
    running,    // `later` was kept; finish() calls it
    other_body, // the key was used with another request: 422
    full,       // too many are kept or wait: 429. Nothing was kept
    wrong_key,  // empty, too long or not printable ASCII: 400
};

class idempotency_table {
public:
    using answer_function = std::function<void(const kept_answer&)>;

    key_state begin(std::int64_t token_id, std::string_view key, const std::string& request_hash,
                    std::uint64_t now_ms, kept_answer* answer, answer_function later);

    // The end of a request that was `first`: answers those that wait. `keep` false: the key is free again
    // (when nothing was done, so that it may be tried again). Kept answers go after idempotency_time_ms.
    // Calls nothing for a token that was forgotten.
    void finish(std::int64_t token_id, std::string_view key, const kept_answer& answer, bool keep,
                std::uint64_t now_ms);

    // A removed token: drops its answers, and those that wait, uncalled: their connections end.
    void forget(std::int64_t token_id);

    std::size_t size() const {
        return count_;
    }
    std::size_t bytes() const {
        return bytes_;
    }

private:
    struct entry {
        std::string request_hash;
        bool finished = false;
        kept_answer answer;
        std::vector<answer_function> waiting;
    };
    struct of_token {
        std::map<std::string, entry, std::less<>> entries;
        std::size_t bytes = 0;
    };
    struct end {
        std::uint64_t at_ms;
        std::int64_t token_id;
        std::string key;
    };
    void drop(std::int64_t token_id, std::string_view key);
    void drop_old(std::uint64_t now_ms);

    std::map<std::int64_t, of_token> tokens_;
    std::list<end> ends_; // finished ones, the oldest first
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
};

} // namespace gateway
