// Invariants: checked in every build type, told as the C library tells them, under the program's own name.
#pragma once

[[noreturn]] void vrdx_assert_failed(const char* assertion, unsigned line, const char* function);

#define vrdx_assert(expression)                                                                              \
    ((expression) ? static_cast<void>(0) : vrdx_assert_failed(#expression, __LINE__, __PRETTY_FUNCTION__))
