#include "serial_line.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

namespace {

struct line_speed {
    int baud;
    speed_t code;
};

constexpr std::array<line_speed, 9> speeds = {{{1200, B1200},
                                               {2400, B2400},
                                               {4800, B4800},
                                               {9600, B9600},
                                               {19200, B19200},
                                               {38400, B38400},
                                               {57600, B57600},
                                               {115200, B115200},
                                               {230400, B230400}}};

const line_speed* speed_of(int baud) {
    const auto* const found = std::find_if(speeds.begin(), speeds.end(),
                                           [&](const line_speed& speed) { return speed.baud == baud; });
    return found == speeds.end() ? nullptr : found;
}

// A read that finds nothing fails with EAGAIN (VMIN 1); the modem's lines are not looked at.
bool set_up_line(int fd, speed_t code) {
    termios line = {};
    if (tcgetattr(fd, &line) != 0) {
        return false;
    }
    cfmakeraw(&line);
    line.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS | PARENB);
    line.c_cflag |= CS8 | CLOCAL | CREAD;
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
    return cfsetispeed(&line, code) == 0 && cfsetospeed(&line, code) == 0 &&
           tcsetattr(fd, TCSANOW, &line) == 0 && tcflush(fd, TCIOFLUSH) == 0;
}

} // namespace

bool is_serial_speed(int baud) {
    return speed_of(baud) != nullptr;
}

int open_serial_line(const std::string& device, int baud, std::string* failure) {
    const line_speed* const speed = speed_of(baud);
    if (speed == nullptr) {
        *failure = "the line cannot be set to " + std::to_string(baud) + " baud";
        return -1;
    }
    const int fd = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    // Two programs on one line would steal each other's answers.
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0 && set_up_line(fd, speed->code)) {
        return fd;
    }
    *failure = std::strerror(errno);
    if (fd >= 0) {
        close(fd);
    }
    return -1;
}
