#include "gateway/routers/directories_watch.h"

#include "gateway/routers/board_limits.h"
#include "monotonic_us.h"

#include <array>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace gateway {

namespace {

constexpr std::uint32_t changes_of_interest = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                              IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

} // namespace

directories_watch::directories_watch(boost::asio::io_context& loop, std::vector<std::string> directories,
                                     std::function<void()> read)
    : read_(std::move(read)), changes_(loop, [this] { something_changed(); }),
      next_(loop, [this] { read_now(); }) {
    for (std::string& each : directories)
        directories_.push_back({std::move(each)});
}

directories_watch::~directories_watch() {
    stop();
}

void directories_watch::start() {
    inotify_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_ >= 0 && !changes_.follow(inotify_, POLLIN)) {
        close(inotify_);
        inotify_ = -1; // without it, looking often has to do
    }
    read_now();
}

void directories_watch::stop() {
    changes_.forget();
    next_.clear();
    if (inotify_ >= 0)
        close(inotify_);
    inotify_ = -1;
}

// Asked for again each time: for a directory that is watched already the kernel gives the same number, for
// another one at its path a new one. False when one is not watched, so that only looking helps.
bool directories_watch::watch_all() {
    bool all = true;
    for (watched& each : directories_) {
        const int before = each.number;
        each.number = inotify_add_watch(inotify_, each.path.c_str(), changes_of_interest);
        if (before >= 0 && before != each.number)
            inotify_rm_watch(inotify_, before);
        all = all && each.number >= 0;
    }
    return all;
}

// All is read anew whatever it was, so an overflow of the kernel's queue is a change like any other.
void directories_watch::something_changed() {
    std::array<char, 16384> events;
    int turns = event_reads_limit;
    while (turns-- > 0 && read(inotify_, events.data(), events.size()) > 0) {
    }
    changes_.follow(inotify_, POLLIN);
    const std::uint64_t earliest = read_us_ + reread_pause_us;
    if (monotonic_us() >= earliest)
        read_now();
    else
        read_at(earliest);
}

// Watched before it is read: what comes in between is told.
void directories_watch::read_now() {
    const bool all_watched = watch_all();
    read_us_ = monotonic_us();
    read_at(read_us_ + (all_watched ? reread_always_us : missing_directory_us));
    read_();
}

void directories_watch::read_at(std::uint64_t when) {
    const std::uint64_t now = monotonic_us();
    next_.set(when > now ? when - now : 0);
}

} // namespace gateway
