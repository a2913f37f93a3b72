// Who has connected lately: users and groups by number, and how the trace writes them. An entry is forgotten
// after a minute without use. Names are not looked up here: a name service may be slow, and while the loop
// waits for it nobody is served.
#pragma once

#include <string>
#include <sys/types.h>

struct vrdx_global_access_cache;

// A new empty cache, null on failure. The caller owns it.
vrdx_global_access_cache* vrdx_global_access_cache_create();
void vrdx_global_access_cache_free(vrdx_global_access_cache* cache);

// Drops what was not used for 60 s.
void vrdx_global_access_cache_cleanup_idle(vrdx_global_access_cache* cache);

// "user 1000, group 1000". A null cache keeps nothing.
std::string vrdx_global_access_cache_peer(vrdx_global_access_cache* cache, uid_t user, gid_t group);

// How many pairs of user and group are known; 0 for a null cache.
std::size_t vrdx_global_access_cache_size(const vrdx_global_access_cache* cache);
