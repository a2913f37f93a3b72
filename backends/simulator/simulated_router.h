// The simulated router: its crosspoints and names. Inputs and outputs are 0-based; -1 means no source.
#pragma once

#include "endpoint_requests.h"

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

// A new router: output k shows input k where there is one, names are "Input 1", "Output 1"
// and so on.
simulated_router new_router(int inputs, int outputs, bool split_levels);

// Does a take whose input and output exist. True when it changed a source.
bool execute_take(simulated_router& router, const endpoint_take& take);

bool input_exists(const simulated_router& router, int input);
bool output_exists(const simulated_router& router, int output);
