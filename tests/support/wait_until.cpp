#include "wait_until.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace {

using clock_type = std::chrono::steady_clock;

// What takes seconds is asked less often: other tests want the processor meanwhile.
clock_type::duration pause_after(clock_type::duration waited) {
    return std::clamp<clock_type::duration>(waited / 32, std::chrono::milliseconds(2),
                                            std::chrono::milliseconds(20));
}

} // namespace

bool becomes_true(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto start = clock_type::now();
    while (!condition()) {
        const auto waited = clock_type::now() - start;
        if (waited >= patience)
            return condition();
        std::this_thread::sleep_for(pause_after(waited));
    }
    return true;
}

void wait_until(const std::string& what, const std::function<bool()>& condition,
                std::chrono::milliseconds patience) {
    if (!becomes_true(condition, patience))
        throw std::runtime_error("waited in vain: " + what);
}
