// A backend program for tests: reports one router, and dies of the first take it gets, in the way that its
// item file names ("death=..."). It confirms no take, and notes each one it read in the file "taken=...".
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr unsigned longest_life_s = 300;

std::map<std::string, std::string> read_item(const char* path) {
    std::map<std::string, std::string> settings;
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos)
            settings[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return settings;
}

void say(std::string_view text) {
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0)
        _exit(2);
}

void announce() {
    say("*COMMAND=info\n*TYPE=message\ninputs=4\noutputs=3\n\n");
    say("*COMMAND=outputs\n*TYPE=message\no0.input.all=0\no1.input.all=1\no2.input.all=2\n\n");
}

void wait_for_input() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    while (poll(&input, 1, -1) != 1) {
    }
}

// Reads until a whole take has come; what the driver asks besides does not matter here.
void read_take(const std::string& taken) {
    std::string text;
    std::array<char, 4096> chunk{};
    while (text.find("to output=") == std::string::npos || !text.ends_with("\n\n")) {
        wait_for_input();
        const ssize_t count = read(STDIN_FILENO, chunk.data(), chunk.size());
        if (count == 0)
            _exit(0);
        text.append(chunk.data(), static_cast<std::size_t>(count > 0 ? count : 0));
    }
    const int fd = open(taken.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (write(fd, "x", 1) != 1)
        _exit(2);
}

// "close 201": those descriptors in that order; the driver may look in between.
[[noreturn]] void close_pipes(std::string_view order) {
    for (const char number : order) {
        close(number - '0');
        usleep(3000);
    }
    for (;;)
        pause();
}

[[noreturn]] void die(const std::string& death) {
    if (death.starts_with("close "))
        close_pipes(std::string_view(death).substr(6));
    if (death == "abort")
        std::abort();
    if (death == "kill")
        kill(getpid(), SIGKILL);
    if (death == "half report")
        say("*COMMAND=outputs\n*TYPE=message\no0.input.all=3\no1.inp");
    if (death == "half log line" && write(STDERR_FILENO, "<ERR>the end is n", 17) < 0)
        _exit(2);
    _exit(3);
}

} // namespace

int main(int argc, char** argv) {
    alarm(longest_life_s);
    if (argc != 3)
        return 2;
    const auto settings = read_item(argv[2]);
    announce();
    wait_for_input();
    if (settings.at("death") != "unread command")
        read_take(settings.at("taken"));
    die(settings.at("death"));
}
