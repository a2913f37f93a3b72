// The item: its file, the metadata published for it, and its status report.
#pragma once

#include "comm_socket_v4_packet.h"

#include <cstdint>
#include <string>

extern std::string driver_name; // setting "driver", after the alias
extern bool stay_resident;      // setting "stay resident": never end for want of clients
extern std::int64_t
    item_file_mtime; // modification time (whole seconds) that the item file had when it was last examined

// Reads the item file's settings from where vrdx_meta's descriptor stands; settings that are missing keep
// their value. Decides the backend program, and stops the backend when another one is named. 0, or -1 when
// the open item file is no readable regular file. Aborts when there is no descriptor at all.
int examine_file();

enum class item_file_check {
    unchanged,
    examined,   // the file was read anew
    unreadable, // the file changed and cannot be read: the driver ends
};

// Looks whether the item file on disk is another or newer than the one examined (whole seconds), and if so
// reopens and examines it. To be called every two seconds.
item_file_check check_item_file();

// True when no client has asked for anything for so long that the driver is to end; that is traced. `now` in
// microseconds.
bool auto_termination_due(std::uint64_t now);

// Declares an item without audio, video and finite duration; drops stale item-wide entries that say
// otherwise; writes the metadata back when that is allowed. Once, at start-up.
void publish_item_metadata();

// Answers the framework's status report. `text` is not used.
void report_status(const char* text, comm_socket_v4_packet* packet);
