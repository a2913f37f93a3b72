#include "vrdx.h"

#include <map>

namespace {

struct assignment {
    int fd;
    unsigned long size; // bytes
};

std::map<int, assignment> assignments; // by buffer number

} // namespace

int vrdx_join_cnb_domain() {
    cnb_alloc_assign_single(-1, -1, 0);
    return 0;
}

void cnb_alloc_assign_single(int fd, int buffer, unsigned long size) {
    if (buffer < 0)
        assignments.clear();
    else
        assignments[buffer] = {fd, size};
}

void cnb_alloc_print_remaining_buffers() {
    if (assignments.empty())
        std::fputs("none\n", stderr);
    for (const auto& [buffer, held] : assignments)
        std::fprintf(stderr, "buffer %d: descriptor %d, %lu bytes\n", buffer, held.fd, held.size);
}
