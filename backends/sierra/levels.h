// Which of the router's levels carry video and which carry audio.
#pragma once

#include "log_lines.h"

#include <string>
#include <vector>

struct level_groups {
    bool split = false;     // both groups have levels: breakaway is possible
    std::vector<int> video; // numbers of levels, 1-based, in ascending order; not split: all levels
    std::vector<int> audio; // not split: empty
    bool cover_all = true;  // every level of the router stands in one of the groups
};

// Groups the levels whose names are given in the order of their numbers. A level whose name begins with
// "VIDEO" (in either case) is video, with "AUDIO" audio; the others belong to no group. `video_setting` and
// `audio_setting` may say otherwise: numbers or names of levels, separated by commas; empty: no setting. A
// setting that names a level that does not exist is logged and ignored.
level_groups group_levels(const std::vector<std::string>& names, const std::string& video_setting,
                          const std::string& audio_setting, log_lines& log);
