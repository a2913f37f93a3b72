// Answers who wants figures: asks the drivers first, for what they tell only when asked, and waits for them
// a moment.
//
// Whoever asks often costs little: a text that a token got within metrics_fresh_us is given to it again.
#pragma once

#include "gateway/metrics/metrics_page.h"
#include "gateway/routers/loop_timer.h"
#include "gateway/routers/router_board.h"

namespace gateway {

class scrape_desk {
public:
    using told = std::function<void(std::shared_ptr<const std::string>)>;

    // All outlive the desk; `gateway` is asked for each text.
    scrape_desk(boost::asio::io_context& loop, router_board& routers,
                std::function<gateway_figures()> gateway);

    // For each change of a router.
    void hear(const router_news& news) {
        takes_.hear(news);
    }

    // `tell` is called once, perhaps before this returns.
    void scrape(const std::shared_ptr<const token>& who, const metrics_wish& wish, told tell);

private:
    struct waiting {
        std::shared_ptr<const token> who;
        metrics_wish wish;
        told tell;
    };
    struct kept_text {
        std::uint64_t written_us = 0;
        std::shared_ptr<const std::string> text;
    };
    using key = std::pair<std::int64_t, metrics_format>; // the token's id

    void ask_drivers();
    void asked(std::uint64_t round);
    std::shared_ptr<const std::string> text_for(const waiting& one, std::uint64_t now_us);

    router_board& routers_;
    std::function<gateway_figures()> gateway_;
    take_figures takes_;
    std::vector<waiting> waiting_;
    std::uint64_t round_ = 0;    // of the question that is under way, or was the last
    std::uint64_t asked_us_ = 0; // when the last one ended; 0: never
    loop_timer patience_;
    std::map<key, kept_text> kept_; // those that are fresh
};

} // namespace gateway
