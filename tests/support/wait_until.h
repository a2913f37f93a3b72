// Waiting for conditions, never for fixed times.
#pragma once

#include <chrono>
#include <functional>
#include <string>

// Long enough for a loaded machine under sanitizers; reached only when the test fails.
constexpr std::chrono::seconds test_patience{60};

// Asks every few milliseconds. False when the condition did not come true within `patience`.
bool becomes_true(const std::function<bool()>& condition, std::chrono::milliseconds patience = test_patience);

// The same; throws, and so fails the test, with `what` in the text when it does not come true.
void wait_until(const std::string& what, const std::function<bool()>& condition,
                std::chrono::milliseconds patience = test_patience);
