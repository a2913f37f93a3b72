#include "gateway/metrics/scrape_desk.h"

#include "gateway/settings/limits.h"

#include <utility>

namespace gateway {

scrape_desk::scrape_desk(boost::asio::io_context& loop, router_board& routers,
                         std::function<gateway_figures()> gateway)
    : routers_(routers), gateway_(std::move(gateway)), patience_(loop, [this] { asked(round_); }) {}

void scrape_desk::scrape(const std::shared_ptr<const token>& who, const metrics_wish& wish, told tell) {
    const std::uint64_t now = monotonic_us();
    waiting one{who, wish, std::move(tell)};
    if (waiting_.empty() && asked_us_ != 0 && now < asked_us_ + metrics_fresh_us) {
        one.tell(text_for(one, now));
        return;
    }
    waiting_.push_back(std::move(one));
    if (waiting_.size() == 1)
        ask_drivers();
}

// Ends with the last answer, or when the patience does; what comes after is there for the next question.
void scrape_desk::ask_drivers() {
    const std::uint64_t round = ++round_;
    patience_.set(metrics_patience_us);
    routers_.ask_figures([this, round] { asked(round); });
}

void scrape_desk::asked(std::uint64_t round) {
    if (round != round_ || waiting_.empty())
        return;
    patience_.clear();
    asked_us_ = monotonic_us();
    for (const waiting& each : std::exchange(waiting_, {}))
        each.tell(text_for(each, asked_us_));
}

std::shared_ptr<const std::string> scrape_desk::text_for(const waiting& one, std::uint64_t now_us) {
    std::erase_if(kept_,
                  [now_us](const auto& each) { return now_us >= each.second.written_us + metrics_fresh_us; });
    kept_text& kept = kept_[{one.who->id, one.wish.format}];
    if (!kept.text)
        kept = {now_us, std::make_shared<const std::string>(
                            metrics_page(*one.who, one.wish, routers_.all(), takes_, gateway_(), now_us))};
    return kept.text;
}

} // namespace gateway
