// A router without hardware, for demonstrations, training and tests: the backend program "route_simulator".

#include "commands.h"
#include "endpoint.h"
#include "print_log.h"
#include "state_file.h"
#include "takes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <map>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int last_words_timeout_ms = 1000;

std::uint64_t now_us() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

simulator set_up(const std::string& item_path) {
    log_lines log;
    std::map<std::string, std::string> values;
    if (read_name_value_file(values, item_path) != 0) {
        add_log_line(log, "ERR", "cannot read item file " + item_path);
    }
    simulator simulator;
    simulator.settings = settings_from_item(values, item_path, log);
    const simulator_settings& settings = simulator.settings;
    simulator.router = new_router(settings.inputs, settings.outputs, settings.split_levels);
    if (!settings.state_file.empty()) {
        load_state_file(settings.state_file, simulator.router, log);
    }
    print_log(log);
    return simulator;
}

// Does what `reaction` asks for; a change is on the disk before it is confirmed. False when the driver is
// gone.
bool carry_out(const simulator& simulator, reaction& reaction) {
    if (reaction.router_changed && !simulator.settings.state_file.empty()) {
        save_state_file(simulator.settings.state_file, simulator.router, reaction.log);
    }
    print_log(reaction.log);
    const auto send = [](const auto& report) { return endpoint_send_message(report) == 0; };
    return std::all_of(reaction.reports.begin(), reaction.reports.end(), send);
}

bool announce(const simulator& simulator) {
    reaction reaction;
    reaction.reports = {info_report(simulator.router), inputs_report(simulator.router),
                        outputs_report(simulator.router)};
    return carry_out(simulator, reaction);
}

// At least 1: at end of input nothing waits, and the next read step notices it.
int bytes_waiting() {
    int count = 0;
    return ioctl(STDIN_FILENO, FIONREAD, &count) == 0 ? std::max(count, 1) : 1;
}

// Takes in what waits on standard input. False when it has ended or the driver is gone.
bool read_messages(simulator& simulator) {
    for (int left = bytes_waiting(); left > 0; --left) {
        if (endpoint_service() != 0) {
            return false;
        }
        if (endpoint_peek_message() != nullptr) {
            reaction reaction;
            handle_message(simulator, *endpoint_poll_message(), now_us(), reaction);
            if (!carry_out(simulator, reaction)) {
                return false;
            }
        }
    }
    return true;
}

// How long nothing is to be done, unless the driver speaks; -1: for ever.
int idle_ms(const simulator& simulator) {
    const auto due = next_due_time(simulator);
    if (!due) {
        return -1;
    }
    const std::uint64_t now = now_us();
    return *due <= now ? 0 : static_cast<int>((*due - now + 999) / 1000);
}

// False when standard input has ended or the driver is gone.
bool run_pass(simulator& simulator) {
    const short output_events = endpoint_output_pending() ? POLLOUT : 0;
    pollfd waits[] = {{STDIN_FILENO, POLLIN, 0}, {STDOUT_FILENO, output_events, 0}};
    if (poll(waits, 2, idle_ms(simulator)) < 0) {
        return errno == EINTR;
    }
    if ((waits[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        return false;
    }
    if (waits[0].revents != 0 && !read_messages(simulator)) {
        return false;
    }
    reaction reaction;
    run_due_flushes(simulator, now_us(), reaction);
    return carry_out(simulator, reaction) && endpoint_flush() == 0;
}

// The driver may close our input and still read what it asked for.
void send_last_words() {
    while (endpoint_output_pending() && endpoint_flush() == 0) {
        pollfd wait = {STDOUT_FILENO, POLLOUT, 0};
        if (poll(&wait, 1, last_words_timeout_ms) == 0) {
            return;
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    // A driver that is gone shows in the results of writes.
    std::signal(SIGPIPE, SIG_IGN);
    if (argc != 3 || std::string_view(argv[1]) != "--file") {
        print_log_line("<ERR>usage: vrdx_route_simulator --file ITEM");
        return 1;
    }
    if (endpoint_init() != 0) {
        print_log_line("<ERR>standard input, output and error must be pipes, sockets or character devices");
        return 1;
    }
    simulator simulator = set_up(argv[2]);
    bool serving = announce(simulator);
    while (serving) {
        serving = run_pass(simulator);
    }
    send_last_words();
    return 0;
}
