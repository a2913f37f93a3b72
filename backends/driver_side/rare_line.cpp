#include "rare_line.h"

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
