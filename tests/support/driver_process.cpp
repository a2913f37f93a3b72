#include "driver_process.h"

#include "item_paths.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace {

std::set<pid_t> running_drivers; // those of living driver_process objects

// What a driver leaves behind becomes a child of the test; end and collect it.
void end_orphans() {
    for (;;) {
        std::vector<pid_t> orphans = children_of(getpid());
        std::erase_if(orphans, [](pid_t pid) { return running_drivers.contains(pid); });
        if (orphans.empty())
            return;
        for (const pid_t orphan : orphans) {
            kill(orphan, SIGKILL);
            waitpid(orphan, nullptr, 0);
        }
    }
}

std::string switch_value(const std::vector<std::string>& switches, const std::string& name) {
    const std::string start = "--" + name + "=";
    const auto found = std::find_if(switches.begin(), switches.end(),
                                    [&](const std::string& one) { return one.starts_with(start); });
    return found == switches.end() ? "" : found->substr(start.size());
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> pointers(texts.size() + 1, nullptr);
    std::transform(texts.begin(), texts.end(), pointers.begin(),
                   [](std::string& text) { return text.data(); });
    return pointers;
}

std::vector<std::string> arguments_of(const driver_setup& setup) {
    std::vector<std::string> arguments = {driver_program()};
    if (!setup.item.empty()) {
        arguments.emplace_back("--file");
        arguments.push_back(setup.item);
    }
    arguments.insert(arguments.end(), setup.switches.begin(), setup.switches.end());
    return arguments;
}

std::vector<std::string> environment_of(const driver_setup& setup) {
    for (const char* told_to_the_tests : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        unsetenv(told_to_the_tests); // by a service manager that does not know this driver
    std::vector<std::string> environment = setup.variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        environment.emplace_back(*variable);
    return environment;
}

// In the child: what the driver finds when it starts. A driver that aborts leaves no core file, and none
// outlives a test that was killed.
bool prepare_child(const driver_setup& setup, int in, int out, int err) {
    const rlimit no_core{0, 0};
    const bool prepared = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && setrlimit(RLIMIT_CORE, &no_core) == 0 &&
                          dup2(in, STDIN_FILENO) >= 0 && dup2(out, STDOUT_FILENO) >= 0 &&
                          dup2(err, STDERR_FILENO) >= 0 &&
                          (setup.directory.empty() || chdir(setup.directory.c_str()) == 0);
    if (prepared && setup.before_exec)
        setup.before_exec();
    return prepared;
}

} // namespace

std::string driver_program() {
    const char* in_its_place = std::getenv("VRDX_TEST_DRIVER"); // such as the driver under valgrind
    return in_its_place != nullptr ? in_its_place : VRDX_ROUTEDRIVER;
}

std::string backend_program(const std::string& name) {
    return VRDX_BACKEND_PREFIX + name;
}

driver_process::driver_process(const driver_setup& setup) {
    socket_path_ = switch_value(setup.switches, "sock");
    if (socket_path_.empty())
        socket_path_ = item_socket_path(setup.item, switch_value(setup.switches, "metadir"));
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    start(setup);
    running_drivers.insert(pid_);
    error_.close_write_end();
    output_.close_write_end();
}

driver_process::~driver_process() {
    if (!ended_) {
        kill(pid_, SIGKILL);
        collect(0);
    }
    running_drivers.erase(pid_);
    end_orphans();
}

void driver_process::start(const driver_setup& setup) {
    // All is prepared before the fork: behind it, other threads' locks may be held for ever.
    std::vector<std::string> arguments = arguments_of(setup);
    std::vector<std::string> environment = environment_of(setup);
    const std::vector<char*> argv = pointers_to(arguments);
    const std::vector<char*> envp = pointers_to(environment);
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    int failure[2]; // tells of a program that cannot be executed; closed by one that can
    if (pipe2(failure, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot make a pipe");
    const int in = setup.standard_input >= 0 ? setup.standard_input : null;
    const int out = setup.standard_output >= 0 ? setup.standard_output : output_.write_end();
    const int err = setup.standard_error >= 0 ? setup.standard_error : error_.write_end();
    pid_ = fork();
    if (pid_ == 0) {
        if (prepare_child(setup, in, out, err))
            execve(argv[0], argv.data(), envp.data());
        [[maybe_unused]] const ssize_t told = write(failure[1], "", 1);
        _exit(127);
    }
    close(null);
    close(failure[1]);
    char byte = 0;
    const bool failed = pid_ < 0 || read(failure[0], &byte, 1) != 0;
    close(failure[0]);
    if (failed)
        throw std::runtime_error("cannot start " + driver_program());
}

bool driver_process::collect(int options) {
    int status = 0;
    pid_t result = -1;
    do
        result = waitpid(pid_, &status, options);
    while (result < 0 && errno == EINTR);
    if (result != pid_)
        return false;
    ended_ = true;
    end_ = WIFEXITED(status) ? driver_end{WEXITSTATUS(status), 0} : driver_end{-1, WTERMSIG(status)};
    return true;
}

void driver_process::signal(int signo) const {
    if (ended_ || kill(pid_, signo) != 0)
        throw std::runtime_error("the driver has ended already");
}

void driver_process::hold() {
    signal(SIGSTOP);
    wait_until("driver stopped", [&] { return process_state(pid_) == 'T'; });
}

void driver_process::let_go() const {
    signal(SIGCONT);
}

driver_end driver_process::wait_exit() {
    if (!becomes_true([&] { return !running(); }))
        throw std::runtime_error("the driver does not end. Trace:\n" + trace());
    return end_;
}

driver_end driver_process::stop() {
    signal(SIGTERM);
    return wait_exit();
}

bool driver_process::running() {
    return !ended_ && !collect(WNOHANG);
}

bool driver_process::has_others_than(const std::vector<pid_t>& before) const {
    const std::vector<pid_t> now = children();
    return !std::includes(before.begin(), before.end(), now.begin(), now.end()); // both are sorted
}

std::size_t driver_process::settled_descriptor_count() const {
    constexpr int looks = 10;
    std::size_t count = 0;
    int equal = 0;
    wait_until("its descriptors are settled", [&] {
        const std::size_t before = std::exchange(count, descriptors().size());
        equal = count == before ? equal + 1 : 0;
        return equal == looks;
    });
    return count;
}

pid_t driver_process::wait_for_backend() {
    pid_t backend = -1;
    wait_until("a backend runs", [&] {
        std::vector<pid_t> living = children();
        std::erase_if(living, [](pid_t pid) {
            const char state = process_state(pid);
            return state == 'Z' || state == 0;
        });
        backend = living.size() == 1 ? living.front() : -1;
        return backend >= 0;
    });
    return backend;
}
