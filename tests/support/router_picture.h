// Sources and requests as values that tests compare and failures print.
#pragma once

#include "router.h"

#include <ostream>

struct levels {
    std::int32_t audio;
    std::int32_t video;

    bool operator==(const levels&) const = default;
};

inline levels current(const router_output& output) {
    return {output.audio_input, output.video_input};
}

inline levels saved(const router_output& output) {
    return {output.saved_audio_input, output.saved_video_input};
}

inline std::ostream& operator<<(std::ostream& stream, const levels& pair) {
    return stream << "audio " << pair.audio << " video " << pair.video;
}

inline bool operator==(const route_request& left, const route_request& right) {
    return left.audio_input == right.audio_input && left.video_input == right.video_input &&
           left.output == right.output;
}

inline std::ostream& operator<<(std::ostream& stream, const route_request& request) {
    return stream << "audio " << request.audio_input << " video " << request.video_input << " to output "
                  << request.output;
}
