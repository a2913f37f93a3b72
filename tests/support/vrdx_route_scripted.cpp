// A backend program for tests: plays the script that its item file names ("script=PATH"), one directive per
// line, in order. At the script's end it reads its input until the driver closes it, and exits with 0.
#include "scripted_wires.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace {

constexpr unsigned longest_life_s = 300; // whatever the script says, and whether or not the test still lives
constexpr std::size_t chunk_bytes = 65536;
constexpr int inspected_descriptors = 256;

char** own_arguments = nullptr;

// "first rest of the line" to its two parts.
std::pair<std::string, std::string> split(const std::string& text) {
    const std::size_t blank = text.find(' ');
    return blank == std::string::npos ? std::pair(text, std::string())
                                      : std::pair(text.substr(0, blank), text.substr(blank + 1));
}

std::string from_hex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16));
    return bytes;
}

// Seen by the test only when it is complete.
void write_file_in_one_step(const std::string& path, const std::string& text) {
    const std::string fresh = path + ".fresh";
    std::ofstream(fresh) << text;
    std::rename(fresh.c_str(), path.c_str());
}

// --- directives --------------------------------------------------------------------------------------------

void say(const std::string& text) {
    write_all(STDOUT_FILENO, text + "\n");
}

void log(const std::string& text) {
    write_all(STDERR_FILENO, text + "\n");
}

// The monotonic clock in milliseconds.
std::string clock_text() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::to_string(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

void log_clock(const std::string& text) {
    log(text + " " + clock_text());
}

void append_clock(const std::string& path) {
    std::ofstream(path, std::ios::app) << clock_text() + "\n" << std::flush;
}

void raw(const std::string& arguments) {
    const auto [wire, hex] = split(arguments);
    write_all(wire_number(wire), from_hex(hex));
}

void drip(const std::string& arguments) {
    const auto [wire, hex] = split(arguments);
    write_drop_by_drop(wire_number(wire), from_hex(hex));
}

void flood(const std::string& arguments) {
    const auto [wire, rest] = split(arguments);
    const auto [bytes, line] = split(rest);
    std::string chunk;
    while (chunk.size() < chunk_bytes)
        chunk += line + "\n";
    const auto wanted = static_cast<std::size_t>(std::strtoull(bytes.c_str(), nullptr, 10));
    for (std::size_t sent = 0; sent < wanted; sent += chunk.size())
        write_all(wire_number(wire), chunk);
}

void long_line(const std::string& arguments) {
    const auto [wire, bytes] = split(arguments);
    auto left = static_cast<std::size_t>(std::strtoull(bytes.c_str(), nullptr, 10));
    const std::string chunk(chunk_bytes, 'x');
    for (; left > 0; left -= std::min(left, chunk.size()))
        write_all(wire_number(wire), std::string_view(chunk).substr(0, left));
    write_all(wire_number(wire), "\n");
}

std::ofstream noted_input;

// The next line from the driver, noted if that was asked for. False at the end.
bool hear_line(std::string& line) {
    if (!read_line(line))
        return false;
    if (noted_input.is_open())
        noted_input << line << '\n' << std::flush;
    return true;
}

void note_input(const std::string& path) {
    noted_input.open(path, std::ios::app);
}

void expect(const std::string& text) {
    std::string line;
    do {
        if (!hear_line(line))
            std::exit(0);
    } while (line != text);
}

void copy_stdin(const std::string& path) {
    std::ofstream copy(path, std::ios::app);
    for (std::string line; read_line(line);)
        copy << line << '\n' << std::flush;
    if (!stay_without_driver)
        std::exit(0);
}

void close_wire(const std::string& wire) {
    close(wire_number(wire));
}

void wait_for_file(const std::string& path) {
    while (access(path.c_str(), F_OK) != 0)
        sleep_a_little();
}

void ignore_term(const std::string&) {
    std::signal(SIGTERM, SIG_IGN);
}

void ignore_eof(const std::string&) {
    stay_without_driver = true;
}

void sleep_for_ever(const std::string&) {
    for (;;)
        sleep_a_little();
}

// A child that does nothing but hold the pipes open until the file appears.
void fork_and_hold(const std::string& path) {
    if (fork() != 0)
        return;
    alarm(longest_life_s);
    stay_without_driver = true;
    wait_for_file(path);
    _exit(0);
}

void touch(const std::string& path) {
    write_file_in_one_step(path, "");
}

std::string signal_lines() {
    std::ifstream status("/proc/self/status");
    std::string lines;
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("SigBlk:") || line.starts_with("SigIgn:"))
            lines += line.substr(0, 6) + " " + line.substr(line.find_last_of(" \t") + 1) + "\n";
    return lines;
}

void dump_environment(const std::string& path) {
    std::string text;
    for (int fd = 0; fd < inspected_descriptors; ++fd)
        if (fcntl(fd, F_GETFD) >= 0)
            text += "descriptor " + std::to_string(fd) + "\n";
    text += signal_lines();
    for (char** argument = own_arguments; *argument != nullptr; ++argument)
        text += std::string("argument ") + *argument + "\n";
    for (char** variable = environ; *variable != nullptr; ++variable)
        text += std::string("variable ") + *variable + "\n";
    write_file_in_one_step(path, text);
}

const std::map<std::string, void (*)(const std::string&), std::less<>> directives = {
    {"say", say},                                   // TEXT: a line on standard output
    {"blank", [](const std::string&) { say(""); }}, //
    {"log", log},                                   // TEXT: a line on standard error
    {"log-clock", log_clock},                       // TEXT: the same, with the time behind it
    {"append-clock", append_clock},                 // FILE: a line with the time
    {"raw", raw},                                   // WIRE HEX: bytes in one write
    {"drip", drip},                                 // WIRE HEX: each byte in a read of its own
    {"flood", flood},                               // WIRE BYTES LINE: the line, again and again
    {"long-line", long_line},                       // WIRE BYTES: one line of that length
    {"expect", expect},                             // TEXT: reads lines until that one comes
    {"note-input", note_input},                     // FILE: appends every line that is read from here on
    {"copy-stdin", copy_stdin},                     // FILE: appends every line received, to the end
    {"close", close_wire},                          // WIRE
    {"wait-for-file", wait_for_file},               // FILE: until it exists
    {"sleep", sleep_for_ever},                      // without reading, until the driver is gone
    {"ignore-term", ignore_term},                   // SIGTERM has no effect
    {"ignore-eof", ignore_eof},                     // outlives the driver
    {"fork-and-hold", fork_and_hold},               // FILE: a child keeps the pipes until it exists
    {"touch", touch},                               // FILE: makes it
    {"dump-environment", dump_environment},         // FILE: descriptors, signals, arguments, variables
    {"exit", [](const std::string& code) { std::_Exit(std::atoi(code.c_str())); }}, // NOLINT(cert-err34-c)
    {"abort", [](const std::string&) { std::abort(); }},
};

std::string script_path(const std::string& item) {
    std::ifstream stream(item);
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with("script="))
            return line.substr(std::string_view("script=").size());
    give_up("the item file names no script");
}

std::vector<std::string> read_script(const std::string& path) {
    std::ifstream stream(path);
    if (!stream)
        give_up("cannot read " + path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

int main(int argc, char** argv) {
    alarm(longest_life_s);
    own_arguments = argv;
    if (argc != 3 || std::string_view(argv[1]) != "--file")
        give_up("usage: vrdx_route_scripted --file ITEM");
    for (const std::string& line : read_script(script_path(argv[2]))) {
        const auto [name, arguments] = split(line);
        const auto directive = directives.find(name);
        if (directive == directives.end())
            give_up("unknown directive " + name);
        directive->second(arguments);
    }
    for (std::string line; hear_line(line);) {
    }
    while (stay_without_driver)
        sleep_a_little();
    return 0;
}
