#include "scripted_wires.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

bool stay_without_driver = false;

namespace {

constexpr int short_sleep_ms = 5;

// Wires that we closed ourselves give POLLNVAL and tell nothing.
bool driver_is_gone() {
    pollfd wires[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    poll(wires, 3, 0);
    return (wires[0].revents & POLLHUP) != 0 || (wires[1].revents & POLLERR) != 0;
}

void end_without_driver() {
    if (!stay_without_driver && driver_is_gone())
        std::exit(0);
}

} // namespace

int wire_number(const std::string& name) {
    if (name == "stdin")
        return STDIN_FILENO;
    if (name == "stdout")
        return STDOUT_FILENO;
    if (name == "stderr")
        return STDERR_FILENO;
    give_up("no such wire: " + name);
}

void write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd wait{fd, POLLOUT, 0};
            poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            std::exit(0); // nobody reads any more
        }
    }
}

void write_drop_by_drop(int fd, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        write_all(fd, bytes.substr(i, 1));
        int unread = 1;
        while (ioctl(fd, FIONREAD, &unread) == 0 && unread > 0) {
            end_without_driver();
            usleep(200);
        }
    }
}

bool read_line(std::string& line) {
    line.clear();
    for (;;) {
        char byte = 0;
        const ssize_t count = read(STDIN_FILENO, &byte, 1);
        if (count == 1 && byte == '\n')
            return true;
        if (count == 1) {
            line += byte;
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            return false;
        } else {
            pollfd wait{STDIN_FILENO, POLLIN, 0};
            poll(&wait, 1, -1);
        }
    }
}

void sleep_a_little() {
    end_without_driver();
    poll(nullptr, 0, short_sleep_ms);
}

void give_up(const std::string& why) {
    std::fprintf(stderr, "<ERR>script: %s\n", why.c_str());
    std::exit(2);
}
