#include "driver.h"

#include "backend.h"
#include "vrdx.h"
#include "vrdx_assert.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::string driver_name;
bool stay_resident = false;
std::int64_t item_file_mtime = 0;

namespace {

constexpr int line_bytes = 1024; // a longer line is read as several

bool is_regular(int fd, struct stat* found) {
    return fstat(fd, found) == 0 && S_ISREG(found->st_mode);
}

// Why `found` is no item file.
const char* irregularity(const struct stat& found) {
    if (S_ISLNK(found.st_mode))
        return "it is a symbolic link";
    return S_ISDIR(found.st_mode) ? "it is a directory" : "it is no regular file";
}

// Looks at what now stands under the item's name, without following a link. Why that is no item file; null
// when it is one.
const char* fault_of_location(const char* name, struct stat& found) {
    if (fstatat(vrdx_meta->dir_fd, name, &found, AT_SYMLINK_NOFOLLOW) != 0)
        return std::strerror(errno);
    return S_ISREG(found.st_mode) ? nullptr : irregularity(found);
}

// A stream of its own over the item file, sharing its read position; null on failure.
FILE* open_item_stream() {
    const int copy = fcntl(vrdx_meta->file_fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0)
        return nullptr;
    FILE* stream = fdopen(copy, "r");
    if (stream == nullptr)
        close(copy);
    return stream;
}

void apply_setting(const char* name, const char* value) {
    if (std::strcmp(name, "driver") == 0)
        driver_name = value;
    else if (std::strcmp(name, "stay resident") == 0)
        stay_resident = std::strtol(value, nullptr, 0) > 0;
    else if (std::strcmp(name, "enable debug messages") == 0)
        debug_messages = static_cast<std::int32_t>(std::strtol(value, nullptr, 10)) > 0;
}

void read_settings(FILE* stream) {
    char line[line_bytes];
    while (std::fgets(line, sizeof(line), stream) != nullptr) {
        if (*chomp(line) == '\0')
            continue;
        const char* name = nullptr;
        const char* value = nullptr;
        divide_name_equ_value_pair(line, &name, &value);
        if (name != nullptr && value != nullptr)
            apply_setting(name, value);
    }
}

// Keeps every path out of the program's name.
bool names_usable_driver() {
    return driver_name.starts_with("route_") && driver_name.find_first_of("/.") == std::string::npos;
}

void choose_backend(const std::string& old_name) {
    if (driver_name == "sierra_video_aspen_hdsdi")
        driver_name = "route_sierra_video_aspen_hdsdi"; // its items are older than the prefix
    if (!names_usable_driver()) {
        std::fputs("Nothing more to run\n", stderr);
        backend_path.clear();
        stop_backend();
        return;
    }
    if (driver_name != old_name) {
        std::fputs("Driver changed\n", stderr);
        stop_backend();
    }
    backend_path = VRDX_BACKEND_PREFIX + driver_name;
}

} // namespace

int examine_file() {
    vrdx_assert(vrdx_meta->file_fd >= 0);
    struct stat found {};
    if (!is_regular(vrdx_meta->file_fd, &found))
        return -1;
    FILE* stream = open_item_stream();
    if (stream == nullptr)
        return -1;
    const std::string old_name = driver_name;
    read_settings(stream);
    choose_backend(old_name);
    if (!is_regular(vrdx_meta->file_fd, &found)) {
        std::fputs("Failed to fstat()\n", stderr);
        return 0; // the stream stays open on purpose
    }
    item_file_mtime = found.st_mtim.tv_sec;
    std::fclose(stream);
    return 0;
}

item_file_check check_item_file() {
    struct stat found {};
    if (!is_regular(vrdx_meta->file_fd, &found)) {
        std::fputs("Cannot stat file\n", stderr);
        return item_file_check::unchanged;
    }
    const char* name = vrdx_meta->file_name.c_str();
    if (const char* fault = fault_of_location(name, found)) {
        std::fprintf(stderr, "Cannot stat file location %d for %s, %s\n", vrdx_meta->dir_fd, name, fault);
        return item_file_check::unchanged;
    }
    if (found.st_mtim.tv_sec == item_file_mtime)
        return item_file_check::unchanged;
    metadata_v4_context_close_the_file(vrdx_meta);
    metadata_v4_context_open_the_file(vrdx_meta);
    std::fputs("Settings changed\n", stderr);
    if (examine_file() == 0)
        return item_file_check::examined;
    std::fputs("Reading failed\n", stderr);
    return item_file_check::unreadable;
}
