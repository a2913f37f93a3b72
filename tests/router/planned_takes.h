// Takes as the planner sends them, and a router to plan them for.
#pragma once

#include "fresh_driver.h"
#include "router_picture.h"
#include "wired_backend.h"

#include <string>

constexpr const char* flush = "*COMMAND=route output\n*TYPE=command\nqueue=flush\n\n";

inline std::string take(const std::string& input, const std::string& output) {
    return "*COMMAND=route output\n*TYPE=command\nfrom input=" + input + "\nqueue=add\nto output=" + output +
           "\n\n";
}

inline std::string take(const std::string& level, const std::string& input, const std::string& output) {
    return "*COMMAND=route output\n*TYPE=command\ncontrol=" + level + "\nfrom input=" + input +
           "\nqueue=add\nto output=" + output + "\n\n";
}

// A router of four outputs, all on source 0, with a backend.
class planned_takes : public fresh_driver {
protected:
    planned_takes() {
        resize_picture(0, 4, false);
        for (std::int32_t output = 0; output < 4; ++output)
            report_sources(output, {0, 0});
    }

    wired_backend backend_;
};
