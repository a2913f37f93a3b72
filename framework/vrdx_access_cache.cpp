#include "vrdx_access_cache.h"

#include "monotonic_us.h"

#include <cerrno>
#include <cstdint>
#include <grp.h>
#include <map>
#include <new>
#include <pwd.h>
#include <vector>

namespace {

constexpr std::uint64_t idle_limit_us = 60000000;
constexpr std::size_t first_record_bytes = 1024;
constexpr std::size_t max_record_bytes = 1048576; // a group of many members has a long record

struct known_name {
    std::string name;
    std::uint64_t last_used = 0; // monotonic_us
};

using known_names = std::map<std::uint32_t, known_name>; // by user or group number

const char* name_of(const passwd& user) {
    return user.pw_name;
}

const char* name_of(const group& group) {
    return group.gr_name;
}

// The name of record `id`, or its number as text. `get` is getpwuid_r or getgrgid_r.
template<typename Record, typename Get> std::string look_up(std::uint32_t id, Get get) {
    std::vector<char> strings(first_record_bytes);
    Record record{};
    Record* found = nullptr;
    int error = get(id, &record, strings.data(), strings.size(), &found);
    while ((error == ERANGE && strings.size() < max_record_bytes) || error == EINTR) {
        if (error == ERANGE)
            strings.resize(strings.size() * 2);
        error = get(id, &record, strings.data(), strings.size(), &found);
    }
    return error == 0 && found != nullptr ? name_of(*found) : std::to_string(id);
}

std::string look_up_user(std::uint32_t id) {
    return look_up<passwd>(id, getpwuid_r);
}

std::string look_up_group(std::uint32_t id) {
    return look_up<group>(id, getgrgid_r);
}

std::string cached(known_names* names, std::uint32_t id, std::string (*look_up_name)(std::uint32_t)) {
    auto [entry, is_new] = names->try_emplace(id);
    if (is_new)
        entry->second.name = look_up_name(id);
    entry->second.last_used = monotonic_us();
    return entry->second.name;
}

} // namespace

struct vrdx_global_access_cache {
    known_names users;
    known_names groups;
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
    const auto is_idle = [now](const auto& entry) { return now - entry.second.last_used >= idle_limit_us; };
    std::erase_if(cache->users, is_idle);
    std::erase_if(cache->groups, is_idle);
}

std::string vrdx_global_access_cache_user(vrdx_global_access_cache* cache, uid_t uid) {
    return cache != nullptr ? cached(&cache->users, uid, look_up_user) : look_up_user(uid);
}

std::string vrdx_global_access_cache_group(vrdx_global_access_cache* cache, gid_t gid) {
    return cache != nullptr ? cached(&cache->groups, gid, look_up_group) : look_up_group(gid);
}

unsigned vrdx_global_access_cache_size(const vrdx_global_access_cache* cache) {
    return cache != nullptr ? static_cast<unsigned>(cache->users.size() + cache->groups.size()) : 0;
}
