#include "process_stream.h"

#include "wait_until.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr std::size_t shown_in_failures = 4000;

std::string tail(const std::string& text) {
    return text.substr(text.size() - std::min(text.size(), shown_in_failures));
}

} // namespace

process_stream::process_stream() {
    int ends[2];
    stop_fd_ = eventfd(0, EFD_CLOEXEC);
    if (stop_fd_ < 0 || pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot make a pipe");
    read_end_ = ends[0];
    write_end_ = ends[1];
    reader_ = std::thread([this] { read_all(); });
}

process_stream::~process_stream() {
    close_write_end();
    eventfd_write(stop_fd_, 1);
    reader_.join();
    close(read_end_);
    close(stop_fd_);
}

void process_stream::close_write_end() {
    if (write_end_ >= 0)
        close(write_end_);
    write_end_ = -1;
}

std::string process_stream::text() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

std::size_t process_stream::size() const {
    const std::lock_guard lock(mutex_);
    return text_.size();
}

std::size_t process_stream::wait_for(const std::string& wanted, std::size_t from) {
    std::unique_lock lock(mutex_);
    std::size_t found = std::string::npos;
    std::size_t searched_from = from;
    changed_.wait_for(lock, test_patience, [&] {
        found = text_.find(wanted, searched_from);
        searched_from = std::max(from, text_.size() - std::min(text_.size(), wanted.size()));
        return found != std::string::npos || ended_;
    });
    if (found == std::string::npos)
        throw std::runtime_error("'" + wanted + "' does not come" + (ended_ ? " (ended)" : "") + ". Text:\n" +
                                 tail(text_));
    return found + wanted.size();
}

std::string process_stream::wait_for_end() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, test_patience, [&] { return ended_; }))
        throw std::runtime_error("the stream does not end. Text:\n" + tail(text_));
    return text_;
}

void process_stream::read_all() {
    std::array<char, 65536> bytes{};
    for (;;) {
        pollfd waits[] = {{read_end_, POLLIN, 0}, {stop_fd_, POLLIN, 0}};
        if (poll(waits, 2, -1) < 0 && errno == EINTR)
            continue;
        if (waits[1].revents != 0)
            return;
        const ssize_t count = read(read_end_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        const std::lock_guard lock(mutex_);
        if (count > 0)
            text_.append(bytes.data(), static_cast<std::size_t>(count));
        else
            ended_ = true;
        changed_.notify_all();
        if (count <= 0)
            return;
    }
}
