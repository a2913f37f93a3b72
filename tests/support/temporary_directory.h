// A directory of the test's own, removed with all that is in it.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <stdlib.h> // mkdtemp
#include <string>

class temporary_directory {
public:
    temporary_directory() {
        if (mkdtemp(path_.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
    }
    ~temporary_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;

    [[nodiscard]] const std::string& path() const {
        return path_;
    }
    [[nodiscard]] std::string file(const std::string& name) const {
        return path_ + '/' + name;
    }

private:
    std::string path_ = std::filesystem::temp_directory_path().string() + "/vrdx_test.XXXXXX";
};
