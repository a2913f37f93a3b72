#include "backend.h"

#include "periodic_timer.h"
#include "router.h"
#include "vrdx.h"
#include "vrdx_assert.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

std::int32_t backend_pid = -1;
std::int32_t backend_stdin_fd = -1;
std::int32_t backend_stdout_fd = -1;
std::int32_t backend_stderr_fd = -1;
sliding_window_v4* backend_stdinbuf = nullptr;
sliding_window_v4* backend_stdoutbuf = nullptr;
sliding_window_v4* backend_stderrbuf = nullptr;
std::string backend_path;
std::uint64_t next_backend_check = 0;
std::map<std::int32_t, unsigned char> ident_procs;
std::int32_t stop_depth = 0;

namespace {

constexpr std::uint64_t start_check_period_us = 5000000;
// A full report of the largest router fits, so that one pass can read it, and a simple backend program
// that does not expect a full pipe gets it out. (A hundred drivers of one user stay within what the system
// lets a user have.)
constexpr int report_pipe_bytes = 262144;

struct backend_pipe {
    int read_end = -1;
    int write_end = -1;
};

// Standard input, output and error, in this order, which is also their descriptor in the child.
using backend_pipes = std::array<backend_pipe, 3>;

void close_descriptor(std::int32_t* fd) {
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

bool open_pipes(backend_pipes& pipes) {
    for (backend_pipe& one : pipes) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
            return false;
        one.read_end = ends[0];
        one.write_end = ends[1];
    }
    fcntl(pipes[STDOUT_FILENO].read_end, F_SETPIPE_SZ, report_pipe_bytes); // else it is smaller, and works
    return true;
}

bool create_buffers() {
    for (sliding_window_v4** buffer : {&backend_stdinbuf, &backend_stdoutbuf, &backend_stderrbuf}) {
        *buffer = sliding_window_v4_create_buffer(backend_pipe_buffer_bytes);
        if (*buffer == nullptr)
            return false;
    }
    return true;
}

int abandon_start(backend_pipes& pipes) {
    for (backend_pipe& one : pipes)
        close_descriptor(&one.read_end);
    for (backend_pipe& one : pipes)
        close_descriptor(&one.write_end);
    stop_backend();
    return -1;
}

// In the child: the pipe's end becomes descriptor `fd`, and neither end stays open under its old number.
void wire_descriptor(const backend_pipe& pipe, int end, int fd) {
    dup2(end, fd);
    close(pipe.read_end);
    close(pipe.write_end);
}

void wire_child(const backend_pipes& pipes) {
    wire_descriptor(pipes[0], pipes[0].read_end, STDIN_FILENO);
    wire_descriptor(pipes[1], pipes[1].write_end, STDOUT_FILENO);
    wire_descriptor(pipes[2], pipes[2].write_end, STDERR_FILENO);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) & ~FD_CLOEXEC);
}

[[noreturn]] void execute_backend() {
    vrdx_unblock_child_signals();
    const char* const arguments[] = {backend_path.c_str(), "--file", vrdx_file, nullptr};
    execv(backend_path.c_str(), const_cast<char* const*>(arguments));
    // Written directly to the descriptor: the child must not write what the driver's trace still holds.
    dprintf(STDERR_FILENO, "<ERR>Failed to start backend driver '%s'\n", backend_path.c_str());
    _exit(1);
}

void adopt_pipes(backend_pipes& pipes) {
    backend_stdin_fd = pipes[0].write_end;
    close_descriptor(&pipes[0].read_end);
    backend_stdout_fd = pipes[1].read_end;
    close_descriptor(&pipes[1].write_end);
    backend_stderr_fd = pipes[2].read_end;
    close_descriptor(&pipes[2].write_end);
    commands_reach_backend = true;
}

bool nothing_to_stop() {
    return backend_stdin_fd < 0 && backend_stdout_fd < 0 && backend_stderr_fd < 0 && backend_pid < 0 &&
           backend_stdinbuf == nullptr && backend_stdoutbuf == nullptr && backend_stderrbuf == nullptr;
}

// Only a stop inside another stop reads and writes the pipes once more.
void drain_pipes() {
    if (backend_stderr_fd >= 0)
        read_backend_stderr();
    if (backend_stdout_fd >= 0)
        read_backend_stdout();
    pending_to_buffer();
}

// The next backend must get neither half a line nor an old take.
void forget_traffic() {
    backend_stdinbuf = sliding_window_v4_destroy(backend_stdinbuf);
    backend_stdoutbuf = sliding_window_v4_destroy(backend_stdoutbuf);
    backend_stderrbuf = sliding_window_v4_destroy(backend_stderrbuf);
    for (std::string* line : {&stdout_line, &stderr_line}) {
        line->clear();
        line->shrink_to_fit();
    }
    drop_pending_lines();
}

void terminate_child() {
    if (backend_pid < 0)
        return;
    std::fputs("Stopping backend\n", stderr);
    ident_procs[backend_pid] = 1;
    kill(backend_pid, SIGTERM);
    backend_pid = -1;
}

} // namespace

void check_backend_start(std::uint64_t now) {
    if (!periodic_timer_due(&next_backend_check, start_check_period_us, now))
        return;
    if (backend_path.empty())
        drop_pending_lines(); // nobody will read them: the next backend gets its own messages
    else if (backend_pid < 0)
        start_backend();
}

int start_backend() {
    backend_pipes pipes;
    if (!open_pipes(pipes) || !create_buffers())
        return abandon_start(pipes);
    backend_pid = vrdx_fork_child();
    if (backend_pid < 0)
        return abandon_start(pipes);
    if (backend_pid == 0) {
        wire_child(pipes);
        vrdx_assert(vrdx_file != NULL); // NOLINT(modernize-use-nullptr): its text
        execute_backend();
    }
    forget_backend();
    backend_gets_salvos = false;
    count_event(counted::backend_starts);
    append_log_line(last_notes, "Starting backend driver");
    adopt_pipes(pipes);
    return 0;
}

void check_backend_alive() {
    if (backend_pid < 0)
        return;
    // A result equal to the pid changes nothing: the next call finds no such child.
    if (waitpid(backend_pid, nullptr, WNOHANG) >= 0)
        return;
    std::fputs("Backend process terminated unexpectedly\n", stderr);
    backend_pid = -1;
    stop_backend();
}

void stop_backend() {
    ++stop_depth;
    if (nothing_to_stop()) {
        if (stop_depth > 1)
            pending_to_buffer();
    } else {
        append_log_line(last_notes, "Stopping backend driver");
        if (stop_depth > 1)
            drain_pipes();
    }
    commands_reach_backend = false;
    close_descriptor(&backend_stdin_fd);
    close_descriptor(&backend_stdout_fd);
    close_descriptor(&backend_stderr_fd);
    terminate_child();
    forget_traffic();
    --stop_depth;
}

void reap_ident_procs() {
    std::erase_if(ident_procs, [](const auto& proc) {
        if (waitpid(proc.first, nullptr, WNOHANG) != proc.first)
            return false;
        std::fprintf(stderr, "Reaped ident proc %u\n", static_cast<unsigned>(proc.first));
        return true;
    });
}

void tell_backend_state() {
    if (backend_path.empty())
        tell_backend(backend_state::none, "the item file names no usable driver");
    else if (commands_reach_backend)
        tell_backend(backend_state::running, backend_path);
    else
        tell_backend(backend_state::starting, backend_path + " does not run, and is started every 5 seconds");
}
