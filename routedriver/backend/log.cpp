#include "backend.h"

#include "text.h"

#include <chrono>
#include <cstring>
#include <utility>

std::string last_error;
std::string last_notes;
std::deque<timed_line> timed_errors;
std::deque<timed_line> timed_notes;

namespace {

constexpr int kept_line_feeds = 20;

// The last line feed among the first `size` characters; npos when there is none. (rfind looks at one
// character after the other, and this runs for every line of a flood.)
std::size_t last_line_feed(std::string_view text, std::size_t size) {
    const void* found = memrchr(text.data(), '\n', size);
    return found != nullptr ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data())
                            : std::string_view::npos;
}

void keep_timed_line(std::deque<timed_line>& lines, std::string_view line) {
    constexpr std::size_t most_lines = kept_line_feeds + 2; // as many as append_log_line leaves
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto wall_ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    timed_line kept; // reuses the memory of the line that is dropped: this runs for every line of a flood
    if (lines.size() == most_lines) {
        kept = std::move(lines.front());
        lines.pop_front();
    }
    kept.wall_ms = static_cast<std::uint64_t>(wall_ms);
    kept.text = text_head(line, timed_line_bytes);
    lines.push_back(std::move(kept));
}

} // namespace

void append_log_line(std::string& log, std::string_view line) {
    keep_timed_line(&log == &last_error ? timed_errors : timed_notes, line);
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
