// Drivers that end by themselves.
#pragma once

#include "driver_process.h"

#include <string>
#include <string_view>

struct finished_driver {
    driver_end end;
    std::string trace;
};

inline finished_driver run_to_end(const driver_setup& setup) {
    driver_process driver(setup);
    const driver_end end = driver.wait_exit();
    return {end, driver.whole_trace()};
}

inline constexpr driver_end ends_well{0, 0};
inline constexpr driver_end refuses{1, 0};

// What every run of the loop ends with; the cache's address stands as "ADDRESS", see without_address.
inline constexpr std::string_view shutdown_report =
    "--------------REMAINING CNB BUFFER ALLOCATIONS----------------\n"
    "** PLEASE REVIEW FOR DEBUGGING PURPOSES TO CATCH CNB MEMORY LEAKS\n"
    "============================\n"
    "none\n"
    "--------------------------------------------------------------\n"
    "Cleaning up\n"
    "Housekeeping shut down\n"
    "Freeing cache ADDRESS\n";

// `trace` with the address behind "Freeing cache " replaced by the word.
inline std::string without_address(std::string trace) {
    constexpr std::string_view before = "Freeing cache ";
    const std::size_t at = trace.find(before);
    if (at == std::string::npos)
        return trace;
    const std::size_t start = at + before.size();
    const std::size_t end = trace.find('\n', start);
    return trace.replace(start, end - start, trace.compare(start, 2, "0x") == 0 ? "ADDRESS" : "NO ADDRESS");
}

// The settings that a start prints for DIR/item.
inline std::string item_setting(const std::string& directory, const std::string& name = "item") {
    return "Media item setting:\n   File: " + directory + "/" + name + "\n   Meta: " + directory +
           "\n   Sock: " + directory + "/.tavrixsock." + name + "\n";
}

inline constexpr std::string_view empty_metadata_state =
    "Standard metadata: 0 lines, may update: yes, write back: no\n";
