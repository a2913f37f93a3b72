// Names of the users who connect, looked up once and forgotten after a minute without use. A look-up takes as
// long as the machine's name service does: keep the service users of a driver in the local files.
#pragma once

#include <string>
#include <sys/types.h>

struct vrdx_global_access_cache;

// A new empty cache, null on failure. The caller owns it.
vrdx_global_access_cache* vrdx_global_access_cache_create();
void vrdx_global_access_cache_free(vrdx_global_access_cache* cache);

// Drops what was not used for 60 s.
void vrdx_global_access_cache_cleanup_idle(vrdx_global_access_cache* cache);

// The name of user `uid` or group `gid`, or its number as text when it has none. A null cache looks up anew.
std::string vrdx_global_access_cache_user(vrdx_global_access_cache* cache, uid_t uid);
std::string vrdx_global_access_cache_group(vrdx_global_access_cache* cache, gid_t gid);

// Count of names held; for tests.
unsigned vrdx_global_access_cache_size(const vrdx_global_access_cache* cache);
