// A driver without a router, on the framework alone: it serves a counter to any number of clients.
// README.md beside it says what clients can ask. From top to bottom: settings, what clients ask, the process.
#include "vrdx.h"

#include <charconv>
#include <csignal>
#include <cstring>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr std::int64_t largest_step = 1000;
constexpr std::uint64_t wait_us = 100000; // of one pass; clients are served meanwhile

std::int64_t counter = 0;
std::int64_t step = 1; // setting "step", 1 to largest_step: what one "raise" adds

// --- settings ----------------------------------------------------------------------------------------------

void apply_setting(const char* name, const char* value) {
    if (std::strcmp(name, "step") != 0)
        return; // whoever meant something else by it knows what
    std::int64_t number = 0;
    const char* end = value + std::strlen(value);
    const auto [read_to, error] = std::from_chars(value, end, number);
    if (error == std::errc() && read_to == end && number >= 1 && number <= largest_step)
        step = number;
    else
        std::fprintf(stderr, "A step is a number from 1 to %d, not '%s'\n", static_cast<int>(largest_step),
                     value);
}

// False when there is nothing to read.
bool read_item_file() {
    FILE* stream = fdopen(dup(vrdx_meta->file_fd), "r"); // the descriptor itself stays the framework's
    if (stream == nullptr)
        return false;
    char line[1024];
    while (std::fgets(line, sizeof(line), stream) != nullptr) {
        const char* name = nullptr;
        const char* value = nullptr;
        divide_name_equ_value_pair(chomp(line), &name, &value);
        if (name != nullptr && value != nullptr)
            apply_setting(name, value);
    }
    const bool complete = std::ferror(stream) == 0;
    std::fclose(stream);
    return complete;
}

// --- what clients ask, beside "ping", "exit", "set" and "report", which the framework answers
// ----------------

void write_counter(comm_socket_v4_packet* packet) {
    comm_socket_v4_packet_write_nv_pairf(packet, "counter", "%lld", static_cast<long long>(counter));
}

void change_setting(void*, const char* name, const std::string& value) {
    apply_setting(name, value.c_str());
}

void report(const char*, comm_socket_v4_packet* packet) {
    write_counter(packet);
    comm_socket_v4_packet_write_nv_pairf(packet, "step", "%lld", static_cast<long long>(step));
    comm_socket_v4_packet_write_nv_pair(packet, "machine",
                                        (mem_status() + cpu_status()).substr(2)); // without "; "
}

int answer(comm_socket_v4_packet* request, comm_socket_v4_packet* response, unsigned char*,
           comm_socket_v4_client*) {
    const char* command = comm_socket_v4_packet_get_command(request);
    const bool raises = std::strcmp(command, "raise") == 0;
    if (!raises && std::strcmp(command, "read") != 0)
        return 0; // the framework says that nobody knows this command
    if (raises)
        counter += step;
    comm_socket_v4_packet_begin_writing(response, 0, command, nullptr);
    comm_socket_v4_packet_write_argv_end(response);
    write_counter(response);
    comm_socket_v4_packet_write_end(response);
    mono_auto_shutdown = monotonic_us() + auto_shutdown_delay;
    return 1;
}

// --- the process -------------------------------------------------------------------------------------------

void on_terminate_signal(int) {
    ++DIE4;
}

// False on wrong use, which was told.
bool read_command_line(int argc, char** argv) {
    if (vrdx_init_argv(argc, argv) != 0)
        return false;
    while (const char* arg = vrdx_next_arg()) {
        const int handled = vrdx_argv_is_switch(&arg) != 0 ? vrdx_argv_std_handle_switch(arg) : 0;
        if (handled > 0)
            continue;
        if (handled == 0)
            std::fprintf(stderr, "Unknown argument '%s'\n", arg);
        vrdx_std_help();
        return false;
    }
    if (vrdx_file == nullptr)
        std::fputs("Which item? Use --file PATH\n", stderr);
    return vrdx_file != nullptr;
}

bool time_is_over() {
    return vrdx_oneshot || (!vrdx_no_autoshutdown && mono_auto_shutdown <= monotonic_us());
}

} // namespace

int main(int argc, char** argv) {
    vrdx_auto_socket_create = true;
    vrdx_on_set = change_setting;
    vrdx_on_report = report;
    on_vrdx_custom_packet = answer;
    if (!read_command_line(argc, argv) || vrdx_standard_to_derived_params() != 0)
        return 1;
    if (vrdx_stderr_to_log && vrdx_redirect_stderr_to_logfile() != 0)
        return 1;
    if (vrdx_temp_clean_only || vrdx_identify_only)
        return 0;
    flock(vrdx_meta->lock_fd, LOCK_UN); // the socket is served: a second driver on this item finds that
    for (const int signal_number : {SIGTERM, SIGINT})
        std::signal(signal_number, on_terminate_signal);
    vrdx_acc_cache = vrdx_global_access_cache_create();
    init_zel_utils_cpu();
    if (!read_item_file()) {
        std::fprintf(stderr, "Cannot read item file %s\n", vrdx_file);
        return 1;
    }
    if (vrdx_daemon && daemon(0, 1) == 0)
        comm_socket_v4_reopen_server(vrdx_comm_server);
    vrdx_ready_write(1, "Counting");
    mono_auto_shutdown = monotonic_us() + auto_shutdown_delay_initial;
    while (DIE4 == 0 && !vrdx_should_exit && !time_is_over()) {
        comm_socket_v4_server_from_client_readable(vrdx_comm_server, monotonic_us() + wait_us);
        vrdx_global_access_cache_cleanup_idle(vrdx_acc_cache);
        vrdx_idle_housekeeping();
    }
    vrdx_stopping_write("Stopping");
    close_vrdx_client_contexts();
    vrdx_free_all();
    return 0;
}
