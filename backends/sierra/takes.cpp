#include "takes.h"

#include <algorithm>

namespace {

bool same_crosspoint(const crosspoint_take& one, const crosspoint_take& other) {
    return one.output == other.output && (one.level == other.level || one.level == 0);
}

void plan_crosspoint(const crosspoint_take& take, std::vector<crosspoint_take>& planned) {
    const auto is_replaced = [&](const crosspoint_take& earlier) { return same_crosspoint(take, earlier); };
    planned.erase(std::remove_if(planned.begin(), planned.end(), is_replaced), planned.end());
    planned.push_back(take);
}

void plan_levels(const asked_take& take, const std::vector<int>& levels,
                 std::vector<crosspoint_take>& planned) {
    const int source = take.source < 0 ? source_disconnected : take.source + 1;
    for (const int level : levels) {
        plan_crosspoint({take.output + 1, level, source}, planned);
    }
}

std::string shown(int number) {
    return std::to_string(static_cast<long>(number) + 1);
}

} // namespace

std::string fault_of_take(const asked_take& take, const router_picture& picture, const level_groups& groups) {
    if (take.output < 0 || take.output >= picture.outputs) {
        return "there is no output " + shown(take.output);
    }
    if (take.source >= picture.inputs) {
        return "there is no input " + shown(take.source);
    }
    if (take.control != take_control::both && !groups.split) {
        return "this router has no separate levels";
    }
    return "";
}

void plan_take(const asked_take& take, const level_groups& groups, std::vector<crosspoint_take>& planned) {
    if (take.control == take_control::both && groups.cover_all) {
        plan_levels(take, {0}, planned);
        return;
    }
    if (take.control != take_control::audio) {
        plan_levels(take, groups.video, planned);
    }
    if (take.control != take_control::video) {
        plan_levels(take, groups.audio, planned);
    }
}

bool touches(const crosspoint_take& take, int output, int level) {
    return take.output == output && (take.level == level || take.level == 0);
}

void await_takes(awaited_outputs& awaited, const std::vector<crosspoint_take>& takes, int levels,
                 std::uint64_t deadline) {
    for (const crosspoint_take& take : takes) {
        awaited_output& output = awaited[take.output];
        output.deadline = deadline;
        output.refused = false;
        for (int level = 1; level <= levels; ++level) {
            if (touches(take, take.output, level)) {
                output.wanted[level] = take.source;
            }
        }
    }
}

bool note_shown(awaited_outputs& awaited, const seen_crosspoint& shown) {
    const auto entry = awaited.find(shown.output);
    if (entry == awaited.end()) {
        return false;
    }
    awaited_output& output = entry->second;
    output.seen = true;
    const auto wanted = output.wanted.find(shown.level);
    const bool is_absent = shown.source == source_unknown;
    if (wanted != output.wanted.end() && (is_absent || wanted->second == shown.source)) {
        output.wanted.erase(wanted);
    }
    return output.wanted.empty() || output.refused;
}

std::vector<crosspoint_take> not_shown(const awaited_outputs& awaited,
                                       const std::vector<crosspoint_take>& takes) {
    std::vector<crosspoint_take> left;
    const auto is_awaited = [&](const crosspoint_take& take) {
        const auto entry = awaited.find(take.output);
        if (entry == awaited.end()) {
            return false;
        }
        const auto touched = [&](const auto& wanted) {
            return touches(take, take.output, wanted.first) && wanted.second == take.source;
        };
        return std::any_of(entry->second.wanted.begin(), entry->second.wanted.end(), touched);
    };
    std::copy_if(takes.begin(), takes.end(), std::back_inserter(left), is_awaited);
    return left;
}
