// What is sent to the router: complete strings, with "**" and "!!", without blanks.
#pragma once

#include "sierra_replies.h"

#include <string>
#include <vector>

// One crosspoint to be switched, in the protocol's numbers.
struct crosspoint_take {
    int output = 1;                   // 1-based
    int level = 0;                    // 1-based; 0: all levels
    int source = source_disconnected; // 1-based, or source_disconnected
};

inline bool operator==(const crosspoint_take& one, const crosspoint_take& other) {
    return one.output == other.output && one.level == other.level && one.source == other.source;
}

inline constexpr const char* link_test_request = "**!!";
inline constexpr const char* letters_request = "**I!!";
inline constexpr const char* model_request = "**Q!!";
inline constexpr const char* size_request = "**L!!";
inline constexpr const char* reports_request = "**U2!!";         // tell every change at once
inline constexpr const char* delayed_reports_request = "**U1!!"; // within seconds, for older routers
inline constexpr const char* status_request = "**S!!";

// All takes in one string, so that they are switched together.
std::string take_request(const std::vector<crosspoint_take>& takes);

// Locks or frees an output, 1-based, with a password of digits.
std::string lock_request(int output, const std::string& password, bool locks);

// Asks for the state of some outputs, 1-based.
std::string output_request(const std::vector<int>& outputs);
