// The files as they were when the program was built. A generated source has the bytes.
#pragma once

#include <cstddef>
#include <span>

namespace gateway {

struct embedded_file {
    const char* name; // without its folder
    bool is_page;
    const char* hash; // SHA-256, hexadecimal
    const unsigned char* bytes;
    std::size_t size;
};

std::span<const embedded_file> embedded_files();
const char* embedded_build();

} // namespace gateway
