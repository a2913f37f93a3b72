// The route driver's process: start-up, the loop, shutdown. Each step lives where its name says: backend/,
// router/, client/, driver/, or the framework.
#include "backend.h"
#include "client.h"
#include "driver.h"
#include "periodic_timer.h"
#include "router.h"
#include "vrdx.h"
#include "vrdx_assert.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr int signals_until_abort = 20;

constexpr std::uint64_t report_poll_period_us = 10000000;
constexpr std::uint64_t idle_tick_period_us = 5000000;
constexpr std::uint64_t file_check_period_us = 2000000;
constexpr std::uint64_t wait_after_work_us = 8000;
constexpr std::uint64_t wait_after_idle_us = 10000; // a little longer on purpose: nobody is in a hurry
constexpr int idle_turns_per_pass = 4;

// monotonic_us of the next time; 0: in the first pass.
std::uint64_t next_report_poll = 0;
std::uint64_t next_idle_tick = 0;
std::uint64_t next_file_check = 0;

// --- start-up ----------------------------------------------------------------------------------------------

void print_usage() {
    vrdx_std_help();
    std::fputs(" --oneshot\n", stderr);
    std::fputs(" --dbg-nochg-assume          [debug] Do not assume changes took, wait for backend to report "
               "change\n",
               stderr);
}

// The exit code when the command line ends the driver.
std::optional<int> read_command_line(int argc, char** argv) {
    if (vrdx_init_argv(argc, argv) != 0)
        return 1;
    while (const char* arg = vrdx_next_arg()) {
        if (vrdx_argv_is_switch(&arg) == 0) {
            std::fprintf(stderr, "Non-switch argument '%s'\n", arg);
            return 1;
        }
        const int handled = vrdx_argv_std_handle_switch(arg);
        if (handled > 0)
            continue;
        if (handled == 0 && std::strcmp(arg, "dbg-nochg-assume") == 0) {
            dbg_nochg_assume = true;
            continue;
        }
        if (handled == 0 && std::strcmp(arg, "h") != 0 && std::strcmp(arg, "help") != 0)
            std::fprintf(stderr, "Unknown switch '%s'\n", arg);
        print_usage();
        return 1;
    }
    if (vrdx_file == nullptr) {
        std::fputs("File to play not specified. Use --file parameter\n", stderr);
        print_usage();
        return 1;
    }
    return std::nullopt;
}

// What is missing for serving the item; null when all is there.
const char* open_item() {
    if (vrdx_standard_to_derived_params() != 0)
        return "Failed to obtain derived params\n";
    if (vrdx_join_cnb_domain() != 0)
        return "Failed to join CNB domain\n";
    if (vrdx_file_metadir == nullptr)
        return "Library failed to derive metadata dir\n";
    if (vrdx_sock == nullptr)
        return "Library failed to make socket path or accept a path\n";
    if (vrdx_meta == nullptr)
        return "No meta object\n";
    if (vrdx_metadata == nullptr)
        return "No metadata object\n";
    if (vrdx_stderr_to_log && vrdx_redirect_stderr_to_logfile() != 0)
        return "Failed to redirect stderr\n";
    return nullptr;
}

void install_callbacks() {
    vrdx_on_set = my_vrdx_on_set;
    on_vrdx_custom_packet = my_vrdx_custom_packet;
    vrdx_on_report = report_status;
    vrdx_on_hold = packet_must_wait;
    vrdx_on_client_gone = requester_left;
    watch_for_watchers();
    watch_takes(answer_decided_take);
    watch_picture(count_rollbacks);
}

void prepare_libraries() {
    init_zel_utils_cpu();
    std::srand(static_cast<unsigned>(getpid()) ^ static_cast<unsigned>(std::time(nullptr)));
    if (vrdx_self_test() != 0)
        std::fputs("Self-test failed [VRDX]\n", stderr);
}

void print_item_setting() {
    std::fputs("Media item setting:\n", stderr);
    std::fprintf(stderr, "   File: %s\n", vrdx_file);
    std::fprintf(stderr, "   Meta: %s\n", vrdx_file_metadir);
    std::fprintf(stderr, "   Sock: %s\n", vrdx_sock);
}

// The loop notices the count; twenty signals mean that it does not get there any more.
void on_terminate_signal(int) {
    if (++DIE4 >= signals_until_abort)
        std::abort();
}

void install_signal_handlers() {
    for (const int signo : {SIGTERM, SIGQUIT, SIGINT})
        std::signal(signo, on_terminate_signal);
}

void daemonize() {
    std::fputs("Daemonizing\n", stderr);
    vrdx_trace_flush();
    // Standard descriptors that somebody redirected already stay as they are.
    const bool on_terminal =
        isatty(STDIN_FILENO) != 0 || isatty(STDOUT_FILENO) != 0 || isatty(STDERR_FILENO) != 0;
    if (daemon(0, on_terminal ? 0 : 1) != 0)
        std::fprintf(stderr, "Problem daemon() %s\n", std::strerror(errno));
    // On a terminal the log has just been replaced by /dev/null with all the rest.
    if (on_terminal && vrdx_stderr_to_log)
        vrdx_redirect_stderr_to_logfile();
    vrdx_trace_retarget();
    comm_socket_v4_reopen_server(vrdx_comm_server);
    std::fputs("--------------------- ON CLOSURE OF THIS PROCESS (DEBUG) ----------------------\n", stderr);
    fd_debug_dump_open_files(stderr);
}

void announce_ready() {
    image_cnb_buffer_fd = -1;
    image_cnb_buffer = -1;
    cnb_alloc_assign_single(-1, -1, 0);
    vrdx_status_write(100, "");
    vrdx_ready_write(1, "Ready to serve data");
    mono_auto_shutdown = monotonic_us() + auto_shutdown_delay_initial;
}

// An end before the loop.
int end_early(int exit_code) {
    stop_backend();
    vrdx_free_all();
    return exit_code;
}

// --- one pass ----------------------------------------------------------------------------------------------

void serve_backend_pipes() {
    if (backend_stderr_fd >= 0)
        read_backend_stderr();
    if (backend_stdout_fd >= 0)
        read_backend_stdout();
    pending_to_buffer();
    vrdx_end_wait = false; // what was due has been moved
}

// Serves the clients; the amount of work done.
int do_idle_work() {
    int work = 0;
    for (int turn = 0; turn < idle_turns_per_pass; ++turn) {
        const int accepted = idle_vrdx_server_comm();
        const int served = idle_vrdx_client_contexts();
        work += (accepted > 0 ? accepted : 0) + (served > 0 ? served : 0);
        vrdx_global_access_cache_cleanup_idle(vrdx_acc_cache);
        if (accepted <= 0 && served <= 0)
            break;
    }
    vrdx_idle_housekeeping();
    vrdx_global_access_cache_cleanup_idle(vrdx_acc_cache);
    return work;
}

bool end_requested() {
    if (vrdx_oneshot) {
        std::fputs("Oneshot\n", stderr);
        return true;
    }
    if (vrdx_should_exit) {
        std::fputs("Caller requested to exit\n", stderr);
        return true;
    }
    return false;
}

item_file_check check_item_file_when_due() {
    const std::uint64_t now = monotonic_us();
    if (now < next_file_check)
        return item_file_check::unchanged;
    next_file_check = now + file_check_period_us;
    return check_item_file();
}

// False when the driver is to end.
bool run_pass() {
    const std::uint64_t pass_start = monotonic_us();
    check_backend_start(pass_start);
    serve_backend_pipes();
    check_backend_alive();
    notify_backend_settings();
    plan_route_changes();
    if (auto_termination_due(pass_start))
        return false;
    expire_assumed_routes();
    expire_takes();
    tell_backend_state();
    serve_watchers();
    const int work = do_idle_work();
    if (end_requested())
        return false;

    const std::uint64_t work_done = monotonic_us();
    if (periodic_timer_due(&next_report_poll, report_poll_period_us, work_done))
        request_router_report();
    periodic_timer_due(&next_idle_tick, idle_tick_period_us, work_done); // a hook; nothing hangs on it
    const item_file_check item_file = check_item_file_when_due();
    if (item_file == item_file_check::unreadable)
        return false;
    if (item_file != item_file_check::examined)
        comm_socket_v4_server_from_client_readable(
            vrdx_comm_server, work_done + (work > 0 ? wait_after_work_us : wait_after_idle_us));
    reap_ident_procs();
    return true;
}

// --- shutdown ----------------------------------------------------------------------------------------------

void shut_down() {
    vrdx_stopping_write("Stopping");
    drop_pending_lines(); // who waits for the answer of a take gets it before the connection is closed
    close_vrdx_client_contexts();
    std::fputs("--------------REMAINING CNB BUFFER ALLOCATIONS----------------\n", stderr);
    std::fputs("** PLEASE REVIEW FOR DEBUGGING PURPOSES TO CATCH CNB MEMORY LEAKS\n", stderr);
    std::fputs("============================\n", stderr);
    cnb_alloc_print_remaining_buffers();
    std::fputs("--------------------------------------------------------------\n", stderr);
    std::fputs("Cleaning up\n", stderr);
    std::fputs("Housekeeping shut down\n", stderr);
    std::fprintf(stderr, "Freeing cache %p\n", static_cast<void*>(vrdx_acc_cache));
    vrdx_global_access_cache_cleanup_idle(vrdx_acc_cache); // the cache itself is vrdx_free_all's to free
    stop_backend();
    stop_backend();
    vrdx_free_all();
}

} // namespace

int main(int argc, char** argv) {
    vrdx_auto_socket_create = true;
    if (const std::optional<int> exit_code = read_command_line(argc, argv))
        return *exit_code;
    if (const char* missing = open_item()) {
        std::fputs(missing, stderr);
        return 1;
    }
    install_callbacks();
    prepare_libraries();
    print_item_setting();
    if (vrdx_temp_clean_only)
        return 0;
    vrdx_assert(vrdx_meta->file_fd >= 0);
    cnb_total = 0;
    flock(vrdx_meta->lock_fd, LOCK_UN);
    install_signal_handlers();
    if (examine_file() != 0)
        return end_early(1);
    vrdx_print_standard_metadata_state();
    vrdx_assert(vrdx_meta->file_fd >= 0);
    vrdx_acc_cache = vrdx_global_access_cache_create();
    if (vrdx_acc_cache == nullptr) {
        std::fputs("Cannot create cache\n", stderr);
        return end_early(1);
    }
    publish_item_metadata();
    if (vrdx_identify_only)
        return end_early(0);
    if (vrdx_daemon)
        daemonize();
    announce_ready();

    while (DIE4 == 0 && run_pass()) {
    }

    shut_down();
    return 0;
}
