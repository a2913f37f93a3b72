#include "output_width.h"

#include <algorithm>
#include <limits>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::size_t least_columns = 60;

}

std::size_t columns_of_output() {
    winsize size{};
    if (!output_is_terminal() || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return std::numeric_limits<std::size_t>::max();
    return std::max<std::size_t>(size.ws_col, least_columns);
}

bool output_is_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}
