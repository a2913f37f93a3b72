// What a Videohub router has said about itself, block by block: a picture without any belief of its own. All
// numbers are 0-based.
#pragma once

#include "videohub_blocks.h"

#include <string>
#include <vector>

// Larger sizes are cut down to this.
constexpr int most_videohub_ports = 4096;
constexpr std::size_t most_videohub_label_bytes = 1024; // what is beyond is cut off

enum class videohub_presence {
    unknown,
    absent,       // the server answers, but no device is attached to it
    needs_update, // the device waits for its firmware
    present,
};

enum class videohub_lock {
    unlocked,
    own,   // by this client's address
    other, // by another client
};

struct videohub_input {
    std::string label;     // as the router has it; any bytes but line feeds
    bool labelled = false; // the label is known, though perhaps empty
};

struct videohub_output {
    std::string label;
    bool labelled = false;
    int source = -1;     // an input; -1: none, not known, or one beyond the size
    bool routed = false; // the source is known
    videohub_lock lock = videohub_lock::unlocked;
};

struct videohub_model {
    std::string version; // of the protocol, "2.7"; empty: not said
    videohub_presence presence = videohub_presence::unknown;
    std::string model_name;
    std::string friendly_name; // may be missing
    std::string unique_id;     // may be missing
    bool inputs_known = false; // the number of inputs was said
    bool outputs_known = false;
    std::vector<videohub_input> inputs;
    std::vector<videohub_output> outputs;
    bool prelude_ended = false; // never so in versions 2.2 and 2.3
};

// What one block has told.
struct videohub_news {
    bool known = false;      // the block is one of those the model follows
    bool device = false;     // a device was attached, has gone, or has another size: all else was forgotten
    std::vector<int> routed; // outputs whose source was told, perhaps the one they had
    std::vector<int> labelled_inputs; // told, likewise
    std::vector<int> labelled_outputs;
};

// Takes in one block that the router has sent. Lines that cannot be read or that are beyond the size are
// skipped, and so are unknown blocks; answers ("ACK", "NAK") are unknown here.
videohub_news apply_videohub_block(videohub_model& model, const videohub_block& block);

// True when the whole state of a present device is known: with `quiet` (the router has been silent for a
// short while) also from a router that does not say where its state ends.
bool videohub_state_complete(const videohub_model& model, bool quiet);

// True when the sizes and the source of every output are known, which is what takes need.
bool videohub_routing_known(const videohub_model& model);

// False when the major version is another one than 2; true as long as none was said.
bool videohub_version_understood(const videohub_model& model);
