#include "temporary_file.h"

#include "target.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace {

std::string directory; // empty: not made yet

void remove_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void make_directory() {
    directory = (std::filesystem::temp_directory_path() / "vrdx_fuzz.XXXXXX").string();
    FUZZ_CHECK(mkdtemp(directory.data()) != nullptr);
    FUZZ_CHECK(std::atexit(remove_directory) == 0);
}

} // namespace

const std::string& temporary_file_path() {
    static std::string path;
    if (path.empty()) {
        make_directory();
        path = directory + "/file";
    }
    return path;
}

void write_temporary_file(std::string_view text) {
    const int fd = open(temporary_file_path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    FUZZ_CHECK(fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    close(fd);
}

std::string read_temporary_file() {
    const int fd = open(temporary_file_path().c_str(), O_RDONLY | O_CLOEXEC);
    FUZZ_CHECK(fd >= 0);
    std::string text;
    char piece[16384];
    for (ssize_t count = read(fd, piece, sizeof piece); count != 0; count = read(fd, piece, sizeof piece)) {
        FUZZ_CHECK(count > 0);
        text.append(piece, static_cast<std::size_t>(count));
    }
    close(fd);
    return text;
}
