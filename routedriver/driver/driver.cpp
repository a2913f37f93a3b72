#include "driver.h"

#include "backend.h"
#include "router.h"
#include "system_status.h"
#include "text.h"
#include "vrdx.h"

#include <cstdio>
#include <string_view>

void report_status(const char*, comm_socket_v4_packet* packet) {
    std::string active = commands_reach_backend ? "1" : "0";
    active += shm_status();
    active += mem_status();
    active += cpu_status();
    comm_socket_v4_packet_write_nv_pair(packet, "*active", active);
    // Of a log that does not fit the newest is shown.
    constexpr std::string_view error_name = "*last error";
    constexpr std::string_view notes_name = "*last notes";
    constexpr std::size_t beside = 2 * comm_packet_entry_bytes + error_name.size() + notes_name.size();
    const std::size_t longest = longest_that_fits({last_error.size(), last_notes.size()},
                                                  comm_socket_v4_packet_room(packet) - beside);
    comm_socket_v4_packet_write_nv_pair(packet, error_name, text_tail(last_error, longest));
    comm_socket_v4_packet_write_nv_pair(packet, notes_name, text_tail(last_notes, longest));
}

bool auto_termination_due(std::uint64_t now) {
    if (vrdx_no_autoshutdown || stay_resident || mono_auto_shutdown == 0 || mono_auto_shutdown > now)
        return false;
    std::fprintf(stderr, "Auto terminate: %s\n", vrdx_file);
    return true;
}
