#include "log_lines.h"

#include <algorithm>

void add_log_line(log_lines& log, std::string_view tag, std::string_view text) {
    std::string line = "<";
    line.append(tag).append(">").append(text.substr(0, longest_log_text));
    const auto is_control = [](char byte) { return (byte >= 0 && byte < ' ') || byte == 127; };
    std::replace_if(line.begin(), line.end(), is_control, ' ');
    log.push_back(std::move(line));
}
