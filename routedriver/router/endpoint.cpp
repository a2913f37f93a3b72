#include "endpoint.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

TavrixAPIRouterMessage received;
bool received_complete = false;   // a blank line has ended `received`; it waits to be handed out
bool received_handed_out = false; // the caller may still look at `received`: cleared by the next read step
std::string input_line;
std::string output_text;
std::size_t output_written = 0; // leading bytes of output_text that the driver already has

bool try_again_later() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

bool is_stream(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) != 0) {
        return false;
    }
    return S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode) || S_ISSOCK(status.st_mode);
}

bool make_nonblocking(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

void read_byte(char byte) {
    if (byte == '\r') {
        return;
    }
    if (byte != '\n') {
        input_line.push_back(byte);
        return;
    }
    if (!input_line.empty()) {
        parse_router_message_line(received, input_line);
        input_line.clear();
        return;
    }
    received_complete = !router_message_empty(received);
}

// 0, also when there is nothing to read yet; -1 at end of input or on an error.
int read_step() {
    if (received_complete) {
        return 0;
    }
    if (received_handed_out) {
        clear_router_message(received);
        received_handed_out = false;
    }
    char byte = 0;
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count == 1) {
        read_byte(byte);
        return 0;
    }
    return count < 0 && try_again_later() ? 0 : -1;
}

// `line` may still end in its line feed.
void read_name_value_line(std::map<std::string, std::string>& map, std::string_view line) {
    line = line.substr(0, line.find('\n'));
    const auto equals = line.find('=');
    if (line.starts_with('#') || equals == std::string_view::npos) {
        return;
    }
    std::string_view name = line.substr(0, equals);
    std::string_view value = line.substr(equals + 1);
    if (name.ends_with(' ')) {
        name.remove_suffix(1);
    }
    if (value.starts_with(' ')) {
        value.remove_prefix(1);
    }
    const auto [entry, is_new] = map.try_emplace(std::string(name), value);
    if (!is_new) {
        entry->second.append(1, '\n').append(value);
    }
}

bool lock_exclusively(int fd) {
    while (flock(fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace

int endpoint_init() {
    if (!is_stream(STDIN_FILENO) || !is_stream(STDOUT_FILENO) || !is_stream(STDERR_FILENO)) {
        return -1;
    }
    if (!make_nonblocking(STDIN_FILENO) || !make_nonblocking(STDOUT_FILENO)) {
        return -1;
    }
    return setvbuf(stderr, nullptr, _IONBF, 0) == 0 ? 0 : -1;
}

void endpoint_fdset(fd_set* set, int* nfds) {
    FD_SET(STDIN_FILENO, set);
    FD_SET(STDOUT_FILENO, set);
    FD_SET(STDERR_FILENO, set);
    *nfds = std::max(*nfds, STDERR_FILENO + 1);
}

const TavrixAPIRouterMessage* endpoint_poll_message() {
    // A failed step completes no message, which is all that counts here.
    static_cast<void>(read_step());
    if (!received_complete) {
        return nullptr;
    }
    received_complete = false;
    received_handed_out = true;
    return &received;
}

const TavrixAPIRouterMessage* endpoint_peek_message() {
    return received_complete ? &received : nullptr;
}

int endpoint_send_message(const TavrixAPIRouterMessage& message) {
    encode_router_message(message, output_text);
    return endpoint_flush();
}

int endpoint_flush() {
    if (!endpoint_output_pending()) {
        return 0;
    }
    const ssize_t count =
        write(STDOUT_FILENO, output_text.data() + output_written, output_text.size() - output_written);
    if (count <= 0) {
        return count < 0 && try_again_later() ? 0 : -1;
    }
    output_written += static_cast<std::size_t>(count);
    if (output_written == output_text.size()) {
        output_text.clear();
        output_written = 0;
    }
    return 0;
}

bool endpoint_output_pending() {
    return output_written < output_text.size();
}

int endpoint_service() {
    if (read_step() != 0) {
        return -1;
    }
    return endpoint_flush();
}

int endpoint_serve(const std::function<void(const TavrixAPIRouterMessage& message)>& on_message) {
    int waiting = 0;
    if (ioctl(STDIN_FILENO, FIONREAD, &waiting) != 0) {
        waiting = 1;
    }
    // At least once: at end of input nothing waits, and the read step notices it.
    for (int left = std::max(waiting, 1); left > 0; --left) {
        if (read_step() != 0) {
            return -1;
        }
        if (received_complete) {
            on_message(*endpoint_poll_message());
        }
    }
    return endpoint_flush();
}

int endpoint_serve(const endpoint_handlers& handlers) {
    static endpoint_collection collected;
    return endpoint_serve([&](const TavrixAPIRouterMessage& message) {
        endpoint_dispatch(message, endpoint_clock_us(), collected, handlers);
    });
}

std::uint64_t endpoint_clock_us() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

int read_name_value_file(std::map<std::string, std::string>& map, const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "re");
    if (file == nullptr) {
        return -1;
    }
    bool readable = lock_exclusively(fileno(file));
    if (readable) {
        char piece[4096];
        while (std::fgets(piece, sizeof piece, file) != nullptr) {
            read_name_value_line(map, piece);
        }
        readable = std::ferror(file) == 0;
    }
    std::fclose(file); // also gives up the lock
    return readable ? 0 : -1;
}

std::string metadata_sidecar_path(const std::string& path) {
    if (path.empty() || path.ends_with('/')) {
        return "";
    }
    const auto slash = path.rfind('/');
    const std::size_t name_begin = slash == std::string::npos ? 0 : slash + 1;
    return path.substr(0, name_begin) + ".tavrixmeta." + path.substr(name_begin);
}
