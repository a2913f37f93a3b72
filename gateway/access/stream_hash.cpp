#include "stream_hash.h"

#include <array>
#include <cstdlib>
#include <sodium.h>

namespace gateway {

struct stream_hash::state {
    crypto_generichash_state hash;
};

stream_hash::stream_hash() : state_(std::make_unique<state>()) {
    if (sodium_init() < 0)
        std::abort();
    crypto_generichash_init(&state_->hash, nullptr, 0, crypto_generichash_BYTES);
}

stream_hash::~stream_hash() = default;

void stream_hash::add(std::string_view bytes) {
    crypto_generichash_update(&state_->hash, reinterpret_cast<const unsigned char*>(bytes.data()),
                              bytes.size());
}

std::string stream_hash::text() {
    std::array<unsigned char, crypto_generichash_BYTES> hash{};
    crypto_generichash_final(&state_->hash, hash.data(), hash.size());
    std::array<char, crypto_generichash_BYTES * 2 + 1> digits{};
    sodium_bin2hex(digits.data(), digits.size(), hash.data(), hash.size());
    return digits.data();
}

} // namespace gateway
