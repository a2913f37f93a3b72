// A thread that no signal is delivered to: signals are the loop's business.
#pragma once

#include <csignal>
#include <thread>

namespace gateway {

template<typename action> std::thread thread_without_signals(action act) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread begun(std::move(act));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return begun;
}

} // namespace gateway
