#include "gateway/metrics/take_figures.h"

namespace gateway {

const char* result_text(vrdx::take_word word) {
    return word == vrdx::take_word::other ? "other" : vrdx::take_word_text(word);
}

void take_figures::hear(const router_news& news) {
    if (news.gone) {
        routers_.erase(news.router->name);
        return;
    }
    if (news.takes.empty() && news.takes_lost == 0)
        return;
    router_takes& counted = routers_[news.router->name];
    counted.unheard += news.takes_lost;
    for (const vrdx::take_record& each : news.takes) {
        counted.decided.at(static_cast<std::size_t>(each.result.word))++;
        if (each.result.word == vrdx::take_word::confirmed)
            counted.confirmed.add(each.milliseconds);
    }
}

const router_takes* take_figures::of(std::string_view router) const {
    const auto found = routers_.find(router);
    return found == routers_.end() ? nullptr : &found->second;
}

} // namespace gateway
