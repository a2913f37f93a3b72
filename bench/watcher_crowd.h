// Clients that watch a driver, or what stands in for one: each sends a `watch` and counts the changes that it
// is told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// When a change was with the first and with the last of them (clock_ns).
struct told_times {
    std::uint64_t first;
    std::uint64_t last;
};

class watcher_crowd {
public:
    // Connected, and all that was told at the beginning read. Throws when the server does not answer.
    watcher_crowd(const std::string& socket, std::size_t count);
    ~watcher_crowd();
    watcher_crowd(const watcher_crowd&) = delete;
    watcher_crowd& operator=(const watcher_crowd&) = delete;

    // Forgets the changes that were told so far.
    void begin();
    // Waits until each has been told a change. Throws when that does not happen in time.
    told_times wait();

    // The bytes of the change that was told last.
    [[nodiscard]] const std::string& last_change() const {
        return last_change_;
    }

private:
    struct watcher {
        int fd = -1;
        bool told = false;
        std::string text; // of a packet that is not whole yet
    };

    bool read_events(int wait_ms);
    void read_packets(watcher& one);
    void read_whole_packets(watcher& one);

    std::vector<watcher> watchers_;
    int epoll_fd_ = -1;
    std::size_t untold_ = 0;
    told_times times_{};
    std::string last_change_;
};
