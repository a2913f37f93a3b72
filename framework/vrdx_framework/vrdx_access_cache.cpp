#include "vrdx_access_cache.h"

#include "monotonic_us.h"

#include <cstdint>
#include <map>
#include <new>
#include <utility>

namespace {

constexpr std::uint64_t idle_limit_us = 60000000;

struct known_peer {
    std::string text;
    std::uint64_t last_used = 0; // monotonic_us
};

std::string describe(uid_t user, gid_t group) {
    return "user " + std::to_string(user) + ", group " + std::to_string(group);
}

} // namespace

struct vrdx_global_access_cache {
    std::map<std::pair<uid_t, gid_t>, known_peer> peers;
};

vrdx_global_access_cache* vrdx_global_access_cache_create() {
    return new (std::nothrow) vrdx_global_access_cache;
}

void vrdx_global_access_cache_free(vrdx_global_access_cache* cache) {
    delete cache;
}

void vrdx_global_access_cache_cleanup_idle(vrdx_global_access_cache* cache) {
    if (vrdx_global_access_cache_size(cache) == 0)
        return; // several times per pass: the clock is read only when there is something to drop
    const std::uint64_t now = monotonic_us();
    std::erase_if(cache->peers,
                  [now](const auto& entry) { return now - entry.second.last_used >= idle_limit_us; });
}

std::string vrdx_global_access_cache_peer(vrdx_global_access_cache* cache, uid_t user, gid_t group) {
    if (cache == nullptr)
        return describe(user, group);
    auto [entry, is_new] = cache->peers.try_emplace({user, group});
    if (is_new)
        entry->second.text = describe(user, group);
    entry->second.last_used = monotonic_us();
    return entry->second.text;
}

std::size_t vrdx_global_access_cache_size(const vrdx_global_access_cache* cache) {
    return cache != nullptr ? cache->peers.size() : 0;
}
