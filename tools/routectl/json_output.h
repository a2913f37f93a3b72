// What the client prints with --json: one object on one line. Bytes that are no UTF-8 become U+FFFD.
#pragma once

#include "client_record.h"
#include "comm_socket_v4_packet.h"
#include "driver_report.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using json_object = nlohmann::ordered_json;

// {"command": "...", "result": N, "items": [{"argument": "..."}, {"end of arguments": true},
// {"name": "...", "value": "..."}]}, items in wire order.
json_object json_of_packet(const comm_socket_v4_packet& packet);

// {"audio": 3, "video": 3}; 0 is "no source", null: nobody has said yet.
json_object json_of_sources(const vrdx::level_sources& sources);

// {"output": 1, "name": "...", "audio": 3, "video": 3, "waits ms": 800, "taken": {"user": 1000, "pid": 4711,
// "by": "..."}, "properties": {...}}; what is not the case is not there. `number` counts from 1.
json_object json_of_output(const vrdx::picture_output& output, int number);

// {"router": true, "inputs": [{"input": 1, "name": "..."}], "outputs": [...], "levels": ["video", "audio"],
// "backend": "running", "backend text": "...", "link": "up", "link text": "...", "epoch": "...",
// "sequence": 7}, of the outputs those with these numbers, ascending.
json_object json_of_router(const vrdx::router_picture& picture, const std::vector<int>& outputs);

// {"connected": true, "machine": ["..."], "errors": ["..."], "notes": ["..."]}
json_object json_of_report(const driver_report& report);

// {"take": 1, "time": "...", "way": "take", "user": 1000, "pid": 4711, "by": "...", "output": 3,
// "levels": "all" or "video,audio", "from": {...}, "to": {...}, "result": "confirmed", "text": "...",
// "milliseconds": 30}
json_object json_of_record(const vrdx::take_record& record);

// The object on one line, without a line end. Never throws for what texts hold.
std::string json_line(const json_object& object);
