#include "metadata_v4.h"

#include "file_texts.h"
#include "item_paths.h"
#include "plain_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t max_metadata_bytes = 16777216; // a larger file is refused
constexpr mode_t new_file_mode = 0644;

// --- lines -------------------------------------------------------------------------------------------------

// The stream number that `name` begins with; *length covers it and its ":". -1 and 0 when it begins with
// none.
std::int32_t leading_stream(std::string_view name, std::size_t* length) {
    const std::size_t colon = name.find(':');
    const auto stream = colon == std::string_view::npos
                            ? std::nullopt
                            : number_of_digits<std::int32_t>(name.substr(0, colon));
    *length = stream ? colon + 1 : 0;
    return stream.value_or(-1);
}

metadata_v4_metadata_context::line parse_line(std::string_view text) {
    metadata_v4_metadata_context::line line;
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        line.other = text;
        return line;
    }
    while (text.back() == '\r') // all of them: what is written back reads the same from then on
        text.remove_suffix(1);
    const std::string_view name = text.substr(0, equals);
    std::size_t prefix = 0;
    std::int32_t stream = leading_stream(name, &prefix);
    if (prefix == name.size()) { // "3:=x" has no name but "3:"
        prefix = 0;
        stream = -1;
    }
    line.entry = std::make_unique<metadata_v4_metadata_entry>();
    line.entry->stream = stream;
    line.entry->name = name.substr(prefix);
    line.entry->value = text.substr(equals + 1);
    return line;
}

void parse_lines(std::string_view text, metadata_v4_metadata_context* metadata) {
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        metadata->lines.push_back(parse_line(text.substr(0, length)));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

std::string all_lines(const metadata_v4_metadata_context* metadata) {
    std::string text;
    for (const auto& line : metadata->lines) {
        if (line.freed)
            continue;
        if (line.entry == nullptr) {
            text += line.other + '\n';
            continue;
        }
        if (line.entry->stream >= 0)
            text += std::to_string(line.entry->stream) + ':';
        text += line.entry->name + '=' + line.entry->value + '\n';
    }
    return text;
}

// --- files -------------------------------------------------------------------------------------------------

// Closes `fd` and answers -1, keeping errno.
int close_failed(int fd) {
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

// 0 for a regular file, else -1 with errno set.
int require_regular(const struct stat& status) {
    if (S_ISREG(status.st_mode))
        return 0;
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return -1;
}

// Opens the metadata file for reading and reads it. The descriptor, or -1 with errno set.
int open_and_read(const std::string& path, std::string* text) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return -1;
    struct stat status {};
    if (fstat(fd, &status) != 0 || require_regular(status) != 0 || !read_all(fd, max_metadata_bytes, text))
        return close_failed(fd);
    return fd;
}

// Makes the new file `path` with `text` on the disk. `old` null: there is no file whose mode it should get.
int write_new_file(const std::string& path, std::string_view text, const struct stat* old) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, new_file_mode);
    if (fd < 0)
        return -1;
    if (old != nullptr && fchmod(fd, old->st_mode & 0777) != 0)
        return close_failed(fd);
    if (!write_all(fd, text) || fsync(fd) != 0)
        return close_failed(fd);
    return close(fd);
}

int replace_file(const std::string& path, std::string_view text) {
    struct stat old {};
    const bool exists = stat(path.c_str(), &old) == 0;
    if (exists && require_regular(old) != 0)
        return -1;
    const std::string temporary = path + ".tmp~" + std::to_string(getpid());
    unlink(temporary.c_str()); // no other process has this number now, so a file of that name is left over
                               // from a crash
    if (write_new_file(temporary, text, exists ? &old : nullptr) != 0 ||
        std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        errno = error;
        return -1;
    }
    sync_directory(item_directory(path)); // if this fails, only a power cut right now could undo the rename
    return 0;
}

} // namespace

metadata_v4_metadata_context* metadata_v4_metadata_open(const metadata_v4_context* context) {
    std::string text;
    const int fd = open_and_read(context->metadata_path, &text);
    if (fd < 0 && errno != ENOENT)
        return nullptr;
    auto metadata = std::make_unique<metadata_v4_metadata_context>();
    metadata->file_fd = fd;
    parse_lines(text, metadata.get());
    return metadata.release();
}

void metadata_v4_metadata_free(metadata_v4_metadata_context* metadata) {
    if (metadata == nullptr)
        return;
    metadata_v4_metadata_close_file(metadata);
    delete metadata;
}

std::size_t metadata_v4_metadata_context_count(const metadata_v4_metadata_context* metadata) {
    return metadata->lines.size();
}

metadata_v4_metadata_entry* metadata_v4_metadata_context_read_entry(metadata_v4_metadata_context* metadata,
                                                                    std::size_t index) {
    return index < metadata->lines.size() ? metadata->lines[index].entry.get() : nullptr;
}

void metadata_v4_metadata_context_free_metadata_entry(metadata_v4_metadata_context* metadata,
                                                      metadata_v4_metadata_entry* entry) {
    for (auto& line : metadata->lines) {
        if (entry != nullptr && line.entry.get() == entry) {
            line.entry.reset();
            line.freed = true;
            return;
        }
    }
}

void metadata_v4_metadata_context_set(metadata_v4_metadata_context* metadata, std::int32_t stream,
                                      const std::string& name, const std::string& value) {
    std::string one_line = value;
    std::replace_if(
        one_line.begin(), one_line.end(), [](char byte) { return byte == '\n' || byte == '\r'; }, ' ');
    for (auto& line : metadata->lines) {
        if (line.entry != nullptr && line.entry->stream == stream && line.entry->name == name) {
            line.entry->value = one_line;
            return;
        }
    }
    metadata_v4_metadata_context::line line;
    line.entry = std::make_unique<metadata_v4_metadata_entry>();
    *line.entry = {stream, name, one_line};
    metadata->lines.push_back(std::move(line));
}

int metadata_v4_metadata_context_write_metadata_to_file(const metadata_v4_metadata_context* metadata,
                                                        const metadata_v4_context* context, int flags,
                                                        const void* reserved) {
    if (flags != 0 || reserved != nullptr) {
        errno = EINVAL;
        return -1;
    }
    return replace_file(context->metadata_path, all_lines(metadata));
}

void metadata_v4_metadata_close_file(metadata_v4_metadata_context* metadata) {
    if (metadata->file_fd >= 0)
        close(metadata->file_fd);
    metadata->file_fd = -1;
}
