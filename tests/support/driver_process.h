// The real driver, started by a test. Nothing of it survives the object: neither the driver nor, with it,
// the backends it started.
#pragma once

#include "process_info.h"
#include "process_stream.h"
#include "wait_until.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

// The path of the driver's program, and of the backend program of a driver name such as "route_simulator".
std::string driver_program();
std::string backend_program(const std::string& name);

struct driver_setup {
    std::string item{};                   // the value of "--file"; empty: the switch is not given
    std::vector<std::string> switches{};  // further arguments, behind "--file"
    std::vector<std::string> variables{}; // NAME=VALUE, added to the environment
    std::string directory{};              // working directory; empty: the test's
    // What the driver gets in place of /dev/null and of the captured streams; -1: those.
    int standard_input = -1;
    int standard_output = -1;
    int standard_error = -1;
    // Runs in the child just before the driver's program; may only make async-signal-safe calls.
    std::function<void()> before_exec{};
};

struct driver_end {
    int exit_code; // -1: ended by a signal
    int signal;    // 0: exited

    bool operator==(const driver_end&) const = default;
};

class driver_process {
public:
    explicit driver_process(const driver_setup& setup);
    // On an item, without switches.
    explicit driver_process(const std::string& item) : driver_process(driver_setup{.item = item}) {}
    ~driver_process();
    driver_process(const driver_process&) = delete;
    driver_process& operator=(const driver_process&) = delete;

    [[nodiscard]] pid_t pid() const {
        return pid_;
    }
    // The socket of the item ("--sock" and "--metadir" among the switches are looked at when they have the
    // form --name=value).
    [[nodiscard]] const std::string& socket_path() const {
        return socket_path_;
    }

    // --- trace (standard error) and standard output

    [[nodiscard]] std::string trace() const {
        return error_.text();
    }
    [[nodiscard]] std::size_t trace_size() const {
        return error_.size();
    }
    // Waits until `text` stands in the trace, at or behind position `from`; the position behind it.
    std::size_t wait_for_trace(const std::string& text, std::size_t from = 0) {
        return error_.wait_for(text, from);
    }
    // Waits until the driver's end of the stream is closed, as it is when the driver has ended.
    std::string whole_trace() {
        return error_.wait_for_end();
    }
    std::string whole_output() {
        return output_.wait_for_end();
    }

    // --- life

    void signal(int signo) const;
    // Stops the driver's clockwork with SIGSTOP until it is surely stopped, and lets it go on.
    void hold();
    void let_go() const;
    // Waits for the end; may be asked more than once.
    driver_end wait_exit();
    // SIGTERM, then wait_exit.
    driver_end stop();
    [[nodiscard]] bool running();

    // --- what /proc tells

    [[nodiscard]] std::vector<pid_t> children() const {
        return children_of(pid_);
    }
    // There is a child that was not among `before`: the check that starts the next backend may fall due at
    // any moment.
    [[nodiscard]] bool has_others_than(const std::vector<pid_t>& before) const;
    [[nodiscard]] std::map<int, std::string> descriptors() const {
        return descriptors_of(pid_);
    }
    // The number of descriptors, once many looks in a row have found the same one: what a pass opens and
    // closes again does not count.
    [[nodiscard]] std::size_t settled_descriptor_count() const;
    // Waits until there is exactly one living child; its pid.
    pid_t wait_for_backend();

private:
    void start(const driver_setup& setup);
    bool collect(int options);

    process_stream error_;
    process_stream output_;
    std::string socket_path_;
    pid_t pid_ = -1;
    bool ended_ = false;
    driver_end end_{};
};
