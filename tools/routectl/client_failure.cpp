#include "client_failure.h"

#include "display_text.h"

#include <cstdio>

int failed(int exit_code, const std::string& text) {
    std::fflush(stdout); // in the order in which it happened
    std::fprintf(stderr, "vrdx_routectl: %s\n", printable(text).c_str());
    return exit_code;
}
