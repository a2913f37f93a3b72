#include "vrdx_child.h"

#include "vrdx_internal.h"
#include "vrdx_trace.h"

#include <cerrno>
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Signals that were ignored when we were started (by a shell, a service manager) are set to their default,
// too, because the program would keep them ignored. Only a hang-up stays ignored: nohup must protect the
// program as well as us.
void default_all_signals() {
    for (int signo = 1; signo < NSIG; ++signo) {
        struct sigaction current {};
        if (sigaction(signo, nullptr, &current) != 0 || current.sa_handler == SIG_DFL)
            continue;
        if (signo != SIGHUP || current.sa_handler != SIG_IGN)
            std::signal(signo, SIG_DFL);
    }
}

} // namespace

pid_t vrdx_fork_child() {
    vrdx_trace_flush();
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const pid_t pid = fork();
    if (pid == 0) {
        default_all_signals();
        vrdx_restore_descriptor_limit();
        return 0;
    }
    const int error = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return pid;
}

void vrdx_unblock_child_signals() {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}
