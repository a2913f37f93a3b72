#include "takes.h"

#include <algorithm>
#include <optional>

namespace {

bool same_crosspoint(const crosspoint_take& one, const crosspoint_take& other) {
    return one.output == other.output && (one.level == other.level || one.level == 0);
}

void plan_crosspoint(const crosspoint_take& take, std::vector<crosspoint_take>& planned) {
    std::erase_if(planned, [&](const crosspoint_take& earlier) { return same_crosspoint(take, earlier); });
    planned.push_back(take);
}

void plan_levels(const endpoint_take& take, const std::vector<int>& levels,
                 std::vector<crosspoint_take>& planned) {
    const int source = take.source < 0 ? source_disconnected : take.source + 1;
    for (const int level : levels) {
        plan_crosspoint({take.output + 1, level, source}, planned);
    }
}

// The source that `planned` has for a level of this output, as the driver counts; the last one counts.
std::optional<int> planned_source(const std::vector<crosspoint_take>& planned, int output,
                                  const std::vector<int>& levels) {
    std::optional<int> source;
    for (const crosspoint_take& take : planned) {
        if (!levels.empty() && touches(take, output, levels.front())) {
            source = take.source == source_disconnected ? no_source : take.source - 1;
        }
    }
    return source;
}

} // namespace

void plan_take(const endpoint_take& take, const level_groups& groups, std::vector<crosspoint_take>& planned) {
    if (take.level == endpoint_level::all && groups.cover_all) {
        plan_levels(take, {0}, planned);
        return;
    }
    if (take.level != endpoint_level::audio) {
        plan_levels(take, groups.video, planned);
    }
    if (take.level != endpoint_level::video) {
        plan_levels(take, groups.audio, planned);
    }
}

endpoint_takes asked_takes(const std::vector<crosspoint_take>& planned, const level_groups& groups) {
    std::set<int> outputs;
    for (const crosspoint_take& take : planned) {
        outputs.insert(take.output);
    }
    endpoint_takes asked;
    for (const int output : outputs) {
        const auto video = planned_source(planned, output, groups.video);
        const auto audio = planned_source(planned, output, groups.audio);
        if (video && (!groups.split || video == audio)) {
            asked.push_back({output - 1, *video, endpoint_level::all});
            continue;
        }
        if (video) {
            asked.push_back({output - 1, *video, endpoint_level::video});
        }
        if (audio) {
            asked.push_back({output - 1, *audio, endpoint_level::audio});
        }
    }
    return asked;
}

bool touches(const crosspoint_take& take, int output, int level) {
    return take.output == output && (take.level == level || take.level == 0);
}

void await_takes(awaited_takes& awaited, const std::vector<crosspoint_take>& takes, int levels,
                 std::uint64_t deadline) {
    for (const crosspoint_take& take : takes) {
        for (int level = 1; level <= levels; ++level) {
            if (touches(take, take.output, level)) {
                await_take(awaited, take.output - 1, level, take.source, deadline);
            }
        }
    }
}

std::vector<crosspoint_take> not_shown(const awaited_takes& awaited,
                                       const std::vector<crosspoint_take>& takes) {
    std::vector<crosspoint_take> left;
    std::copy_if(takes.begin(), takes.end(), std::back_inserter(left), [&](const crosspoint_take& take) {
        const auto entry = awaited.find(take.output - 1);
        const auto touched = [&](const auto& wanted) {
            return touches(take, take.output, wanted.first) && wanted.second == take.source;
        };
        return entry != awaited.end() &&
               std::any_of(entry->second.wanted.begin(), entry->second.wanted.end(), touched);
    });
    return left;
}
