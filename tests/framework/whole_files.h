// Files as tests see them: a text on the disk.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

inline void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

inline std::string file_text(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}
