#include "gateway/routers/loop_timer.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/system_error.hpp>
#include <chrono>

namespace gateway {

// Kept by the handlers that are on their way: they may run after the loop_timer has gone.
struct loop_timer::waiting {
    waiting(boost::asio::io_context& loop, std::function<void()> call) : timer(loop), due(std::move(call)) {}

    boost::asio::steady_timer timer;
    std::function<void()> due;
    bool set = false;
    unsigned turn = 0; // what an earlier turn was set to is not called
};

loop_timer::loop_timer(boost::asio::io_context& loop, std::function<void()> due)
    : waiting_(std::make_shared<waiting>(loop, std::move(due))) {}

loop_timer::~loop_timer() {
    clear();
}

void loop_timer::set(std::uint64_t us) {
    waiting_->set = true;
    const unsigned turn = ++waiting_->turn;
    waiting_->timer.expires_after(std::chrono::microseconds(us));
    waiting_->timer.async_wait([timer = waiting_, turn](const auto&) {
        if (timer->turn != turn)
            return;
        timer->set = false;
        timer->due();
    });
}

void loop_timer::clear() {
    ++waiting_->turn;
    waiting_->set = false;
    try {
        waiting_->timer.cancel();
    } catch (const boost::system::system_error&) { // what it was set to is not called all the same
    }
}

bool loop_timer::is_set() const {
    return waiting_->set;
}

} // namespace gateway
