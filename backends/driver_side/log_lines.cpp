#include "log_lines.h"

#include <algorithm>

void add_log_line(log_lines& log, std::string_view tag, std::string_view text) {
    std::string line = "<";
    line.append(tag).append(">").append(text.substr(0, longest_log_text));
    const auto is_control = [](char byte) { return (byte >= 0 && byte < ' ') || byte == 127; };
    std::replace_if(line.begin(), line.end(), is_control, ' ');
    log.push_back(std::move(line));
}

bool add_rare_line(log_lines& log, rare_lines& lines, std::string_view cause, std::string_view tag,
                   std::string text, std::uint64_t now) {
    const auto [entry, is_first] = lines.try_emplace(std::string(cause));
    rare_line& line = entry->second;
    if (!is_first && now < line.told_at + rare_line_period_us) {
        ++line.left_out;
        return false;
    }
    if (line.left_out > 0) {
        text += " (" + std::to_string(line.left_out) + " more such lines were left out)";
    }
    add_log_line(log, tag, text);
    line = {now, 0};
    return true;
}
