#include "backend.h"

#include <cstring>

std::string last_error;
std::string last_notes;

namespace {

constexpr int kept_line_feeds = 20;

// The last line feed among the first `size` characters; npos when there is none. (rfind looks at one
// character after the other, and every line of a flood comes by here.)
std::size_t last_line_feed(std::string_view text, std::size_t size) {
    const void* found = memrchr(text.data(), '\n', size);
    return found != nullptr ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data())
                            : std::string_view::npos;
}

} // namespace

void append_log_line(std::string& log, std::string_view line) {
    // The line feed with exactly twenty behind it becomes the first character; with fewer nothing is cut.
    std::size_t cut = log.size();
    for (int feeds = 0; feeds <= kept_line_feeds && cut != std::string::npos; ++feeds)
        cut = last_line_feed(log, cut);
    if (cut != std::string::npos) {
        log.erase(0, cut);
        if (log.capacity() > kept_text_capacity && log.size() < kept_text_capacity / 2)
            log.shrink_to_fit();
    }
    if (!log.empty())
        log += '\n';
    log += line;
}
