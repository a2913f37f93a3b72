// Invariants. They are checked in every build type; the message is that of the C library, with this program's
// name.
#pragma once

[[noreturn]] void vrdx_assert_failed(const char* assertion, unsigned line, const char* function);

#define vrdx_assert(expression)                                                                              \
    ((expression) ? static_cast<void>(0) : vrdx_assert_failed(#expression, __LINE__, __PRETTY_FUNCTION__))
