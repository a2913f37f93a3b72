// What a client asks a Videohub server for, one block at a time. All numbers are 0-based.
#pragma once

#include "videohub_blocks.h"

#include <map>
#include <string>
#include <string_view>

// The blocks that a server knows.
enum class videohub_topic {
    ping,
    preamble,
    device,
    input_labels,
    output_labels,
    locks,
    routing,
    configuration, // the take mode of the whole device
    take_modes,    // that of each output
    end_of_prelude,
};

// Its header, without the colon.
std::string_view videohub_header(videohub_topic topic);

// What the server shows: numbers of a request are below these.
struct videohub_served_size {
    int inputs = 0;
    int outputs = 0;
};

enum class videohub_lock_wish { lock, unlock, force_unlock };

struct videohub_request {
    bool understood = false; // false: `problem` alone counts, and nothing of the block is to be done
    std::string problem;     // one sentence, without line ends
    videohub_topic topic = videohub_topic::ping;
    bool whole = false; // it has no lines: the whole block of this topic is asked for
    // By number; of several lines for a number the last one counts.
    std::map<int, int> takes;                // of routing: the source of each output
    std::map<int, std::string> labels;       // of both kinds of labels; at most most_videohub_label_bytes
    std::map<int, videohub_lock_wish> locks; // of locks
};

// Reads a block strictly: a header or a line that is not known, and a number that is not served, make all of
// it not understood.
videohub_request read_videohub_request(const videohub_block& block, videohub_served_size size);
