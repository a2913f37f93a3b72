#include "programs.h"

#include "requests.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <stdlib.h> // mkdtemp
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int patience_ms = 20000;
constexpr int most_shown_outputs = 128;

// All that runs, for the signal handler; 0: a free place.
std::array<std::atomic<pid_t>, 512> running;

void replace_running(pid_t from, pid_t to) {
    for (auto& place : running) {
        pid_t expected = from;
        if (place.compare_exchange_strong(expected, to))
            return;
    }
}

void end_all(int) {
    for (const auto& place : running) {
        if (place > 0) {
            kill(place, SIGTERM);
            kill(place, SIGCONT);
        }
    }
    _exit(1);
}

pid_t spawn(const std::vector<std::string>& arguments, const program_streams& streams) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int given[] = {streams.in, streams.out, streams.err, streams.ready};
    for (int fd = 0; fd < 4; ++fd) {
        if (given[fd] >= 0)
            posix_spawn_file_actions_adddup2(&actions, given[fd], fd);
        else if (fd <= STDERR_FILENO)
            posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    }
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("cannot start " + arguments.front());
    replace_running(0, pid);
    return pid;
}

bool has_ended(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) != 0;
}

struct open_file {
    int fd;

    explicit open_file(const std::string& path)
        : fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {}
    ~open_file() {
        close(fd);
    }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;
};

std::vector<std::string> driver_arguments(const std::string& item) {
    return {program_path("vrdx_routedriver"), "--file", item, "--no-autoshutdown"};
}

} // namespace

work_directory::work_directory()
    : path_(std::filesystem::temp_directory_path().string() + "/vrdx_bench.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary directory");
}

work_directory::~work_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

shared_processor::shared_processor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    if (sched_getaffinity(0, sizeof(before_), &before_) != 0)
        throw std::runtime_error("cannot ask for the processors");
    CPU_SET(sched_getcpu(), &one);
    if (sched_setaffinity(0, sizeof(one), &one) != 0)
        throw std::runtime_error("cannot choose a processor");
}

shared_processor::~shared_processor() {
    sched_setaffinity(0, sizeof(before_), &before_);
}

running_program::running_program(const std::vector<std::string>& arguments, const program_streams& streams)
    : pid_(spawn(arguments, streams)) {}

running_program::~running_program() {
    kill(pid_, SIGTERM);
    kill(pid_, SIGCONT);
    const std::uint64_t deadline = clock_ns() + patience_ms * 1000000ULL;
    bool ended = has_ended(pid_);
    for (; !ended && clock_ns() < deadline; ended = has_ended(pid_)) {
        const timespec moment{0, 200000};
        nanosleep(&moment, nullptr);
    }
    if (!ended) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    replace_running(pid_, 0);
}

void running_program::signal(int signo) const {
    kill(pid_, signo);
}

void end_programs_on_signals() {
    for (const int signo : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signo, end_all);
}

std::string program_path(const std::string& name) {
    static const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    return folder + "/" + name;
}

std::string board_path(const std::string& item) {
    return item + ".board";
}

std::string socket_path(const work_directory& directory, const std::string& name) {
    return directory.file(".tavrixsock." + name + ".item");
}

std::string write_item(const work_directory& directory, const std::string& name, const std::string& backend,
                       router_size size, driver_options options) {
    std::string item = directory.file(name + ".item");
    std::ofstream(item) << "driver=" << backend << "\nsimulated inputs=" << size.inputs
                        << "\nsimulated outputs=" << size.outputs << "\nbench board=" << board_path(item)
                        << "\nbench salvo=" << (options.salvo ? "yes" : "no") << '\n';
    return item;
}

running_driver::running_driver(const work_directory& directory, const std::string& name,
                               const std::string& backend, router_size size, driver_options options)
    : item_(write_item(directory, name, backend, size, options)), socket_(socket_path(directory, name)),
      board_(make_board(item_)),
      program_(driver_arguments(item_),
               {.err = open_file(options.traced ? item_ + ".trace" : "/dev/null").fd}) {
    wait_for_outputs(socket_, std::min(size.outputs, most_shown_outputs), patience_ms);
}

bench_board* make_board(const std::string& item) {
    bench_board* board = map_board(board_path(item), true);
    if (board == nullptr)
        throw std::runtime_error("cannot make the board of " + item);
    return board;
}
