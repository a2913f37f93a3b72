#include "wait_until.h"

#include <stdexcept>
#include <thread>

bool becomes_true(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void wait_until(const std::string& what, const std::function<bool()>& condition,
                std::chrono::milliseconds patience) {
    if (!becomes_true(condition, patience))
        throw std::runtime_error("waited in vain: " + what);
}
