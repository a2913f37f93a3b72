// A backend program for tests: a router that does each batch at its flush, and writes down when it read each
// message. Settings of the item file: "inputs", "outputs", "stamps" (the file it writes), "hold" (while that
// file exists nothing is read), "fail" (while that one exists the program ends at once).
//
// Each line of the stamps: microseconds of the monotonic clock, and "take OUTPUT INPUT", "flush" or "other".
#include "scripted_wires.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace {

constexpr unsigned longest_life_s = 300;

std::map<std::string, std::string> settings;
std::ofstream stamps;
std::map<std::string, std::string> batch; // input by output, until the flush

void read_item(const char* path) {
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos)
            settings[line.substr(0, equals)] = line.substr(equals + 1);
    }
}

bool exists(const std::string& setting) {
    const std::string& path = settings[setting];
    return !path.empty() && access(path.c_str(), F_OK) == 0;
}

std::uint64_t now_us() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

std::string field(const std::string& message, const std::string& name) {
    const std::size_t found = message.find("\n" + name + "=");
    if (found == std::string::npos)
        return "";
    const std::size_t at = found + name.size() + 2;
    return message.substr(at, message.find('\n', at) - at);
}

void do_batch() {
    std::string report = "*COMMAND=outputs\n*TYPE=message\n";
    for (const auto& [output, input] : batch)
        report += "o" + output + ".input.all=" + input + "\n";
    write_all(STDOUT_FILENO, report + "\n");
    batch.clear();
}

// `message` with a line feed in front and behind.
void hear(const std::string& message, std::uint64_t read_at) {
    stamps << read_at;
    const std::string queue = field(message, "queue");
    if (queue == "add") {
        batch[field(message, "to output")] = field(message, "from input");
        stamps << " take " << field(message, "to output") << ' ' << field(message, "from input") << '\n';
    } else if (queue == "flush") {
        stamps << " flush\n";
    } else {
        stamps << " other\n";
    }
    stamps.flush();
    if (queue == "flush")
        do_batch();
}

} // namespace

int main(int argc, char** argv) {
    alarm(longest_life_s);
    if (argc != 3)
        return 2;
    read_item(argv[2]);
    if (exists("fail"))
        return 1;
    stamps.open(settings["stamps"], std::ios::app);
    write_all(STDOUT_FILENO, "*COMMAND=info\n*TYPE=message\ninputs=" + settings["inputs"] +
                                 "\noutputs=" + settings["outputs"] + "\n\n");
    std::string held;
    char chunk[65536];
    for (;;) {
        while (exists("hold"))
            sleep_a_little();
        pollfd input{STDIN_FILENO, POLLIN, 0};
        poll(&input, 1, 100);
        const ssize_t count = read(STDIN_FILENO, chunk, sizeof(chunk));
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
            return 0;
        const std::uint64_t read_at = now_us();
        held.append(chunk, static_cast<std::size_t>(count > 0 ? count : 0));
        for (std::size_t end = held.find("\n\n"); end != std::string::npos; end = held.find("\n\n")) {
            hear("\n" + held.substr(0, end + 1), read_at);
            held.erase(0, end + 2);
        }
    }
}
