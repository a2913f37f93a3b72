#include "process_info.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

struct process_line {
    char state = 0;
    pid_t parent = 0;
};

// Fields 3 and 4 of /proc/PID/stat; the name before them may itself hold blanks and parentheses.
process_line read_process_line(const std::string& pid) {
    std::ifstream stream("/proc/" + pid + "/stat");
    std::string line;
    std::getline(stream, line);
    const std::size_t name_end = line.rfind(") ");
    if (name_end == std::string::npos || name_end + 4 > line.size())
        return {};
    return {line[name_end + 2], static_cast<pid_t>(std::strtol(line.c_str() + name_end + 4, nullptr, 10))};
}

// The value of a line of /proc/PID/`file`, without blanks around it; empty when there is none.
std::string field_of(pid_t pid, const std::string& file, const std::string& name) {
    std::ifstream stream("/proc/" + std::to_string(pid) + "/" + file);
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with(name + ":"))
            continue;
        const std::size_t start = line.find_first_not_of(" \t", name.size() + 1);
        return start == std::string::npos ? "" : line.substr(start);
    }
    return "";
}

} // namespace

std::vector<pid_t> children_of(pid_t pid) {
    std::vector<pid_t> children;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            read_process_line(name).parent == pid)
            children.push_back(static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10)));
    }
    std::sort(children.begin(), children.end());
    return children;
}

char process_state(pid_t pid) {
    return read_process_line(std::to_string(pid)).state;
}

std::map<int, std::string> descriptors_of(pid_t pid) {
    std::map<int, std::string> descriptors;
    std::error_code error;
    const std::filesystem::path directory = "/proc/" + std::to_string(pid) + "/fd";
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), error);
        if (!error)
            descriptors[std::stoi(entry.path().filename())] = target.string();
    }
    return descriptors;
}

std::string status_field(pid_t pid, const std::string& name) {
    return field_of(pid, "status", name);
}

bool catches_signal(pid_t pid, int signo) {
    const std::string caught = status_field(pid, "SigCgt");
    return (std::strtoull(caught.c_str(), nullptr, 16) >> (signo - 1) & 1U) != 0;
}

long resident_kib(pid_t pid) {
    return std::strtol(status_field(pid, "VmRSS").c_str(), nullptr, 10);
}

long own_memory_kib(pid_t pid) {
    return std::strtol(field_of(pid, "smaps_rollup", "Anonymous").c_str(), nullptr, 10);
}
