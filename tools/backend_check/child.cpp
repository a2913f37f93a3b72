#include "child.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct pipe_ends {
    int read = -1;
    int write = -1;
};

// The first three never block, at either end, just as the driver makes them; the last one tells why the
// program could not be executed.
struct child_pipes {
    pipe_ends input, output, log, failure;
};

bool open_pipe(pipe_ends& ends, int flags) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC | flags) != 0)
        return false;
    ends = {fds[0], fds[1]};
    return true;
}

bool open_pipes(child_pipes& pipes) {
    return open_pipe(pipes.input, O_NONBLOCK) && open_pipe(pipes.output, O_NONBLOCK) &&
           open_pipe(pipes.log, O_NONBLOCK) && open_pipe(pipes.failure, 0);
}

void close_pipes(child_pipes& pipes) {
    for (pipe_ends* ends : {&pipes.input, &pipes.output, &pipes.log, &pipes.failure}) {
        close_end(ends->read);
        close_end(ends->write);
    }
}

// The child must not inherit the signals that this program ignores or blocks; the driver does the same.
void reset_signals() {
    for (int signo = 1; signo < NSIG; ++signo) {
        struct sigaction current {};
        if (sigaction(signo, nullptr, &current) == 0 && current.sa_handler == SIG_IGN)
            std::signal(signo, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// In the child. A process group of its own lets remove_child reach what a shell script started, and the child
// dies with us whatever kills us.
[[noreturn]] void become_program(const child_pipes& pipes, const std::string& program,
                                 const std::string& item) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(pipes.input.read, STDIN_FILENO);
    dup2(pipes.output.write, STDOUT_FILENO);
    dup2(pipes.log.write, STDERR_FILENO);
    reset_signals();
    const char* const arguments[] = {program.c_str(), "--file", item.c_str(), nullptr};
    execv(program.c_str(), const_cast<char* const*>(arguments));
    const int error = errno;
    const ssize_t written = write(pipes.failure.write, &error, sizeof error);
    _exit(written == static_cast<ssize_t>(sizeof error) ? 1 : 2);
}

// 0 once the program runs, else the errno value of execv.
int wait_for_execution(child_pipes& pipes) {
    close_end(pipes.failure.write);
    int error = 0;
    ssize_t count = 0;
    do
        count = read(pipes.failure.read, &error, sizeof error);
    while (count < 0 && errno == EINTR);
    return count == static_cast<ssize_t>(sizeof error) ? error : 0;
}

// Ends the child and everything that it started. `pid` must be that of a child: 0 and negative numbers would
// mean other processes.
void kill_group(pid_t pid) {
    if (pid > 1)
        kill(-pid, SIGKILL);
}

void remove_process(child_process& child) {
    kill_group(child.pid);
    while (waitpid(child.pid, &child.wait_status, 0) < 0 && errno == EINTR) {
    }
    child.pid = -1;
    child.ended = true;
}

int moved_end(int& end) {
    const int moved = end;
    end = -1;
    return moved;
}

} // namespace

int start_child(child_process& child, const std::string& program, const std::string& item) {
    child = child_process();
    child_pipes pipes;
    if (!open_pipes(pipes) || (child.pid = fork()) < 0) {
        const int error = errno;
        close_pipes(pipes);
        return error;
    }
    if (child.pid == 0)
        become_program(pipes, program, item);
    setpgid(child.pid, child.pid); // parent and child both do this: it must be done before either goes on
    const int error = wait_for_execution(pipes);
    child.input = moved_end(pipes.input.write);
    child.output = moved_end(pipes.output.read);
    child.log = moved_end(pipes.log.read);
    close_pipes(pipes);
    if (error != 0)
        remove_child(child);
    return error;
}

bool child_has_ended(child_process& child) {
    if (child.pid < 0)
        return child.ended;
    siginfo_t end = {};
    if (waitid(P_PID, static_cast<id_t>(child.pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        end.si_pid == 0)
        return false;
    remove_process(child); // until it is collected no other process can get its number
    return true;
}

void signal_child(const child_process& child, int signo) {
    if (child.pid > 1 && !child.ended)
        kill(child.pid, signo);
}

void close_end(int& end) {
    if (end >= 0)
        close(end);
    end = -1;
}

void remove_child(child_process& child) {
    signal_child(child, SIGKILL); // it may not have reached its group yet
    if (child.pid > 0)
        remove_process(child);
    close_end(child.input);
    close_end(child.output);
    close_end(child.log);
}

std::string how_it_ended(const child_process& child) {
    if (WIFEXITED(child.wait_status))
        return "exit code " + std::to_string(WEXITSTATUS(child.wait_status));
    const int signo = WTERMSIG(child.wait_status);
    return "signal " + std::to_string(signo) + " (" + sigdescr_np(signo) + ")";
}

bool ended_well(const child_process& child) {
    return child.ended && WIFEXITED(child.wait_status) && WEXITSTATUS(child.wait_status) == 0;
}
