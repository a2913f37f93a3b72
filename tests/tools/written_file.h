// Files for tests of the client's modules.
#pragma once

#include "temporary_directory.h"

#include <fstream>
#include <gtest/gtest.h>

inline void write_file(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    EXPECT_TRUE(file) << "cannot write " << path;
}
