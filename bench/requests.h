// What is asked of the servers, in their own languages.
#pragma once

#include "load_client.h"

#include <string>
#include <utility>
#include <vector>

std::string status_request();
// The take of `input` to `output`, both from 1.
std::string take_request(int output, int input);
constexpr std::size_t take_reply_bytes = 31;
// Takes of `input` to `count` outputs from `first_output` on, in one packet with a reply of the same size.
std::string takes_request(int first_output, int count, int input);
// The same as takes that are answered one by one.
std::string answered_takes_request(int first_output, int count, int input, const std::string& id);
std::string watch_request();
// `from`: what the page before said of the next one; empty for the first.
std::string describe_request(const std::string& from);
// Where the page after this packet begins; empty: it is the last.
std::string next_page(const std::string& packet);

using names_and_values = std::vector<std::pair<std::string, std::string>>;

// What a driver's status holds now.
struct status_answer {
    std::size_t bytes; // of the whole packet
    bool router_known;
    names_and_values entries; // in the packet's order
};
status_answer ask_status(const std::string& socket);

// Waits until a driver serves `socket` and its status shows so many outputs with names. Throws when that does
// not happen in time.
void wait_for_outputs(const std::string& socket, int outputs, int milliseconds);

// Status round trips of the driver at `socket`, as its status is now.
load_target status_target(const std::string& socket);

// The same names and values as a hash of a redis server: the commands that store and read it, and the size of
// what is read.
std::string hash_store_command(const names_and_values& entries);
std::string hash_read_command();
std::size_t hash_reply_bytes(const names_and_values& entries);
