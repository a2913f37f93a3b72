#include "levels.h"

#include "plain_text.h"
#include "sierra_reply_scanner.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <set>
#include <string_view>

namespace {

std::string in_capitals(std::string_view text) {
    std::string capitals(text);
    std::transform(capitals.begin(), capitals.end(), capitals.begin(), capital);
    return capitals;
}

std::set<int> levels_named_like(const std::vector<std::string>& names, const std::string& begin) {
    std::set<int> levels;
    int level = 1;
    for (const std::string& name : names) {
        if (in_capitals(name).starts_with(begin)) {
            levels.insert(level);
        }
        ++level;
    }
    return levels;
}

// The level that `text` names or numbers.
std::optional<int> level_of(const std::vector<std::string>& names, std::string_view text) {
    const std::optional<int> number = whole_number(text);
    if (number && *number >= 1 && *number <= static_cast<int>(names.size())) {
        return number;
    }
    const auto same = [&](const std::string& name) { return in_capitals(name) == in_capitals(text); };
    const auto found = std::find_if(names.begin(), names.end(), same);
    if (text.empty() || found == names.end()) {
        return std::nullopt;
    }
    return static_cast<int>(found - names.begin()) + 1;
}

std::string_view next_entry(std::string_view& list) {
    const auto comma = std::min(list.find(','), list.size());
    const std::string_view entry = without_outer_blanks(list.substr(0, comma));
    list.remove_prefix(std::min(comma + 1, list.size()));
    return entry;
}

// Nothing when the setting says nothing.
std::optional<std::set<int>> levels_of_setting(const std::vector<std::string>& names,
                                               const std::string& setting_name, const std::string& setting,
                                               log_lines& log) {
    std::set<int> levels;
    for (std::string_view list = setting; !list.empty();) {
        const std::string_view entry = next_entry(list);
        const std::optional<int> level = level_of(names, entry);
        if (!level) {
            add_log_line(log, "ERR",
                         "setting " + setting_name + ": the router has no level '" + std::string(entry) +
                             "', the names of the levels decide");
            return std::nullopt;
        }
        levels.insert(*level);
    }
    return levels.empty() ? std::nullopt : std::optional(levels);
}

void remove_levels(std::set<int>& levels, const std::set<int>& removed) {
    for (const int level : removed) {
        levels.erase(level);
    }
}

level_groups unsplit(std::size_t count) {
    level_groups groups;
    groups.video.resize(count);
    std::iota(groups.video.begin(), groups.video.end(), 1);
    return groups;
}

} // namespace

level_groups group_levels(const std::vector<std::string>& names, const std::string& video_setting,
                          const std::string& audio_setting, log_lines& log) {
    const auto video_set = levels_of_setting(names, "video level", video_setting, log);
    const auto audio_set = levels_of_setting(names, "audio level", audio_setting, log);
    std::set<int> video = video_set.value_or(levels_named_like(names, "VIDEO"));
    std::set<int> audio = audio_set.value_or(levels_named_like(names, "AUDIO"));
    // A level that is set for one group is not put into the other by its name; one that is set for both is
    // video.
    if (audio_set && !video_set) {
        remove_levels(video, audio);
    } else {
        remove_levels(audio, video);
    }
    if (video.empty() || audio.empty()) {
        return unsplit(names.size());
    }
    level_groups groups;
    groups.split = true;
    groups.video.assign(video.begin(), video.end());
    groups.audio.assign(audio.begin(), audio.end());
    groups.cover_all = video.size() + audio.size() == names.size();
    return groups;
}
