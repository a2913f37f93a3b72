#include "target.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

// The stream is replaced, not the descriptor: the sanitizers write to the latter.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::FILE* nowhere = std::fopen("/dev/null", "we");
    if (nowhere == nullptr)
        std::abort();
    stderr = nowhere;
    return 0;
}

void fuzz_check_failed(const char* what, const char* file, int line) {
    dprintf(STDERR_FILENO, "%s:%d: does not hold: %s\n", file, line, what);
    std::abort();
}
