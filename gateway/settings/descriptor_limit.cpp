#include "descriptor_limit.h"

#include <algorithm>
#include <sys/resource.h>

namespace gateway {

std::size_t raise_descriptor_limit(std::size_t wanted) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    const rlimit before = limit;
    // Root may go beyond the hard limit; everybody else up to it.
    limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, wanted);
    limit.rlim_max = std::max(limit.rlim_max, limit.rlim_cur);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        limit = before;
        limit.rlim_cur = std::min<rlim_t>(std::max<rlim_t>(before.rlim_cur, wanted), before.rlim_max);
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
            limit = before;
    }
    return limit.rlim_cur;
}

} // namespace gateway
