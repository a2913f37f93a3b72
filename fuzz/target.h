// What the fuzz targets share: a target gets one input of any bytes, lets the product work on it, and checks
// what must hold whatever the bytes are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Before the first input. Lets the driver's trace go nowhere; what the sanitizers say is still seen.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

[[noreturn]] void fuzz_check_failed(const char* what, const char* file, int line);

// Aborts when the promise does not hold, so that the input is kept as a finding.
#define FUZZ_CHECK(promise)                                                                                  \
    ((promise) ? static_cast<void>(0) : fuzz_check_failed(#promise, __FILE__, __LINE__))

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}
