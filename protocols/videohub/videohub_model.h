// What a Videohub router has said about itself, block by block. Nothing is added and nothing is assumed. All
// numbers are 0-based.
#pragma once

#include "router_limits.h"
#include "videohub_blocks.h"

#include <optional>
#include <string>
#include <vector>

constexpr std::size_t most_videohub_label_bytes = 1024; // of labels and other values; the rest is cut off
constexpr std::size_t most_videohub_alarms = 8;         // the first ones are followed

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
    std::string status;    // a word of the router's, such as its connector's kind; empty: not said
};

struct videohub_output {
    std::string label;
    bool labelled = false;
    int source = -1;     // an input; -1: none, not known, or one beyond the size
    bool routed = false; // the source is known
    videohub_lock lock = videohub_lock::unlocked;
    bool lock_known = false;
    std::string status;
};

// Ports of one kind, which only switch among themselves. Each kind has blocks of its own, numbered from 0.
enum class videohub_bank {
    video,      // video outputs, from video inputs
    monitoring, // monitoring outputs, from video inputs
    serial,     // serial ports, from serial ports
};

// Where the ports of a bank stand among all outputs and inputs.
struct videohub_bank_ports {
    int first_output = 0;
    int outputs = 0;
    int first_input = 0;
    int inputs = 0; // those that its outputs can show
};

// As the router has said them; nothing: not said.
struct videohub_sizes {
    std::optional<int> inputs;
    std::optional<int> outputs;
    std::optional<int> monitors;
    std::optional<int> serial_ports;
};

struct videohub_model {
    std::string version; // of the protocol, "2.7"; empty: not said
    videohub_presence presence = videohub_presence::unknown;
    std::string model_name;
    std::string friendly_name;                 // may be missing
    std::string unique_id;                     // may be missing
    std::string take_mode;                     // "true" or "false"; empty: not said
    std::map<std::string, std::string> alarms; // by name
    videohub_sizes told_sizes;
    bool inputs_known = false; // the number of inputs was said
    bool outputs_known = false;
    std::vector<videohub_input> inputs;   // at most most_router_inputs
    std::vector<videohub_output> outputs; // at most most_router_outputs
    bool with_monitors = false;     // set by the user of the model, and kept: monitoring outputs count, too
    bool with_serial_ports = false; // likewise: serial ports count as inputs and as outputs
    int monitors = 0;               // so many of `outputs`, behind those of video, are monitoring outputs
    int serial_ports = 0;           // so many of `inputs` and of `outputs`, the last ones, are serial ports
    bool prelude_ended = false;     // it has marked the end of its state; never in versions 2.2 and 2.3
};

// What one block has changed or told.
struct videohub_news {
    bool known = false;               // the block is one of those the model follows
    bool device = false;              // another device, no device, or another size: the rest was forgotten
    std::vector<int> routed;          // outputs whose source was told, perhaps the one they had
    std::vector<int> labelled_inputs; // told, likewise
    std::vector<int> labelled_outputs;
    std::vector<int> locked;         // outputs whose lock was told
    std::vector<int> input_statuses; // inputs whose status was told
    std::vector<int> output_statuses;
    bool router_itself = false; // names, take mode or alarms of the router were told
};

// Enters one block that the router has sent. Lines that cannot be read or that are beyond the size are
// skipped, and so are unknown blocks; answers ("ACK", "NAK") are unknown here.
videohub_news apply_videohub_block(videohub_model& model, const videohub_block& block);

// True when a device is present and has told its size: then it can be shown.
bool videohub_size_known(const videohub_model& model);

// True when a device is present and has told its whole state. Either it has marked the end, even if some
// outputs have no source yet; or, with `quiet` (it has been silent for a short while), nothing is missing.
bool videohub_state_complete(const videohub_model& model, bool quiet);

videohub_bank_ports videohub_ports_of(const videohub_model& model, videohub_bank bank);

// Of an output or input of the model.
videohub_bank videohub_bank_of_output(const videohub_model& model, int output);
videohub_bank videohub_bank_of_input(const videohub_model& model, int input);

// False when the router has told another major version than 2; true before it has told one.
bool videohub_version_understood(const videohub_model& model);
