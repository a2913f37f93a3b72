// A backend program for tests: the simulated router, with every take on its way to it counted in the file
// that the item file names ("taken=..."), one byte each.
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string counting_file(const char* item) {
    constexpr std::string_view name = "taken=";
    std::ifstream stream(item);
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with(name))
            return line.substr(name.size());
    return "";
}

void wait_for(int fd, short events) {
    pollfd waiting{fd, events, 0};
    poll(&waiting, 1, -1);
}

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count < 0 && errno == EAGAIN)
            wait_for(fd, POLLOUT);
        else if (count < 0)
            return false;
        else
            text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Hands on whole lines, so that a take is counted exactly when the simulator gets it.
void hand_on(int simulator, int counting) {
    std::string held;
    std::array<char, 65536> chunk{};
    for (;;) {
        wait_for(STDIN_FILENO, POLLIN);
        const ssize_t count = read(STDIN_FILENO, chunk.data(), chunk.size());
        if (count == 0 || (count < 0 && errno != EAGAIN))
            return;
        held.append(chunk.data(), static_cast<std::size_t>(count > 0 ? count : 0));
        for (std::size_t end = held.find('\n'); end != std::string::npos; end = held.find('\n')) {
            if (!write_all(simulator, held.substr(0, end + 1)))
                return;
            if (held.starts_with("to output=") && write(counting, "x", 1) != 1)
                return;
            held.erase(0, end + 1);
        }
    }
}

std::string simulator_beside(const std::string& self) {
    return self.substr(0, self.rfind('/') + 1) + "vrdx_route_simulator";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const int counting =
        open(counting_file(argv[2]).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    int ends[2];
    if (counting < 0 || pipe2(ends, O_CLOEXEC) != 0)
        return 2;
    const std::string program = simulator_beside(argv[0]);
    const pid_t simulator = fork();
    if (simulator == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[0], STDIN_FILENO);
        execv(program.c_str(), argv);
        _exit(127);
    }
    close(ends[0]);
    close(STDOUT_FILENO); // the simulator's alone: its end is the backend's
    std::signal(SIGPIPE, SIG_IGN);
    hand_on(ends[1], counting);
    close(ends[1]);
    waitpid(simulator, nullptr, 0);
    return 0;
}
