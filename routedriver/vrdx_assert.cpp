#include "vrdx_assert.h"

#include "vrdx_trace.h"

#include <cstdio>
#include <cstdlib>

void vrdx_assert_failed(const char* assertion, unsigned line, const char* function) {
    std::fprintf(stderr, "vrdx_routedriver: vrdx_routedriver:%u: %s: Assertion `%s' failed.\n", line,
                 function, assertion);
    vrdx_trace_flush();
    std::abort();
}
