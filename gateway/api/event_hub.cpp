#include "event_hub.h"

#include "gateway/settings/limits.h"
#include "time_text.h"

#include <algorithm>

namespace gateway {

event_hub::event_hub(picture_shelf& shelf, locks_of_router locks, router_finder find, router_list all,
                     lock_alarms::shown_listener keep)
    : shelf_(shelf), locks_(std::move(locks)), find_(std::move(find)), all_(std::move(all)),
      alarms_(std::move(keep)) {}

std::shared_ptr<event_reader> event_hub::add_reader(event_wish wish) {
    const auto added = std::make_shared<event_reader>(this, std::move(wish));
    for (const shown_router* router : all_())
        if (added->sees(router->name))
            added->push_picture(router->name);
    const std::uint64_t now_ms = steady_ms();
    for (const kept_alarm& alarm : alarms_after_restart_)
        if (now_ms < alarm.until_ms && added->sees(alarm.event->router))
            added->push_behind_pictures(alarm.event);
    readers_.insert(added.get());
    return added;
}

std::size_t event_hub::readers_of(std::int64_t token_id) const {
    return static_cast<std::size_t>(
        std::count_if(readers_.begin(), readers_.end(),
                      [&](const event_reader* each) { return each->wish().who->id == token_id; }));
}

std::vector<std::size_t> event_hub::bytes_of_readers() const {
    std::vector<std::size_t> bytes;
    for (const event_reader* each : readers_)
        bytes.push_back(each->own_bytes());
    return bytes;
}

const shown_router* event_hub::find(const std::string& router) const {
    return find_(router);
}

shared_text event_hub::picture_of(const shown_router& router) {
    return shelf_.of(router).text;
}

const router_locks* event_hub::locks_of(const std::string& router) const {
    return locks_(router);
}

void event_hub::reader_ended(event_reader* reader) {
    readers_.erase(reader);
}

// A reader may end while it is told something.
template<typename action> void event_hub::each_reader(std::string_view router, const action& act) {
    for (auto at = readers_.begin(); at != readers_.end();) {
        event_reader* const reader = *at++;
        if (reader->sees(router))
            act(*reader);
    }
}

void event_hub::tell(told_event event) {
    const auto shared = std::make_shared<const told_event>(std::move(event));
    each_reader(shared->router, [&](event_reader& reader) { reader.push(shared); });
}

void event_hub::hear(const router_news& news) {
    const shown_router& router = *news.router;
    if (news.gone) {
        shelf_.forget(router.name);
        tell({told_event::kind::state, router.name, router_text(router.name, nullptr), {}, {}});
        return;
    }
    if (news.appeared || news.state_changed || news.last_error_changed)
        tell({told_event::kind::state, router.name, router_text(router.name, &router), {}, {}});
    if (news.appeared || news.whole)
        each_reader(router.name, [&](event_reader& reader) { reader.push_picture(router.name); });
    else
        tell_places(router, news.places);
    for (const vrdx::take_record& record : news.takes)
        tell({told_event::kind::once, router.name, take_text(router, record), {}, {}});
    if (news.takes_lost > 0)
        each_reader(router.name,
                    [&](event_reader& reader) { reader.push_lost(router.name, news.takes_lost); });
    tell_alarms(router);
}

void event_hub::tell_alarms(const shown_router& router) {
    if (!router.site.empty())
        return; // its owner knows whose take is allowed
    const router_locks* locks = locks_(router.name);
    const std::uint64_t now_ms = steady_ms();
    for (const lock_alarm& alarm : alarms_.of(router, locks, now_ms)) {
        told_event event{told_event::kind::once,
                         router.name,
                         alarm_text(router, alarm, locks->at(alarm.output), milliseconds_since_1970()),
                         {},
                         {}};
        if (alarm.while_away) {
            if (alarms_after_restart_.size() >= alarms_after_restart_limit)
                alarms_after_restart_.pop_front();
            alarms_after_restart_.push_back(
                {now_ms + alarm_after_restart_ms, std::make_shared<const told_event>(event)});
        }
        tell(std::move(event));
    }
}

void event_hub::tell_places(const shown_router& router, const vrdx::picture_news& places) {
    if ((places.inputs.empty() && places.outputs.empty()) || readers_.empty())
        return;
    std::vector<int> inputs = places.inputs, outputs = places.outputs;
    shared_text text;
    if (inputs.size() + outputs.size() <= event_numbers_of_router_limit)
        text = change_text(router, locks_(router.name), &inputs, &outputs, event_merged_bytes_limit);
    if (text && inputs.empty() && outputs.empty())
        tell({told_event::kind::change, router.name, text, places.inputs, places.outputs});
    else // more than a message holds: the picture, which all share
        each_reader(router.name, [&](event_reader& reader) { reader.push_picture(router.name); });
}

void event_hub::users_named(const std::vector<std::uint64_t>& users) {
    for (const shown_router* router : all_()) {
        vrdx::picture_news places;
        for (std::size_t at = 0; at < router->picture.outputs.size(); at++) {
            const auto& taken = router->picture.outputs[at].taken;
            if (taken && std::find(users.begin(), users.end(), taken->user) != users.end())
                places.outputs.push_back(static_cast<int>(at) + 1);
        }
        if (places.outputs.empty())
            continue;
        shelf_.changed(router->name);
        tell_places(*router, places);
    }
}

void event_hub::lock_changed(const shown_router& router, int output) {
    shelf_.changed(router.name);
    vrdx::picture_news places;
    places.outputs = {output};
    tell_places(router, places);
    if (!router.site.empty())
        return;
    const router_locks* const locks = locks_(router.name);
    alarms_.lock_changed(router, output, locks != nullptr && locks->contains(output));
}

void event_hub::takes_begin(const std::string& router, const std::vector<vrdx::output_take>& takes) {
    alarms_.takes_begin(router, takes, steady_ms());
}

void event_hub::tell_alive() {
    const shared_text text = alive_text(milliseconds_since_1970());
    for (auto at = readers_.begin(); at != readers_.end();)
        (*at++)->push_alive(text);
}

void event_hub::end_readers(const std::vector<std::int64_t>& tokens,
                            const std::vector<std::int64_t>& sessions) {
    const auto has = [](const std::vector<std::int64_t>& list, std::int64_t id) {
        return id != 0 && std::find(list.begin(), list.end(), id) != list.end();
    };
    for (auto at = readers_.begin(); at != readers_.end();) {
        event_reader* const reader = *at++;
        if (has(tokens, reader->wish().who->id) || has(sessions, reader->wish().session))
            reader->end("the token or session was removed");
    }
}

void event_hub::end_anonymous_readers() {
    for (auto at = readers_.begin(); at != readers_.end();) {
        event_reader* const reader = *at++;
        if (reader->wish().who->id == 0)
            reader->end("who asks without a token may something else now");
    }
}

} // namespace gateway
