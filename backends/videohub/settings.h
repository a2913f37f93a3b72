// What the item file says about the way to the router.
#pragma once

#include "log_lines.h"

#include <cstdint>
#include <map>
#include <string>

struct videohub_settings {
    std::string address;           // "address": a name or a literal IPv4 or IPv6 address; empty: not set
    int port = 9990;               // "port", 1..65535
    int connect_timeout_ms = 3000; // "connect timeout ms", 1..600000

    // For tests and for routers of uncommon manners; read at the start only, 1..600000.
    int ping_ms = 15000;    // "videohub ping ms": from one keep-alive to the next
    int silence_ms = 30000; // "videohub silence ms": after so long without a word the connection is dropped
    int answer_ms = 10000;  // "videohub answer ms": the longest wait for an answer, and for the first word
    int reconnect_ms = 500; // "videohub reconnect ms": the first wait; the longest is twenty times as long
};

// The settings in `values`, which were read from the item file. A malformed one is logged as an error and
// keeps its default.
videohub_settings settings_from_item(const std::map<std::string, std::string>& values, log_lines& log);

// Takes over "address", "port" or "connect timeout ms"; other names mean nothing. A malformed value is logged
// as an error and changes nothing. True when the way to the router is another one now.
bool change_setting(videohub_settings& settings, const std::string& name, const std::string& value,
                    log_lines& log);
