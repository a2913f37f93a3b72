// The picture of a router as a test wants it, and sources and requests as values that tests compare and
// failures print.
#pragma once

#include "router.h"
#include "settable_clock.h"

#include <ostream>
#include <string>
#include <utility>

using levels = route_sources;

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

// --- painting ----------------------------------------------------------------------------------------------

// The levels of the router are switched separately from now on, or together again.
inline void split_the_levels(bool split = true) {
    resize_picture(input_count, output_count, split);
}

inline void report_sources(std::int32_t output, levels sources) {
    report_source(output, true, false, sources.audio);
    report_source(output, false, true, sources.video);
}

// A take as the planner shows it: with the second that a confirmation has.
inline void show_take(std::int32_t output, route_sources sources, requester whose = {}) {
    static std::uint64_t takes = 0;
    assume_sources({output, sources, ++takes, whose, "", settable_clock_us + assume_timeout});
}

// An output on `now` that was on `before`; the take between the two waits until `deadline`, or, when that is
// 0, was confirmed.
inline void paint_output(std::int32_t output, levels now, levels before, std::uint64_t deadline,
                         const std::string& name = "") {
    name_output(output, name);
    report_sources(output, before);
    const std::uint64_t clock = settable_clock_us;
    if (deadline != 0)
        settable_clock_us = deadline - assume_timeout;
    show_take(output, now);
    settable_clock_us = clock;
    if (deadline == 0)
        report_sources(output, now);
}

// The same for each output of the picture.
inline void paint_outputs(levels now, levels before, std::uint64_t deadline, const std::string& name = "") {
    for (std::int32_t output = 0; output < output_count; ++output)
        paint_output(output, now, before, deadline, name);
}
