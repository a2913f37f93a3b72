// The driver's reply to "report".
#pragma once

#include "comm_socket_v4_packet.h"

#include <string>
#include <vector>

struct driver_report {
    bool told = false;                // the reply says whether a backend is connected
    bool connected = false;           // a backend program is connected
    std::vector<std::string> machine; // the machine's condition, one text each
    std::vector<std::string> errors;  // the last errors, oldest first
    std::vector<std::string> notes;   // the last notes, oldest first
};

driver_report decode_report(const comm_socket_v4_packet& reply);

// The report for people: what is told of in a line, and the texts indented below it.
std::string report_text(const driver_report& report);
