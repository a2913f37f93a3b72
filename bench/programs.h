// The programs that are measured: started in a directory of their own, stopped and cleared away at the end.
#pragma once

#include "board.h"

#include <sched.h>
#include <string>
#include <sys/types.h>
#include <vector>

// A directory of this run, removed at the end of the object.
class work_directory {
public:
    work_directory();
    ~work_directory();
    work_directory(const work_directory&) = delete;
    work_directory& operator=(const work_directory&) = delete;

    [[nodiscard]] std::string file(const std::string& name) const {
        return path_ + "/" + name;
    }

private:
    std::string path_;
};

// While it lives, this process and the programs that it starts share one processor. What an idle processor
// needs to wake up is more than a round trip, and differs from one moment to the next.
class shared_processor {
public:
    shared_processor();
    ~shared_processor();
    shared_processor(const shared_processor&) = delete;
    shared_processor& operator=(const shared_processor&) = delete;

private:
    cpu_set_t before_;
};

// What a program gets for its standard streams, and for descriptor 3; -1: /dev/null, and nothing.
struct program_streams {
    int in = -1;
    int out = -1;
    int err = -1;
    int ready = -1;
};

// A program of ours; ended with the object.
class running_program {
public:
    // Throws when it cannot be started.
    explicit running_program(const std::vector<std::string>& arguments, const program_streams& streams = {});
    ~running_program();
    running_program(const running_program&) = delete;
    running_program& operator=(const running_program&) = delete;

    [[nodiscard]] pid_t pid() const {
        return pid_;
    }
    void signal(int signo) const;

private:
    pid_t pid_ = -1;
};

// Ends all programs at once and the process with them when the user or a script stops the benchmark.
void end_programs_on_signals();

// A path of a program of this build, by its file name.
std::string program_path(const std::string& name);

struct router_size {
    int inputs;
    int outputs;
};

struct driver_options {
    bool traced = true; // its trace goes to a file, else nowhere
    bool salvo = false; // "route_bench" gets all takes of a batch in one message
};

// A driver on an item of its own; ready and with its router known once constructed.
class running_driver {
public:
    // `backend` is "route_simulator", or "route_bench", which stamps on the board at board().
    running_driver(const work_directory& directory, const std::string& name, const std::string& backend,
                   router_size size, driver_options options = {});

    [[nodiscard]] pid_t pid() const {
        return program_.pid();
    }
    [[nodiscard]] const std::string& socket() const {
        return socket_;
    }
    [[nodiscard]] const std::string& item() const {
        return item_;
    }
    [[nodiscard]] bench_board& board() const {
        return *board_;
    }

private:
    std::string item_;
    std::string socket_;
    bench_board* board_;
    running_program program_;
};

// Writes the item file of such a driver; the item's path.
std::string write_item(const work_directory& directory, const std::string& name, const std::string& backend,
                       router_size size, driver_options options = {});
std::string board_path(const std::string& item);
// A fresh board at that path; throws when it cannot be made.
bench_board* make_board(const std::string& item);
// The socket that a driver of the item `name` serves.
std::string socket_path(const work_directory& directory, const std::string& name);
