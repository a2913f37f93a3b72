#include "backend.h"

std::string last_error;
std::string last_notes;

namespace {

constexpr int kept_line_feeds = 20;

}

void append_log_line(std::string& log, std::string_view line) {
    // The line feed with exactly twenty behind it becomes the first character; with fewer nothing is cut.
    std::size_t cut = log.size();
    for (int feeds = 0; feeds <= kept_line_feeds && cut != std::string::npos; ++feeds)
        cut = cut == 0 ? std::string::npos : log.rfind('\n', cut - 1);
    if (cut != std::string::npos)
        log.erase(0, cut);
    if (!log.empty())
        log += '\n';
    log += line;
}
