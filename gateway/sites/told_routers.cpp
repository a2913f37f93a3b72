#include "told_routers.h"

#include "lock_changes.h"
#include "site_limits.h"
#include "subjects.h"

#include <utility>

namespace gateway {

told_routers::told_routers(message_way& way, const router_board& routers, const lock_table& locks,
                           std::string site, std::string run)
    : way_(way), routers_(routers), locks_(locks), site_(std::move(site)), run_(std::move(run)) {}

const output_locks* told_routers::locks_of(const std::string& router) const {
    return locks_.of_router(router);
}

void told_routers::hear(const router_news& news) {
    const shown_router& router = *news.router;
    if (!router.site.empty())
        return;
    if (news.gone) {
        told_.erase(router.name); // the list has it no more
        return;
    }
    change_message change;
    change.anew = news.whole || news.appeared;
    change.takes = news.takes;
    change.takes_lost = news.takes_lost;
    tell(router, std::move(change), news.places);
}

// Counted also when nobody hears it: then it is noticed that something is missing.
void told_routers::tell(const shown_router& router, change_message change, const vrdx::picture_news& places) {
    told& known = told_[router.name];
    change.run = run_;
    change.from = known.at;
    change.to = ++known.at;
    const output_locks* held = locks_of(router.name);
    known.locks = held == nullptr ? output_locks() : *held;
    if (!way_.is_connected())
        return;
    const state_and_reason state{router.state, router.reason};
    const router_excerpt excerpt{state, router.picture, held};
    std::string text = change_text(change, excerpt, change.anew ? vrdx::picture_news() : places);
    if (text.empty()) {
        change.anew = true;
        change.takes_lost += change.takes.size();
        change.takes.clear();
        text = change_text(change, excerpt, {});
    }
    way_.send({router_subject(site_, router.name, "evt"), {}, std::move(text), false});
}

void told_routers::look_at_locks() {
    if (std::exchange(locks_version_, locks_.version()) == locks_.version())
        return;
    for (const shown_router* router : routers_.all()) {
        if (!router->site.empty())
            continue;
        const output_locks* held = locks_of(router->name);
        const output_locks now = held == nullptr ? output_locks() : *held;
        const std::vector<int> changed = lock_changes(told_[router->name].locks, now);
        vrdx::picture_news places;
        for (const int output : changed)
            if (static_cast<std::size_t>(output) <= router->picture.outputs.size())
                places.outputs.push_back(output);
        if (!changed.empty())
            tell(*router, {}, places);
    }
}

void told_routers::beat() {
    look_at_locks();
    if (!way_.is_connected())
        return;
    alive_message alive;
    alive.beat = {run_, boot_ms()};
    for (const shown_router* router : routers_.all())
        if (router->site.empty())
            alive.routers.push_back({router->name, router->state, told_[router->name].at});
    way_.send({alive_subject(site_), {}, alive_text(alive), false});
}

void told_routers::answer(const std::string& router, const site_message& asked) {
    const shown_router* shown = routers_.find(router);
    const auto begin = read_page_request(asked.data);
    if (asked.reply.empty() || !begin || shown == nullptr || !shown->site.empty() ||
        !way_.has_room_for_page())
        return;
    const state_and_reason state{shown->state, shown->reason};
    site_message page{asked.reply, {}, {}};
    page.data = page_text(run_, told_[router].at, {state, shown->picture, locks_of(router)}, *begin);
    page.is_page = true;
    way_.send(std::move(page));
}

} // namespace gateway
