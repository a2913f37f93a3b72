#include "vrdx_internal.h"

#include "comm_socket_v4_limits.h"

#include <algorithm>
#include <malloc.h>
#include <sys/resource.h>

namespace {

constexpr int large_block_bytes = 262144; // packets and backlogs of unusual size; replies are far smaller
constexpr int unused_heap_bytes = 1048576;

rlimit inherited_limit{};
bool limit_raised = false;

} // namespace

std::size_t vrdx_raise_descriptor_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return comm_max_clients;
    const rlim_t wanted =
        std::min<rlim_t>(comm_max_clients + comm_descriptors_beside_clients, limit.rlim_max);
    if (limit.rlim_cur < wanted) {
        inherited_limit = limit;
        limit.rlim_cur = wanted;
        limit_raised = setrlimit(RLIMIT_NOFILE, &limit) == 0;
        if (!limit_raised)
            limit = inherited_limit;
    }
    // Clients never get the descriptors that the item file and a new backend need.
    const rlim_t beside = std::min<rlim_t>(comm_descriptors_beside_clients, limit.rlim_cur / 2);
    return std::min<std::size_t>(comm_max_clients, limit.rlim_cur - beside);
}

void vrdx_restore_descriptor_limit() {
    if (limit_raised)
        setrlimit(RLIMIT_NOFILE, &inherited_limit);
}

// By default the allocator keeps large blocks after the first one was freed, and a driver that was flooded
// once would keep that memory for months.
void vrdx_give_back_large_memory() {
    mallopt(M_MMAP_THRESHOLD, large_block_bytes);
    mallopt(M_TRIM_THRESHOLD, unused_heap_bytes);
}
