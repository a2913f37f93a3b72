// Waits in the loop for a descriptor that somebody else owns and closes.
#pragma once

#include <functional>
#include <memory>

namespace boost::asio {
class io_context;
}

namespace gateway {

class descriptor_wait {
public:
    // `ready` is called from the loop; it may destroy this.
    descriptor_wait(boost::asio::io_context& loop, std::function<void()> ready);
    ~descriptor_wait();
    descriptor_wait(const descriptor_wait&) = delete;
    descriptor_wait& operator=(const descriptor_wait&) = delete;

    // Calls `ready` when one of `events` (POLLIN, POLLOUT or both) is there, also when it is there already.
    // One that was waited for before may still be told. False when the system does not let us wait.
    bool follow(int fd, short events);

    // Nothing is told any more. Before the descriptor is closed, or at once after, before another is opened.
    void forget();

private:
    struct waiting;
    std::shared_ptr<waiting> waiting_;
};

} // namespace gateway
