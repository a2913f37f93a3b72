// What a Videohub server says beside its tables of labels, locks and routing, for which videohub_block_text()
// is there.
#pragma once

#include "videohub_requests.h"

struct videohub_device_description {
    bool present = false; // false: nothing else is said
    std::string model_name;
    std::string friendly_name;
    std::string unique_id;
    videohub_served_size size;
};

constexpr std::string_view videohub_acknowledged = "ACK\n\n";
constexpr std::string_view videohub_refused = "NAK\n\n";

// The first of a connection: the version of the protocol.
std::string videohub_preamble_text();

// Line ends in its texts become blanks.
std::string videohub_device_text(const videohub_device_description& device);

// That takes are done at once.
std::string videohub_configuration_text();

std::string videohub_end_of_prelude_text();
