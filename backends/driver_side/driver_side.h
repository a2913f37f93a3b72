// The side of a backend that talks to the driver: it reads the driver's requests and makes the reports. A
// protocol tells it what the router says (show_...), and gets from it the takes that the router can do.
// Nothing here reads or writes descriptors: the main loop sends the reports and prints the log. Inputs and
// outputs are 0-based, times are monotonic microseconds.
//
//   state      means                                 takes
//   away       the router cannot be reached          refused
//   reading    it can, and its picture is being read refused
//   ready      the picture is complete               given to the protocol
#pragma once

#include "awaited_takes.h"
#include "endpoint_reports.h"
#include "log_lines.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

enum class router_state { away, reading, ready };

struct shown_port {
    std::map<std::string, std::string> properties; // "name" is one of them
    int video = unknown_source;                    // of an output; the only source where levels are not split
    int audio = unknown_source;
};

struct driver_side {
    router_state state = router_state::away;
    bool whole_salvos = true; // said in "info"
    awaited_takes awaited;

    // To be sent and printed by the main loop, which empties both.
    std::vector<TavrixAPIRouterMessage> reports; // in this order
    log_lines log;

    // --- changed by the functions below alone
    endpoint_size size; // all 0: not announced
    std::vector<shown_port> inputs;
    std::vector<shown_port> outputs;
    std::set<int> untold; // outputs whose source is to be reported as soon as that is allowed
    TavrixAPIRouterMessage input_news;
    TavrixAPIRouterMessage output_news;
    endpoint_collection collected;
    rare_lines rare;
    std::string link_told; // the last link report, as state and text
};

// What the protocol does for the driver.
struct protocol_requests {
    // Switch these, not later than `expires_us`. The router is ready and has these inputs, outputs and
    // levels.
    std::function<void(const endpoint_takes& takes, std::uint64_t expires_us)> switch_takes;

    // Set these properties of ports that exist. An empty function: the router has no properties to set.
    std::function<void(const std::vector<endpoint_property>& properties)> set_properties;

    std::function<void(const std::string& name, const std::string& value)> change_setting;

    // Why the router is not ready, for the refusal of takes and names.
    std::function<std::string()> why_not_ready;
};

// Does what `message` asks for.
void hear_driver(driver_side& driver, const TavrixAPIRouterMessage& message, std::uint64_t now,
                 const protocol_requests& requests);

// --- the picture

// Reports the size, and forgets what was shown before. The sources of all outputs are unknown now. They are
// reported as unknown at once, unless the router is ready and tells them.
void announce_size(driver_side& driver, const endpoint_size& size);

// Forgets what is known of the router. What the driver shows stays until the next announcement.
void forget_router(driver_side& driver, router_state state);

// Notes a property of a port; a number beyond the size is skipped.
void show_input(driver_side& driver, int input, const std::string& property, const std::string& value);
void show_output(driver_side& driver, int output, const std::string& property, const std::string& value);

// Notes a source. It is reported when the router is ready and no take of the output is awaited, even when it
// is the same as before, because it may confirm a take.
void show_source(driver_side& driver, int output, endpoint_level level, int source);

// Reports the source of an output once more.
void tell_source(driver_side& driver, int output);

// Makes reports of what was noted since the last call. To be called at the end of each pass.
void report_news(driver_side& driver);

// --- refusals, the link, the log

// Reports each as refused, and logs them in one line. The sources that their outputs still have are not
// reported.
void refuse_takes(driver_side& driver, const endpoint_takes& takes, const std::string& why);

// Reports whether the router can be reached, once per change.
void report_link(driver_side& driver, bool is_up, const std::string& text);

void warn(driver_side& driver, const std::string& text);

// "output 3" or "outputs 3, 5, 8 and 40 more", counted from 1.
std::string shown_outputs(const std::set<int>& outputs);
std::set<int> outputs_of(const endpoint_takes& takes);
