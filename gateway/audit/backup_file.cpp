#include "backup_file.h"

#include "owned_descriptor.h"
#include "plain_text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace gateway {

namespace {

constexpr const char* first_line = "vrdx_gateway backup 1\n";
constexpr std::size_t line_limit = 128;
constexpr std::size_t piece_bytes = 1048576;

bool write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool failed(const std::string& name, const char* what, std::string* problem) {
    *problem = name + " " + what + ": " + std::strerror(errno);
    return false;
}

// Bytes of the file, with what was read of them hashed.
class backup_source {
public:
    explicit backup_source(int fd) : fd_(fd), buffer_(piece_bytes) {}

    // Up to `most` bytes; empty at the end, and when it cannot be read.
    std::string_view piece(std::size_t most) {
        if (begin_ == end_) {
            ssize_t got = -1;
            while ((got = ::read(fd_, buffer_.data(), buffer_.size())) < 0 && errno == EINTR) {
            }
            begin_ = 0;
            end_ = got < 0 ? 0 : static_cast<std::size_t>(got);
        }
        const std::string_view found(buffer_.data() + begin_, std::min(most, end_ - begin_));
        begin_ += found.size();
        return found;
    }

    // Without its end; "" for one that is too long, or the end of the file.
    std::string line() {
        std::string text;
        for (std::string_view letter = piece(1); !letter.empty(); letter = piece(1)) {
            text += letter;
            if (letter == "\n" || text.size() > line_limit)
                break;
        }
        if (!text.ends_with('\n'))
            return "";
        if (!text.starts_with("end "))
            hash.add(text);
        text.pop_back();
        return text;
    }

    stream_hash hash;

private:
    int fd_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0;
};

} // namespace

bool backup_writing::write(std::string_view bytes, std::string* problem) {
    hash_.add(bytes);
    return write_all(fd_, bytes) || failed(name_, "cannot be written", problem);
}

bool backup_writing::begin(std::string* problem) {
    return write(first_line, problem);
}

bool backup_writing::add(const std::string& entry_name, const std::string& path, std::string* problem) {
    const owned_descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat found {};
    if (file.fd() < 0 || fstat(file.fd(), &found) != 0)
        return failed(path, "cannot be read", problem);
    if (!write(entry_name + " " + std::to_string(found.st_size) + "\n", problem))
        return false;
    backup_source source(file.fd());
    auto left = static_cast<std::size_t>(found.st_size);
    while (left > 0) {
        const std::string_view piece = source.piece(left);
        if (piece.empty()) {
            *problem = path + " became shorter while it was read";
            return false;
        }
        if (!write(piece, problem))
            return false;
        left -= piece.size();
    }
    return true;
}

bool backup_writing::end(std::string* problem) {
    if (!write_all(fd_, "end " + hash_.text() + "\n") || fsync(fd_) != 0)
        return failed(name_, "cannot be written", problem);
    return true;
}

bool read_backup(int fd, const std::string& name,
                 const std::function<int(const std::string& entry_name, std::string* problem)>& begin_entry,
                 std::string* problem) {
    backup_source source(fd);
    if (source.line() + "\n" != first_line) {
        *problem = name + " is no backup that this vrdx_gateway can read; possible: a file that "
                          "`vrdx_gateway backup` wrote";
        return false;
    }
    const std::string changed = name + " is not as it was written: it was cut short or changed";
    for (;;) {
        const std::string line = source.line();
        if (line.starts_with("end ")) {
            if (line.substr(4) == source.hash.text())
                return true;
            *problem = changed;
            return false;
        }
        const std::size_t blank = line.find(' ');
        const auto bytes = blank == std::string::npos
                               ? std::nullopt
                               : number_of_digits<std::size_t>(std::string_view(line).substr(blank + 1));
        if (!bytes) {
            *problem = changed;
            return false;
        }
        const int out = begin_entry(line.substr(0, blank), problem);
        if (out < 0)
            return false;
        for (std::size_t left = *bytes; left > 0;) {
            const std::string_view piece = source.piece(left);
            if (piece.empty()) {
                *problem = changed;
                return false;
            }
            source.hash.add(piece);
            if (!write_all(out, piece))
                return failed(line.substr(0, blank), "cannot be written", problem);
            left -= piece.size();
        }
        if (fsync(out) != 0)
            return failed(line.substr(0, blank), "cannot be written", problem);
    }
}

} // namespace gateway
