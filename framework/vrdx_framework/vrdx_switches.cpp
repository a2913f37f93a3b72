#include "vrdx.h"

#include "vrdx_internal.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <variant>

int vrdx_ready_fd = -1;
std::string vrdx_metadir_switch;
std::string vrdx_sock_switch;

namespace {

int argument_count = 0;
char** arguments = nullptr;
int next_argument = 0;

constexpr double default_delay_seconds = 60;
constexpr double max_delay_seconds = 1e9; // some thirty years; beyond it a typing error is likelier
constexpr double microseconds_per_second = 1e6;

// The variable of a switch; its type says what kind of value the switch has.
struct no_value {
    bool* flag;
};
struct seconds_value {
    std::uint64_t* microseconds;
};
struct descriptor_value {
    int* descriptor;
};
struct text_value {
    void (*store)(const char*);
};

// One row per switch; handling and help both come from here. A switch without a help text is left out of
// the help: a driver that uses it lists it itself.
struct framework_switch {
    const char* name;
    std::variant<no_value, seconds_value, descriptor_value, text_value> target;
    const char* argument; // its name in the help, empty for none
    const char* help;
};

void store_file(const char* path) {
    vrdx_file = path;
}
void store_sock(const char* path) {
    vrdx_sock_switch = path;
}
void store_metadir(const char* path) {
    vrdx_metadir_switch = path;
}

const framework_switch switches[] = {
    {"file", text_value{store_file}, "PATH", "media item file (required)"},
    {"sock", text_value{store_sock}, "PATH",
     "client socket (default: .tavrixsock.NAME in the metadata directory)"},
    {"metadir", text_value{store_metadir}, "DIR", "metadata directory (default: the item file's directory)"},
    {"daemon", no_value{&vrdx_daemon}, "", "go into the background (default: stay in the foreground)"},
    {"oneshot", no_value{&vrdx_oneshot}, "", ""},
    {"identify-only", no_value{&vrdx_identify_only}, "", "end after the metadata step (default: run on)"},
    {"temp-clean-only", no_value{&vrdx_temp_clean_only}, "",
     "remove a stale socket, print the settings and end (default: run on)"},
    {"stderr-to-log", no_value{&vrdx_stderr_to_log}, "",
     "write messages to .tavrixlog.NAME in the metadata directory (default: standard error)"},
    {"no-autoshutdown", no_value{&vrdx_no_autoshutdown}, "",
     "run on without clients (default: end when they stay silent)"},
    {"auto-shutdown-delay", seconds_value{&auto_shutdown_delay}, "SECONDS",
     "silence allowed after a client's route, router set or status (default: 60)"},
    {"auto-shutdown-delay-initial", seconds_value{&auto_shutdown_delay_initial}, "SECONDS",
     "silence allowed after start-up (default: 60)"},
    {"write-metadata", no_value{&vrdx_do_write_metadata}, "",
     "write the item's metadata back at start-up (default: leave it)"},
    {"ready-fd", descriptor_value{&vrdx_ready_fd}, "N",
     "tell start-up progress and readiness on descriptor N (default: none)"},
};

// A value that stands apart; one that looks like a switch means that the value was forgotten.
const char* value_from_arguments() {
    if (next_argument >= argument_count || arguments[next_argument][0] == '-')
        return nullptr;
    return vrdx_next_arg();
}

bool store_value(seconds_value target, const char* text) {
    // strtod also knows blanks, signs, hexadecimal numbers and infinity; none of them is a plain decimal.
    if (text[std::strspn(text, "0123456789.")] != '\0' || std::strpbrk(text, "0123456789") == nullptr)
        return false;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    if (*end != '\0' || seconds > max_delay_seconds)
        return false;
    *target.microseconds = static_cast<std::uint64_t>(seconds * microseconds_per_second);
    return true;
}

bool store_value(descriptor_value target, const char* text) {
    if (text[std::strspn(text, "0123456789")] != '\0')
        return false;
    errno = 0;
    const long number = std::strtol(text, nullptr, 10);
    if (errno != 0 || number > INT_MAX || fcntl(static_cast<int>(number), F_GETFD) < 0)
        return false;
    *target.descriptor = static_cast<int>(number);
    return true;
}

bool store_value(text_value target, const char* text) {
    target.store(text);
    return true;
}

bool store_value(no_value, const char*) {
    return false;
}

int handle_flag(const framework_switch& known, no_value target, const char* attached_value) {
    if (attached_value != nullptr) {
        std::fprintf(stderr, "Switch '%s' takes no value\n", known.name);
        return -1;
    }
    *target.flag = true;
    return 1;
}

int handle_switch(const framework_switch& known, const char* attached_value) {
    if (const auto* flag = std::get_if<no_value>(&known.target))
        return handle_flag(known, *flag, attached_value);
    const char* value = attached_value != nullptr ? attached_value : value_from_arguments();
    if (value == nullptr || *value == '\0') {
        std::fprintf(stderr, "Switch '%s' needs a value\n", known.name);
        return -1;
    }
    if (!std::visit([value](auto target) { return store_value(target, value); }, known.target)) {
        std::fprintf(stderr, "Switch '%s' cannot use the value '%s'\n", known.name, value);
        return -1;
    }
    return 1;
}

// A closed standard descriptor would be given to the next file opened, and then be mistaken for the trace.
bool open_standard_descriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (fd >= 0 && fd <= STDERR_FILENO && fcntl(fd, F_SETFD, 0) == 0);
    if (fd < 0)
        return false;
    close(fd);
    return true;
}

void ignore_broken_pipe(int) {}

// A reader of standard output or error that goes away must not end the driver. A handler, because unlike an
// ignored signal it is back at its default in every program that is started from here. Children can be waited
// for and signals arrive, whatever we inherited.
bool prepare_signals() {
    struct sigaction action {};
    action.sa_handler = ignore_broken_pipe;
    action.sa_flags = SA_RESTART;
    sigset_t none;
    sigemptyset(&none);
    return sigaction(SIGPIPE, &action, nullptr) == 0 && std::signal(SIGCHLD, SIG_DFL) != SIG_ERR &&
           sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
}

// A backend must not inherit the other descriptors that we were started with.
bool close_others_on_exec() {
    if (close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0)
        return true;
    // An old kernel, or a sandbox that does not know the call.
    const long most = sysconf(_SC_OPEN_MAX);
    for (int fd = STDERR_FILENO + 1; fd < most; ++fd) {
        const int flags = fcntl(fd, F_GETFD);
        if (flags >= 0 && fcntl(fd, F_SETFD, flags | FD_CLOEXEC) != 0)
            return false;
    }
    return true;
}

} // namespace

int vrdx_init_argv(int argc, char** argv) {
    argument_count = argc;
    arguments = argv;
    next_argument = 1;
    auto_shutdown_delay = static_cast<std::uint64_t>(default_delay_seconds * microseconds_per_second);
    auto_shutdown_delay_initial = auto_shutdown_delay;
    vrdx_give_back_large_memory();
    if (!open_standard_descriptors() || !prepare_signals() || !close_others_on_exec()) {
        std::fprintf(stderr, "Cannot prepare descriptors and signals: %s\n", std::strerror(errno));
        return -1;
    }
    vrdx_watchdog_begin();
    return vrdx_trace_begin();
}

const char* vrdx_next_arg() {
    return next_argument < argument_count ? arguments[next_argument++] : nullptr;
}

int vrdx_argv_is_switch(const char** arg) {
    const char* name = *arg + std::strspn(*arg, "-");
    if (name == *arg || *name == '\0')
        return 0;
    *arg = name;
    return 1;
}

int vrdx_argv_std_handle_switch(const char* name) {
    const char* equals = std::strchr(name, '=');
    const std::size_t length =
        equals != nullptr ? static_cast<std::size_t>(equals - name) : std::strlen(name);
    const std::string_view wanted(name, length);
    const auto* known = std::find_if(std::begin(switches), std::end(switches),
                                     [&](const framework_switch& row) { return wanted == row.name; });
    if (known == std::end(switches))
        return 0;
    return handle_switch(*known, equals != nullptr ? equals + 1 : nullptr);
}

void vrdx_std_help() {
    std::fprintf(stderr,
                 "Usage: %s --file PATH [SWITCH ...]\n"
                 "Switches (a value follows its switch, or stands behind \"=\"):\n",
                 program_invocation_short_name);
    for (const framework_switch& row : switches) {
        if (*row.help == '\0')
            continue;
        const std::string left =
            std::string("--") + row.name + (*row.argument != '\0' ? " " : "") + row.argument;
        std::fprintf(stderr, " %-39s %s\n", left.c_str(), row.help);
    }
    std::fprintf(stderr, " %-39s %s\n", "--help, --h", "this text");
}
