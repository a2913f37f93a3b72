#include "gateway/routers/descriptor_wait.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <poll.h>

namespace gateway {

namespace asio = boost::asio;

// Kept by the handlers that are on their way: they may run after the descriptor_wait has gone.
struct descriptor_wait::waiting : std::enable_shared_from_this<descriptor_wait::waiting> {
    waiting(asio::io_context& loop, std::function<void()> call) : descriptor(loop), ready(std::move(call)) {}

    void wait(asio::posix::descriptor_base::wait_type what, bool* waits) {
        if (*waits)
            return;
        *waits = true;
        descriptor.async_wait(what, [self = shared_from_this(), waits, now = turn](const auto&) {
            if (self->turn != now)
                return;
            *waits = false;
            self->ready();
        });
    }

    asio::posix::stream_descriptor descriptor;
    std::function<void()> ready;
    bool waits_to_read = false;
    bool waits_to_write = false;
    unsigned turn = 0; // what was waited for in an earlier turn is not told
};

descriptor_wait::descriptor_wait(asio::io_context& loop, std::function<void()> ready)
    : waiting_(std::make_shared<waiting>(loop, std::move(ready))) {}

descriptor_wait::~descriptor_wait() {
    forget();
}

bool descriptor_wait::follow(int fd, short events) {
    auto& descriptor = waiting_->descriptor;
    if (!descriptor.is_open()) {
        boost::system::error_code failed;
        descriptor.assign(fd, failed);
        if (failed)
            return false;
    }
    if ((events & POLLIN) != 0)
        waiting_->wait(asio::posix::descriptor_base::wait_read, &waiting_->waits_to_read);
    if ((events & POLLOUT) != 0)
        waiting_->wait(asio::posix::descriptor_base::wait_write, &waiting_->waits_to_write);
    return true;
}

void descriptor_wait::forget() {
    ++waiting_->turn;
    waiting_->waits_to_read = false;
    waiting_->waits_to_write = false;
    if (waiting_->descriptor.is_open())
        waiting_->descriptor.release();
}

} // namespace gateway
