// What is said to the broker about its stream of histories, and what it answers.
#pragma once

#include <cstdint>
#include <string>

namespace gateway {

// The subjects of the broker's own service that are asked.
std::string stream_info_subject();
std::string stream_create_subject();
std::string stream_message_subject();

std::string stream_create_text();
std::string stream_message_request(std::uint64_t sequence);

// What the broker has said. Never all empty: what cannot be read is a problem, too.
struct stream_answer {
    std::string problem; // in the broker's words
    bool no_stream = false, no_message = false;
};

// The broker has an entry.
struct stored_entry {
    stream_answer said;
    std::uint64_t sequence = 0; // where in the stream
    bool was_there = false;     // it came for the second time, soon after the first, and is there once
};
stored_entry read_stored(const std::string& text);

struct stream_state {
    stream_answer said;
    std::string created;                             // when this stream was made
    std::uint64_t first = 0, last = 0, messages = 0; // sequences of what it has now
    std::string first_time;                          // when the broker got the first of it
};
stream_state read_stream_state(const std::string& text);

struct stream_message {
    stream_answer said;
    std::string subject, data;
};
stream_message read_stream_message(const std::string& text);

} // namespace gateway
