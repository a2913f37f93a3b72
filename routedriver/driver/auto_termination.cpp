#include "driver.h"

#include "vrdx.h"

#include <cstdio>

bool auto_termination_due(std::uint64_t now) {
    if (vrdx_no_autoshutdown || stay_resident || mono_auto_shutdown == 0 || mono_auto_shutdown > now)
        return false;
    std::fprintf(stderr, "Auto terminate: %s\n", vrdx_file);
    return true;
}
