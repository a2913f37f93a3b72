// A backend that is no process: the test holds the other ends of the driver's three pipes.
#pragma once

#include "backend.h"
#include "pending.h"

#include <array>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

// Larger than any process id can be, so that a signal sent to it reaches nobody.
constexpr std::int32_t pid_of_nobody = std::numeric_limits<std::int32_t>::max();

class wired_backend {
public:
    static constexpr std::size_t buffer_bytes = 1048576;

    wired_backend() {
        const auto [stdin_end, driver_stdin] = new_pipe();
        const auto [driver_stdout, stdout_end] = new_pipe();
        const auto [driver_stderr, stderr_end] = new_pipe();
        stdin_end_ = stdin_end;
        stdout_end_ = stdout_end;
        stderr_end_ = stderr_end;
        backend_stdin_fd = driver_stdin;
        backend_stdout_fd = driver_stdout;
        backend_stderr_fd = driver_stderr;
        for (sliding_window_v4** buffer : {&backend_stdinbuf, &backend_stdoutbuf, &backend_stderrbuf})
            *buffer = sliding_window_v4_create_buffer(buffer_bytes);
        backend_pid = pid_of_nobody;
        commands_reach_backend = true;
    }
    ~wired_backend() {
        close_stdin();
        close_stdout();
        close_stderr();
    }
    wired_backend(const wired_backend&) = delete;
    wired_backend& operator=(const wired_backend&) = delete;

    void say_on_stdout(std::string_view text) const {
        say(stdout_end_, text);
    }
    void say_on_stderr(std::string_view text) const {
        say(stderr_end_, text);
    }
    // All that has arrived on standard input since the last call.
    [[nodiscard]] std::string read_stdin() const {
        std::string text;
        std::array<char, 65536> piece{};
        for (;;) {
            const ssize_t count = read(stdin_end_, piece.data(), piece.size());
            if (count <= 0)
                return text;
            text.append(piece.data(), static_cast<std::size_t>(count));
        }
    }

    void close_stdin() {
        close_end(&stdin_end_);
    }
    void close_stdout() {
        close_end(&stdout_end_);
    }
    void close_stderr() {
        close_end(&stderr_end_);
    }

private:
    static std::array<int, 2> new_pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
            throw std::runtime_error("no pipe");
        return ends;
    }
    static void say(int fd, std::string_view text) {
        if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("the pipe does not take the whole text");
    }
    static void close_end(int* fd) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }

    int stdin_end_ = -1;
    int stdout_end_ = -1;
    int stderr_end_ = -1;
};
