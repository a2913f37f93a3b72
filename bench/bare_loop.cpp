// The floor under an idle driver: a loop that makes the same five calls every ten milliseconds, and knows
// nothing else: it reads two pipes, looks whether the third still has a reader, asks for its child, and
// waits.
//
//   vrdx_bench_loop PROGRAM [ARGUMENT...]    PROGRAM is the child, its standard streams are pipes
#include <array>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr long wait_ns = 10000000;

struct child_pipes {
    int in[2];
    int out[2];
    int err[2];
};

bool open_pipes(child_pipes& pipes) {
    constexpr int flags = O_CLOEXEC | O_NONBLOCK;
    return pipe2(pipes.in, flags) == 0 && pipe2(pipes.out, flags) == 0 && pipe2(pipes.err, flags) == 0;
}

pid_t start_child(const child_pipes& pipes, char** program) {
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    dup2(pipes.in[0], STDIN_FILENO);
    dup2(pipes.out[1], STDOUT_FILENO);
    dup2(pipes.err[1], STDERR_FILENO);
    execv(program[0], program);
    _exit(127);
}

} // namespace

int main(int argc, char** argv) {
    child_pipes pipes{};
    const int epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    if (argc < 2 || !open_pipes(pipes) ||
        epoll_ctl(epoll_fd, EPOLL_CTL_ADD, eventfd(0, EFD_CLOEXEC), &event) != 0) {
        std::perror("vrdx_bench_loop");
        return 1;
    }
    const pid_t child = start_child(pipes, argv + 1);
    close(pipes.in[0]);
    close(pipes.out[1]);
    close(pipes.err[1]);
    static std::array<char, 65536> chunk;
    do {
        const timespec limit{0, wait_ns};
        epoll_pwait2(epoll_fd, &event, 1, &limit, nullptr);
        while (read(pipes.err[0], chunk.data(), chunk.size()) > 0) {
        }
        while (read(pipes.out[0], chunk.data(), chunk.size()) > 0) {
        }
        pollfd reader{pipes.in[1], 0, 0};
        poll(&reader, 1, 0);
    } while (waitpid(child, nullptr, WNOHANG) == 0);
    return 0;
}
