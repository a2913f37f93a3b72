// What the item file says about the router: how to reach it, and how it behaves.
#pragma once

#include "item_settings.h"

struct videohub_settings {
    std::string address;             // "address": a name or a literal IPv4 or IPv6 address; empty: not set
    int port = 9990;                 // "port", 1..highest_port
    int connect_timeout_ms = 3000;   // "connect timeout ms", 1..longest_setting_ms
    bool with_monitors = false;      // "videohub monitoring outputs", yes or no: as outputs after the others
    bool with_serial_ports = false;  // "videohub serial ports", yes or no: as inputs and outputs after those
    bool one_take_per_block = false; // "videohub one take per block", yes or no

    // For tests and for routers that behave in an uncommon way; read at the start
    // only, 1..longest_setting_ms.
    int ping_ms = 15000;    // "videohub ping ms": from one keep-alive to the next
    int silence_ms = 30000; // "videohub silence ms": after so long without a word the connection is dropped
    int answer_ms = 10000;  // "videohub answer ms": the longest wait for an answer, and for the first word
    int reconnect_ms = 500; // "videohub reconnect ms": the first wait; the longest is twenty times as long

    bool operator==(const videohub_settings&) const = default;
};

// The table of the settings; `settings` must live as long as the table. The address, the port and the timeout
// may change while the program runs.
item_settings videohub_setting_table(videohub_settings& settings);
