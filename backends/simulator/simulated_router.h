// The simulated router: its crosspoints and names, takes, and the reports that describe it to the driver.
// Inputs and outputs are 0-based; -1 means no source.
#pragma once

#include "message.h"

#include <set>
#include <string>
#include <vector>

struct simulated_output {
    int video_input = -1;
    int audio_input = -1;
    std::string name;
};

struct simulated_router {
    bool split_levels = false; // else both levels of an output always have the same source
    std::vector<std::string> input_names;
    std::vector<simulated_output> outputs;
};

enum class take_level { both, video, audio };

struct crosspoint_take {
    take_level level = take_level::both;
    int input = -1;
    int output = 0; // an output of the router
};

// A router fresh from the factory: output k shows input k where there is one, names are "Input 1", "Output 1"
// and so on.
simulated_router new_router(int inputs, int outputs, bool split_levels);

// True when it changed a source.
bool execute_take(simulated_router& router, const crosspoint_take& take);

bool input_exists(const simulated_router& router, int input);
bool output_exists(const simulated_router& router, int output);

TavrixAPIRouterMessage info_report(const simulated_router& router);

// All input names.
TavrixAPIRouterMessage inputs_report(const simulated_router& router);

// All output names and the routing of all outputs.
TavrixAPIRouterMessage outputs_report(const simulated_router& router);

// The routing of some outputs.
TavrixAPIRouterMessage routing_report(const simulated_router& router, const std::set<int>& outputs);

// A report without fields yet; `command` is "info", "inputs" or "outputs".
TavrixAPIRouterMessage empty_report(const std::string& command);

// Names of report fields.
std::string input_name_field(int input);
std::string output_name_field(int output);
