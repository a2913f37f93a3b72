#include "sierra_picture.h"

#include <cstddef>

namespace {

int level_count(const sierra_picture& picture) {
    return static_cast<int>(picture.levels.size());
}

bool has_crosspoint(const sierra_picture& picture, int output, int level) {
    return output >= 1 && output <= picture.outputs && level >= 1 && level <= level_count(picture);
}

std::size_t index_of(const sierra_picture& picture, int output, int level) {
    return static_cast<std::size_t>(output - 1) * picture.levels.size() + static_cast<std::size_t>(level - 1);
}

void set_source(sierra_picture& picture, int output, int level, int source,
                std::vector<seen_crosspoint>& seen) {
    if (!has_crosspoint(picture, output, level)) {
        return;
    }
    const int known = source > picture.inputs ? source_unknown : source;
    int& place = picture.sources[index_of(picture, output, level)];
    seen.push_back({output, level, known, place != known});
    place = known;
}

} // namespace

bool size_known(const sierra_picture& picture) {
    return picture.outputs > 0;
}

void set_size(sierra_picture& picture, const reply& size) {
    picture.outputs = size.outputs;
    picture.inputs = size.inputs;
    picture.levels = size.levels;
    picture.sources.assign(static_cast<std::size_t>(size.outputs) * size.levels.size(), source_unknown);
}

bool same_size(const sierra_picture& picture, const reply& size) {
    return picture.outputs == size.outputs && picture.inputs == size.inputs && picture.levels == size.levels;
}

std::vector<seen_crosspoint> apply_routing(sierra_picture& picture, const reply& routing) {
    std::vector<seen_crosspoint> seen;
    if (routing.kind == reply_kind::per_level) {
        int level = 1;
        for (const int source : routing.sources) {
            set_source(picture, routing.output, level++, source, seen);
        }
    } else if (routing.kind == reply_kind::crosspoint && routing.level != 0) {
        set_source(picture, routing.output, routing.level, routing.sources.front(), seen);
    } else if (routing.kind == reply_kind::crosspoint || routing.kind == reply_kind::all_levels) {
        for (int level = 1; level <= level_count(picture); ++level) {
            set_source(picture, routing.output, level, routing.sources.front(), seen);
        }
    }
    return seen;
}

int source_of(const sierra_picture& picture, int output, int level) {
    return has_crosspoint(picture, output, level) ? picture.sources[index_of(picture, output, level)]
                                                  : source_unknown;
}

int source_of(const sierra_picture& picture, int output, const std::vector<int>& levels) {
    for (const int level : levels) {
        const int source = source_of(picture, output, level);
        if (source != source_unknown) {
            return source;
        }
    }
    return source_unknown;
}
