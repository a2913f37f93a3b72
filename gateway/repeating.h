// Something that the loop does again and again.
#pragma once

#include <boost/asio/steady_timer.hpp>

#include <cstdint>
#include <functional>

namespace gateway {

class repeating {
public:
    // 0: never. `act` outlives the loop's run.
    repeating(boost::asio::io_context& loop, std::uint64_t period_ms, std::function<void()> act)
        : timer_(loop), period_(period_ms), act_(std::move(act)) {}

    // The first time after one period.
    void begin() {
        if (period_.count() == 0 || ended_)
            return;
        timer_.expires_after(period_);
        timer_.async_wait([this](boost::system::error_code error) {
            if (error || ended_)
                return;
            act_();
            begin();
        });
    }
    void end() {
        ended_ = true;
        timer_.cancel();
    }
    bool has_ended() const {
        return ended_;
    }

private:
    boost::asio::steady_timer timer_;
    std::chrono::milliseconds period_;
    std::function<void()> act_;
    bool ended_ = false;
};

} // namespace gateway
