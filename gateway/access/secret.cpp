#include "secret.h"

#include <array>
#include <cstdlib>
#include <sodium.h>

namespace gateway {
namespace {

// Without a source of random bits there are no secrets, and nothing to go on with.
void need_sodium() {
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        std::abort();
}

} // namespace

std::string new_secret() {
    need_sodium();
    std::array<unsigned char, 32> bits{};
    randombytes_buf(bits.data(), bits.size());
    std::array<char, secret_text_size + 1> text{};
    sodium_bin2base64(text.data(), text.size(), bits.data(), bits.size(),
                      sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    sodium_memzero(bits.data(), bits.size());
    return text.data();
}

std::string hash_of(std::string_view secret) {
    need_sodium();
    std::string hash(crypto_generichash_BYTES, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), hash.size(),
                       reinterpret_cast<const unsigned char*>(secret.data()), secret.size(), nullptr, 0);
    return hash;
}

} // namespace gateway
