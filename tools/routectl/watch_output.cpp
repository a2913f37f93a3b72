#include "watch_output.h"

#include "local_time.h"

#include <cstdio>

bool print_watch_line(bool json, const watch_line& line) {
    const std::string now = local_time(time_now_ms());
    if (json) {
        json_object object = {{"time", now}};
        object.update(line.object);
        std::puts(json_line(object).c_str());
    } else {
        std::printf("%s %s\n", now.c_str(), line.text.c_str());
    }
    return std::fflush(stdout) == 0;
}
