// Notices that something came or went in one of some directories, also in one that does not exist yet or is
// exchanged for another.
#pragma once

#include "gateway/routers/descriptor_wait.h"
#include "gateway/routers/loop_timer.h"

#include <functional>
#include <string>
#include <vector>

namespace gateway {

class directories_watch {
public:
    // `read` is called from the loop when it is time to read the directories anew: soon after each change,
    // and now and then all the same. What exactly has changed is not told, so that nothing can be missed.
    directories_watch(boost::asio::io_context& loop, std::vector<std::string> directories,
                      std::function<void()> read);
    ~directories_watch();
    directories_watch(const directories_watch&) = delete;
    directories_watch& operator=(const directories_watch&) = delete;

    // Calls `read` for the first time, at once.
    void start();
    void stop();

private:
    struct watched {
        std::string path;
        int number = -1; // of the inotify watch; -1: none
    };

    bool watch_all();
    void something_changed();
    void read_now();
    void read_at(std::uint64_t when);

    std::vector<watched> directories_;
    std::function<void()> read_;
    int inotify_ = -1;
    std::uint64_t read_us_ = 0; // when they were read last
    descriptor_wait changes_;
    loop_timer next_;
};

} // namespace gateway
