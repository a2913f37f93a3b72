// Calls back once after a while; may be destroyed at any time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace boost::asio {
class io_context;
}

namespace gateway {

class loop_timer {
public:
    // `due` is called from the loop; it may set the timer again, or destroy this.
    loop_timer(boost::asio::io_context& loop, std::function<void()> due);
    ~loop_timer();
    loop_timer(const loop_timer&) = delete;
    loop_timer& operator=(const loop_timer&) = delete;

    // Due once in `us` microseconds; what it was set to before is forgotten.
    void set(std::uint64_t us);
    void clear();
    [[nodiscard]] bool is_set() const;

private:
    struct waiting;
    std::shared_ptr<waiting> waiting_;
};

} // namespace gateway
