#include "idempotency.h"

#include "fair_share.h"
#include "gateway/settings/limits.h"

#include <algorithm>
#include <sodium.h>

namespace gateway {
namespace {

bool is_key(std::string_view key) {
    return !key.empty() && key.size() <= idempotency_key_limit &&
           std::all_of(key.begin(), key.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::size_t bytes_of(const kept_answer& answer) {
    return answer.body ? answer.body->size() : 0;
}

} // namespace

std::string request_hash(std::string_view method, std::string_view path, std::string_view body) {
    crypto_generichash_state state;
    crypto_generichash_init(&state, nullptr, 0, crypto_generichash_BYTES);
    // With its length before each of them, so that what is whose is part of the hash.
    for (const std::string_view part : {method, path, body}) {
        const std::uint64_t size = part.size();
        crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(&size), sizeof size);
        crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(part.data()), part.size());
    }
    std::string hash(crypto_generichash_BYTES, '\0');
    crypto_generichash_final(&state, reinterpret_cast<unsigned char*>(hash.data()), hash.size());
    return hash;
}

key_state idempotency_table::begin(std::int64_t token_id, std::string_view key, const std::string& hash,
                                   std::uint64_t now_ms, kept_answer* answer, answer_function later) {
    drop_old(now_ms);
    if (!is_key(key))
        return key_state::wrong_key;
    of_token& own = tokens_[token_id];
    const auto found = own.entries.find(key);
    if (found == own.entries.end()) {
        const bool has_room =
            own.entries.size() <
                share_of(idempotency_entries_per_token_limit, idempotency_entries_limit, count_) &&
            own.bytes < share_of(idempotency_bytes_per_token_limit, idempotency_bytes_limit, bytes_);
        if (has_room) {
            own.entries[std::string(key)].request_hash = hash;
            ++count_;
        } else if (own.entries.empty()) {
            tokens_.erase(token_id);
        }
        return has_room ? key_state::first : key_state::full;
    }
    entry& known = found->second;
    if (known.request_hash != hash)
        return key_state::other_body;
    if (known.finished) {
        *answer = known.answer;
        return key_state::answered;
    }
    if (known.waiting.size() >= idempotency_waiting_limit)
        return key_state::full;
    known.waiting.push_back(std::move(later));
    return key_state::running;
}

void idempotency_table::finish(std::int64_t token_id, std::string_view key, const kept_answer& answer,
                               bool keep, std::uint64_t now_ms) {
    const auto own = tokens_.find(token_id);
    if (own == tokens_.end())
        return;
    const auto found = own->second.entries.find(key);
    if (found == own->second.entries.end() || found->second.finished)
        return;
    const std::vector<answer_function> waiting = std::move(found->second.waiting);
    if (keep) {
        found->second.waiting.clear();
        found->second.finished = true;
        found->second.answer = answer;
        own->second.bytes += bytes_of(answer);
        bytes_ += bytes_of(answer);
        ends_.push_back({now_ms + idempotency_time_ms, token_id, std::string(key)});
    } else {
        drop(token_id, key);
    }
    // Last: what they call may begin another request.
    for (const answer_function& later : waiting)
        later(answer);
}

void idempotency_table::forget(std::int64_t token_id) {
    const auto own = tokens_.find(token_id);
    if (own == tokens_.end())
        return;
    count_ -= own->second.entries.size();
    bytes_ -= own->second.bytes;
    ends_.remove_if([token_id](const end& one) { return one.token_id == token_id; });
    tokens_.erase(own);
}

void idempotency_table::drop(std::int64_t token_id, std::string_view key) {
    of_token& own = tokens_[token_id];
    const auto found = own.entries.find(key);
    own.bytes -= bytes_of(found->second.answer);
    bytes_ -= bytes_of(found->second.answer);
    own.entries.erase(found);
    --count_;
    if (own.entries.empty())
        tokens_.erase(token_id);
}

void idempotency_table::drop_old(std::uint64_t now_ms) {
    while (!ends_.empty() && ends_.front().at_ms <= now_ms) {
        drop(ends_.front().token_id, ends_.front().key);
        ends_.pop_front();
    }
}

} // namespace gateway
