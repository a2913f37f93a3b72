// The media-item framework as a driver sees it: the process-wide variables that the driver defines and the
// framework reads and writes, and the framework's operations in the order in which a driver calls them.
#pragma once

#include "cnb.h"
#include "comm_socket_v4.h"
#include "metadata_v4.h"
#include "monotonic_us.h"
#include "system_status.h"
#include "text.h"
#include "vrdx_access_cache.h"
#include "vrdx_child.h"
#include "vrdx_trace.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

// --- variables, defined by the driver or by driver_variables.cpp; all start as zero, false or null ---------

extern const char* vrdx_file;         // the item file ("--file"), made absolute
extern const char* vrdx_file_metadir; // metadata directory
extern const char* vrdx_sock;         // client socket path
extern metadata_v4_context* vrdx_meta;
extern metadata_v4_metadata_context* vrdx_metadata;
extern comm_socket_v4* vrdx_comm_server;
extern vrdx_global_access_cache* vrdx_acc_cache; // the driver creates it, vrdx_free_all frees it

extern bool vrdx_auto_socket_create; // the driver wants a client socket
extern bool vrdx_stderr_to_log;
extern bool vrdx_temp_clean_only;
extern bool vrdx_identify_only;
extern bool vrdx_daemon;
extern bool vrdx_oneshot;
extern bool vrdx_should_exit; // a client asked for the end
extern bool
    vrdx_end_wait; // ends the wait: the next pass has something to do; only the driver sets and resets it
extern bool vrdx_no_autoshutdown;
extern bool vrdx_metadata_may_update; // the metadata could be read, so writing it back loses nothing
extern bool vrdx_do_write_metadata;

extern std::uint64_t
    auto_shutdown_delay_initial;          // microseconds without any request that are allowed after start-up
extern std::uint64_t auto_shutdown_delay; // the same after a route, router set or status
extern std::uint64_t mono_auto_shutdown;  // monotonic_us at which the driver ends itself; 0: never

extern std::atomic<std::int32_t> DIE4; // termination signals received

// Answers a packet that is none of the framework's own: 1 when `response` holds a complete reply, or will
// hold none because comm_reply_comes_later was set in *flags; 0 when the command is unknown.
extern int (*on_vrdx_custom_packet)(comm_socket_v4_packet* packet, comm_socket_v4_packet* response,
                                    unsigned char* flags, comm_socket_v4_client* client);
// Told of each changed setting. `context` is the client, a comm_socket_v4_client*.
extern void (*vrdx_on_set)(void* context, const char* name, const std::string& value);
// Asked before each packet is handled, as soon as its command word has come (of a longer word the first 63
// bytes). `bytes` is the size of the whole packet. True holds the client: this packet and those after it
// wait, and nothing more is read from its socket. The question is asked again in each turn, so the answer
// must be cheap. Null: no client is ever held.
extern bool (*vrdx_on_hold)(const char* command, std::size_t bytes, const comm_socket_v4_client* client);
// Told when a client has been freed, by its comm_socket_v4_peer::id. Null: not told.
extern void (*vrdx_on_client_gone)(std::uint64_t id);
// Adds name/value entries to the status report being written. `text` is the request's first argument or null.
extern void (*vrdx_on_report)(const char* text, comm_socket_v4_packet* packet);

// Standard item variables, see vrdx_standard_vars_to_metadata.
extern std::int32_t vrdx_audio_streams;
extern std::int32_t vrdx_video_streams;
extern std::int64_t vrdx_max_audio_count;
extern std::int64_t vrdx_time_duration;
extern std::int64_t vrdx_time_scale[2];
extern std::int8_t vrdx_media_item_type;

extern std::int32_t image_cnb_buffer;
extern std::int32_t image_cnb_buffer_fd;
extern std::int64_t cnb_total;

// --- command line ------------------------------------------------------------------------------------------

// Records the arguments (argv must outlive the process), makes the standard descriptors usable and every
// other inherited descriptor close-on-exec, and sets the defaults of the switches. 0 on success.
int vrdx_init_argv(int argc, char** argv);
// The next argument, null at the end.
const char* vrdx_next_arg();
// Non-zero when *arg is a switch; *arg then points behind its leading dashes.
int vrdx_argv_is_switch(const char** arg);
// Handles the framework's switch `name` ("name" or "name=value"; a value that stands apart is read from the
// arguments). Positive: done. Negative: wrong use, told in one line on standard error. 0: not ours.
int vrdx_argv_std_handle_switch(const char* name);
// Writes the help of the framework switches, with defaults, to standard error. "oneshot" is left to the
// driver.
void vrdx_std_help();

// --- start-up ----------------------------------------------------------------------------------------------

// From vrdx_file: the paths, the open and locked item, its metadata, and (with vrdx_auto_socket_create) the
// served socket. With vrdx_temp_clean_only or vrdx_identify_only no socket is served; the former removes what
// a crash left behind. 0 on success; else one line on standard error says why. What was opened is released by
// vrdx_free_all, or at the end of the process.
int vrdx_standard_to_derived_params();
int vrdx_join_cnb_domain();            // 0 on success
int vrdx_redirect_stderr_to_logfile(); // 0 on success; the log is appended to
int vrdx_self_test();                  // 0 when the framework's parts answer as they should
void vrdx_print_standard_metadata_state();
// Stores the standard item variables in `metadata`, item-wide.
void vrdx_standard_vars_to_metadata(metadata_v4_metadata_context* metadata);
void fd_debug_dump_open_files(FILE* stream); // one line per open descriptor

// Tell whoever started us (--ready-fd, and the service manager when NOTIFY_SOCKET is set).
void vrdx_status_write(int percent, const char* text); // start-up progress, 0..100
void vrdx_ready_write(int ready, const char* text);    // once; closes --ready-fd
void vrdx_stopping_write(const char* text);            // once, at an end behind vrdx_ready_write

// --- one pass ----------------------------------------------------------------------------------------------

int idle_vrdx_server_comm();     // accepts clients; the amount of work done, <= 0 for none
int idle_vrdx_client_contexts(); // serves clients; the amount of work done, <= 0 for none
void vrdx_idle_housekeeping();   // log file size, the service manager's watchdog

// --- shutdown ----------------------------------------------------------------------------------------------

void close_vrdx_client_contexts();
// Closes and frees everything that the variables above point to, and removes the socket. Safe to call twice.
void vrdx_free_all();
