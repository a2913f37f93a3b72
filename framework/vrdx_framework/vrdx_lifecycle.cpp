#include "vrdx.h"

#include "sliding_window_v4.h"
#include "vrdx_internal.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <string>
#include <unistd.h>

int vrdx_self_test() {
    sliding_window_v4* window = sliding_window_v4_create_buffer(16);
    if (window == nullptr)
        return -1;
    const bool window_works = window->fence - window->end == 16 && sliding_window_v4_is_sane(window);
    sliding_window_v4_destroy(window);

    comm_socket_v4_packet written;
    comm_socket_v4_packet read;
    written.result = 7;
    const bool packet_works =
        comm_socket_v4_packet_begin_writing(&written, 0, "self test", "argument") == 0 &&
        comm_socket_v4_packet_write_end(&written) == 0 &&
        comm_socket_v4_packet_decode(&read, reinterpret_cast<const unsigned char*>(written.bytes.data()),
                                     written.bytes.size()) &&
        read.result == 7 && std::strcmp(comm_socket_v4_packet_get_argv(&read, 0), "argument") == 0;
    return window_works && packet_works ? 0 : -1;
}

void fd_debug_dump_open_files(FILE* stream) {
    DIR* directory = opendir("/proc/self/fd");
    if (directory == nullptr) {
        std::fprintf(stream, "Cannot list open files: %s\n", std::strerror(errno));
        return;
    }
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] == '.')
            continue;
        char target[PATH_MAX];
        const ssize_t length = readlinkat(dirfd(directory), entry->d_name, target, sizeof(target));
        if (length > 0)
            std::fprintf(stream, "fd %s: %.*s\n", entry->d_name, static_cast<int>(length), target);
    }
    closedir(directory);
}

int idle_vrdx_server_comm() {
    return vrdx_comm_server != nullptr ? comm_socket_v4_accept_turn(vrdx_comm_server) : 0;
}

int idle_vrdx_client_contexts() {
    return vrdx_comm_server != nullptr ? comm_socket_v4_clients_turn(vrdx_comm_server) : 0;
}

void vrdx_idle_housekeeping() {
    vrdx_rotate_logfile_when_due();
    vrdx_readiness_repeat_when_due();
    vrdx_watchdog_feed_when_due();
}

void close_vrdx_client_contexts() {
    comm_socket_v4_close_clients(vrdx_comm_server);
}

void vrdx_free_all() {
    comm_socket_v4_destroy_server(vrdx_comm_server);
    vrdx_comm_server = nullptr;
    vrdx_global_access_cache_free(vrdx_acc_cache);
    vrdx_acc_cache = nullptr;
    metadata_v4_metadata_free(vrdx_metadata);
    vrdx_metadata = nullptr;
    metadata_v4_context_free(vrdx_meta);
    vrdx_meta = nullptr;
}
