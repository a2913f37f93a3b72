// The floor under a told change: a loop that reads a backend's reports once per pass, as the driver does, and
// writes the same bytes to each of its clients when one has ended. What clients say is not read.
//
//   vrdx_bench_watch SOCKET PACKET_FILE PROGRAM [ARGUMENT...]    PROGRAM is the backend
#include "socket_address.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr long wait_ns = 10000000;
constexpr unsigned socket_mode = 0600;
constexpr int backlog = 600;

std::vector<int> clients; // in the order in which they came

struct backend {
    pid_t pid = -1;
    int commands = -1;
    int reports = -1;
};

backend start_backend(char** program) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC | O_NONBLOCK) != 0)
        return {};
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        execv(program[0], program);
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    return {pid, in[1], out[0]};
}

// True when a report has ended in what was read.
bool read_reports(int reports) {
    static std::array<char, 262144> chunk;
    static char last = '\0';
    bool ended = false;
    for (ssize_t count = 0; (count = read(reports, chunk.data(), chunk.size())) > 0;) {
        const std::string_view text(chunk.data(), static_cast<std::size_t>(count));
        ended = ended || text.find("\n\n") != std::string_view::npos || (last == '\n' && text[0] == '\n');
        last = text.back();
    }
    return ended;
}

void tell_all(const std::string& packet) {
    std::erase_if(clients, [&packet](int fd) {
        if (send(fd, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
            return false;
        close(fd);
        return true;
    });
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4)
        return 1;
    std::ifstream file(argv[2], std::ios::binary);
    const std::string packet{std::istreambuf_iterator<char>(file), {}};
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    const backend started = start_backend(argv + 3);
    if (packet.empty() || started.pid < 0 || bind_socket_path(listener, argv[1], socket_mode, backlog) != 0 ||
        epoll_ctl(epoll_fd, EPOLL_CTL_ADD, listener, &event) != 0) {
        std::perror("vrdx_bench_watch");
        return 1;
    }
    do {
        const timespec limit{0, wait_ns};
        if (epoll_pwait2(epoll_fd, &event, 1, &limit, nullptr) > 0) {
            const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0)
                clients.push_back(fd);
            continue;
        }
        if (read_reports(started.reports))
            tell_all(packet);
    } while (waitpid(started.pid, nullptr, WNOHANG) == 0);
    return 0;
}
