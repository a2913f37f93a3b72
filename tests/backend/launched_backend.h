// Backends that are real processes: small shell scripts, started as the driver starts its backend.
#pragma once

#include "fresh_driver.h"
#include "test_files.h"
#include "wait_until.h"

#include <csignal>
#include <filesystem>
#include <sys/wait.h>

// A shell's read would not wait, as a backend's standard input never blocks.
constexpr const char* wait_for_ever = "exec sleep 3600\n";

class launched_backend : public fresh_driver {
protected:
    launched_backend() {
        vrdx_file = item_.c_str();
    }
    // Whatever a test left running ends with it.
    ~launched_backend() override {
        if (backend_pid >= 0)
            ident_procs[backend_pid] = 1;
        for (const auto& [pid, flag] : ident_procs) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    // Makes backend_path a program of these shell lines.
    void write_program(const std::string& lines) {
        backend_path = directory_.file("vrdx_route_script");
        write_file(backend_path, "#!/bin/sh\n" + lines);
        std::filesystem::permissions(backend_path, std::filesystem::perms::owner_all);
    }
    void start_program(const std::string& lines) {
        write_program(lines);
        ASSERT_EQ(start_backend(), 0);
    }

    // Serves the two readers until the condition holds.
    static void serve_until(const std::string& what, const std::function<bool()>& condition) {
        wait_until(what, [&condition] {
            if (backend_stderr_fd >= 0)
                read_backend_stderr();
            if (backend_stdout_fd >= 0)
                read_backend_stdout();
            return condition();
        });
    }
    // Reads what the backend logs until it closes its standard error, and nothing else.
    static void read_log_to_its_end() {
        wait_until("the end of standard error", [] {
            read_backend_stderr();
            return backend_stderr_fd < 0;
        });
    }
    // The first note that is the backend's own, which tells that it runs.
    static void wait_for_note(const std::string& note) {
        serve_until("the note " + note, [&note] { return last_notes.ends_with("\n" + note); });
    }
    // Waits for the end of a child and leaves it to be reaped.
    static void wait_for_end(pid_t pid) {
        siginfo_t ended{};
        while (waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
        }
    }

    temporary_directory directory_;
    const std::string item_ = directory_.file("item with blanks");
};
