#include "driver.h"

#include "backend.h"
#include "system_status.h"

void report_status(const char*, comm_socket_v4_packet* packet) {
    std::string active = backend_connected() ? "1" : "0";
    active += shm_status();
    active += mem_status();
    active += cpu_status();
    comm_socket_v4_packet_write_nv_pair(packet, "*active", active);
    comm_socket_v4_packet_write_nv_pair(packet, "*last error", last_error);
    comm_socket_v4_packet_write_nv_pair(packet, "*last notes", last_notes);
}
