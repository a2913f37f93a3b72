// The process-wide variables of a driver, each at its start value; vrdx.h says what each is for. A driver
// links this once, or defines them itself.
#include "vrdx.h"

const char* vrdx_file = nullptr;
const char* vrdx_file_metadir = nullptr;
const char* vrdx_sock = nullptr;
metadata_v4_context* vrdx_meta = nullptr;
metadata_v4_metadata_context* vrdx_metadata = nullptr;
comm_socket_v4* vrdx_comm_server = nullptr;
vrdx_global_access_cache* vrdx_acc_cache = nullptr;

bool vrdx_auto_socket_create = false;
bool vrdx_stderr_to_log = false;
bool vrdx_temp_clean_only = false;
bool vrdx_identify_only = false;
bool vrdx_daemon = false;
bool vrdx_oneshot = false;
bool vrdx_should_exit = false;
bool vrdx_end_wait = false;
bool vrdx_no_autoshutdown = false;
bool vrdx_metadata_may_update = false;
bool vrdx_do_write_metadata = false;

std::uint64_t auto_shutdown_delay_initial = 0;
std::uint64_t auto_shutdown_delay = 0;
std::uint64_t mono_auto_shutdown = 0;

std::atomic<std::int32_t> DIE4 = 0;
static_assert(std::atomic<std::int32_t>::is_always_lock_free, "a signal handler counts with it");

int (*on_vrdx_custom_packet)(comm_socket_v4_packet*, comm_socket_v4_packet*, unsigned char*,
                             comm_socket_v4_client*) = nullptr;
void (*vrdx_on_set)(void*, const char*, const std::string&) = nullptr;
bool (*vrdx_on_hold)(const char*, std::size_t, const comm_socket_v4_client*) = nullptr;
void (*vrdx_on_client_gone)(std::uint64_t) = nullptr;
void (*vrdx_on_report)(const char*, comm_socket_v4_packet*) = nullptr;

std::int32_t vrdx_audio_streams = 0;
std::int32_t vrdx_video_streams = 0;
std::int64_t vrdx_max_audio_count = 0;
std::int64_t vrdx_time_duration = 0;
std::int64_t vrdx_time_scale[2] = {0, 0};
std::int8_t vrdx_media_item_type = 0;

std::int32_t image_cnb_buffer = 0;
std::int32_t image_cnb_buffer_fd = 0;
std::int64_t cnb_total = 0;
