// Takes as the driver sends them, judged as the driver judges them: an output is confirmed when its routing
// was reported, which resets its deadline in the router model.
#pragma once

#include "conversation.h"

#include <vector>

// The sources of an output. All numbers are 0-based; a source of -1 is none.
struct crosspoint {
    int output = 0;
    int audio = -1;
    int video = -1;
};

// Forgets which outputs were reported.
void forget_reported_routing();
// The crosspoints of the outputs that were reported since then.
std::vector<crosspoint> reported_routing();

// What became of the takes of one flush, by output number.
struct taken {
    std::vector<int> followed; // reported with the sources that were asked for
    std::vector<int> kept;     // reported, with other sources
    std::vector<int> silent;   // not reported
    bool sent = true;          // false: the program did not even read them
};

// Sends the takes with one flush and waits for the confirmation time, or less when all have followed.
taken take_all(conversation& talk, const std::vector<crosspoint>& takes);

// Sends the takes without their flush; and the flush alone.
void send_without_flush(conversation& talk, const std::vector<crosspoint>& takes);
void send_flush(conversation& talk);

// Waits for up to `longest` more, and returns what has become of the takes.
taken look_again(conversation& talk, const std::vector<crosspoint>& takes, std::chrono::milliseconds longest);
