// What the client prints with --json: one object on one line. Bytes that are no UTF-8 become U+FFFD.
#pragma once

#include "comm_socket_v4_packet.h"
#include "driver_report.h"
#include "rollback.h"
#include "router_status.h"
#include "take_check.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using json_object = nlohmann::ordered_json;

// {"command": "...", "result": N, "items": [{"argument": "..."}, {"end of arguments": true},
// {"name": "...", "value": "..."}]}, items in wire order.
json_object json_of_packet(const comm_socket_v4_packet& packet);

// {"router": true, "inputs": [{"input": 1, "name": "..."}], "outputs": [{"output": 1, "name": "...",
// "audio": 3, "video": 3}]}; 0 is "no source".
json_object json_of_status(const router_status& status);
json_object json_of_no_router(); // {"router": false}

// {"connected": true, "machine": ["..."], "errors": ["..."], "notes": ["..."]}
json_object json_of_report(const driver_report& report);

// {"confirmed": false, "outputs": [{"output": 1, "asked": {"audio": 3, "video": 3}, "shown": {...} or null,
// "confirmed": false}]}
json_object json_of_takes(const std::vector<take_result>& results);

// [{"output": 5, "taken": {...}, "kept": {...}}]
json_object json_of_rollbacks(const std::vector<rollback>& seen);

// The object on one line, without a line end. Never throws for what texts hold.
std::string json_line(const json_object& object);
