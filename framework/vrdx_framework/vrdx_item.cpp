#include "vrdx.h"

#include "item_paths.h"
#include "vrdx_internal.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t lock_patience_us = 5000000;

// The driver's text pointers point to these, which live as long as the process.
std::string item_path;
std::string metadata_directory;
std::string socket_path;

std::string absolute_path(const std::string& path) {
    if (path.front() == '/')
        return path;
    char directory[PATH_MAX];
    if (getcwd(directory, sizeof(directory)) == nullptr)
        return path;
    return std::string(directory) + "/" + path;
}

void derive_paths() {
    item_path = absolute_path(vrdx_file);
    metadata_directory =
        vrdx_metadir_switch.empty() ? item_directory(item_path) : absolute_path(vrdx_metadir_switch);
    socket_path = vrdx_sock_switch.empty() ? item_socket_path(item_path, metadata_directory)
                                           : absolute_path(vrdx_sock_switch);
    vrdx_file = item_path.c_str();
    vrdx_file_metadir = metadata_directory.c_str();
    vrdx_sock = socket_path.c_str();
}

// Who can write to the directory can replace the item file, and so choose the backend program. The group is
// trusted, as it is for the socket; in a sticky directory nobody can replace the file of another user.
void warn_of_others_in_directory() {
    struct stat found {};
    if (fstat(vrdx_meta->dir_fd, &found) == 0 && (found.st_mode & (S_IWOTH | S_ISVTX)) == S_IWOTH)
        std::fprintf(stderr, "Directory %s of the item file can be written by others\n",
                     item_directory(item_path).c_str());
}

bool open_item() {
    vrdx_meta = metadata_v4_context_open(item_path, item_metadata_path(item_path, metadata_directory));
    if (vrdx_meta == nullptr) {
        std::fprintf(stderr, "Cannot open item file %s: %s\n", vrdx_file, std::strerror(errno));
        return false;
    }
    struct stat found {};
    if (fstat(vrdx_meta->file_fd, &found) == 0 && !S_ISREG(found.st_mode))
        std::fprintf(stderr, "Item file %s is no regular file\n", vrdx_file);
    warn_of_others_in_directory();
    // Another driver that starts at the same time waits here, so that only one of them finds the socket free.
    if (metadata_v4_context_lock(vrdx_meta, lock_patience_us) != 0) {
        std::fprintf(stderr, "Cannot lock item file %s: %s\n", vrdx_file,
                     errno == EWOULDBLOCK ? "another process keeps it locked" : std::strerror(errno));
        return false;
    }
    return true;
}

// The driver starts even if the metadata cannot be read, because the router is needed; but then it is never
// rewritten.
bool open_metadata() {
    vrdx_metadata = metadata_v4_metadata_open(vrdx_meta);
    vrdx_metadata_may_update = vrdx_metadata != nullptr;
    if (vrdx_metadata != nullptr)
        return true;
    std::fprintf(stderr, "Cannot read metadata %s: %s\n", vrdx_meta->metadata_path.c_str(),
                 std::strerror(errno));
    vrdx_metadata = new (std::nothrow) metadata_v4_metadata_context;
    return vrdx_metadata != nullptr;
}

void remove_socket_at_exit() {
    if (vrdx_comm_server != nullptr)
        comm_socket_v4_remove_path(vrdx_comm_server);
}

bool serve_socket() {
    vrdx_comm_server = comm_socket_v4_create_server(socket_path);
    // The socket is also removed when the process ends without vrdx_free_all.
    return vrdx_comm_server != nullptr && std::atexit(remove_socket_at_exit) == 0;
}

} // namespace

int vrdx_standard_to_derived_params() {
    derive_paths();
    if (item_file_name(item_path).empty()) {
        std::fprintf(stderr, "Item file %s has no name\n", vrdx_file);
        return -1;
    }
    if (!open_item() || !open_metadata())
        return -1;
    if (vrdx_temp_clean_only) {
        comm_socket_v4_clear_stale_path(
            socket_path); // prints a line about what must stay; that is no failure
        return 0;
    }
    if (vrdx_auto_socket_create && !vrdx_identify_only)
        return serve_socket() ? 0 : -1;
    return 0;
}

// These names differ from the item-wide "audio", "video" and "duration" of media, which mean something else.
void vrdx_standard_vars_to_metadata(metadata_v4_metadata_context* metadata) {
    const auto store = [metadata](const char* name, std::int64_t value) {
        metadata_v4_metadata_context_set(metadata, -1, name, std::to_string(value));
    };
    store("media item type", vrdx_media_item_type);
    store("audio streams", vrdx_audio_streams);
    store("video streams", vrdx_video_streams);
    store("max audio count", vrdx_max_audio_count);
    store("time duration", vrdx_time_duration);
    metadata_v4_metadata_context_set(metadata, -1, "time scale",
                                     std::to_string(vrdx_time_scale[0]) + "/" +
                                         std::to_string(vrdx_time_scale[1]));
}

void vrdx_print_standard_metadata_state() {
    std::fprintf(stderr, "Standard metadata: %zu lines, may update: %s, write back: %s\n",
                 metadata_v4_metadata_context_count(vrdx_metadata), vrdx_metadata_may_update ? "yes" : "no",
                 vrdx_do_write_metadata ? "yes" : "no");
}
