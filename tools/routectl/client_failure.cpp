#include "client_failure.h"

#include "display_text.h"
#include "json_output.h"

#include <cstdio>

namespace {

bool as_json = false;

}

void tell_failures_as_json(bool wanted) {
    as_json = wanted;
}

int failed(int exit_code, const std::string& text) {
    std::fflush(stdout); // in the order in which it happened
    if (as_json)
        std::fprintf(stderr, "%s\n", json_line({{"error", text}, {"exit code", exit_code}}).c_str());
    else
        std::fprintf(stderr, "vrdx_routectl: %s\n", printable(text).c_str());
    return exit_code;
}
