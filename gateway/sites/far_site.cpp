#include "far_site.h"

#include "site_limits.h"

#include <array>
#include <ctime>
#include <utility>

namespace gateway {
namespace {

std::string time_text(std::int64_t seconds) {
    const std::time_t when = seconds;
    std::tm parts{};
    std::array<char, 32> text{};
    gmtime_r(&when, &parts);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

} // namespace

far_site::far_site(far_surroundings& around, std::string name) : around_(around), name_(std::move(name)) {}

const far_router* far_site::find(std::string_view router) const {
    const auto found = routers_.find(router);
    return found == routers_.end() ? nullptr : found->second.get();
}

void far_site::add_to(std::vector<const shown_router*>* all) const {
    for (const auto& [name, router] : routers_)
        all->push_back(&router->shown());
}

// Asks the clock itself: it may be long ago that somebody looked.
bool far_site::is_silent() const {
    return heard_ms_ == 0 || around_.now_ms() > heard_ms_ + site_silence_limit_ms;
}

std::string far_site::refuses() const {
    if (other_version_ != 0)
        return "Site " + name_ + " speaks version " + std::to_string(other_version_) +
               " of the messages between sites, this gateway version " +
               std::to_string(site_message_version) + ".";
    if (!is_silent())
        return {};
    return heard_ms_ == 0 ? "Site " + name_ + " has not been heard yet."
                          : "Site " + name_ + " has not been heard since " + time_text(heard_s_) + ".";
}

std::string far_site::hear_alive(const std::string& data) {
    const auto alive = read_alive(data);
    if (!alive)
        return {};
    if (alive->version != site_message_version)
        return tell_version(alive->version);
    const bool was_other = std::exchange(other_version_, 0) != 0;
    beat_ = alive->beat;
    heard_ms_ = around_.now_ms();
    heard_s_ = std::time(nullptr);
    const bool was_stale = std::exchange(stale_, false);
    std::map<std::string_view, const router_row*> rows;
    for (const router_row& row : alive->routers)
        rows[row.router] = &row;
    for (auto each = routers_.begin(); each != routers_.end();) {
        const auto next = std::next(each);
        if (!rows.contains(each->first)) {
            const auto gone = routers_.extract(each); // found by nobody while it is told
            gone.mapped()->say_gone();
        }
        each = next;
    }
    for (const auto& [router, row] : rows) {
        auto& place = routers_[std::string(router)];
        if (!place)
            place = std::make_unique<far_router>(around_, name_, std::string(router));
        place->hear_row(beat_.run, *row);
    }
    read_what_wants();
    return was_stale || was_other ? "site " + name_ + " is heard" : "";
}

// Told once for each version; not heard as far as anything else goes.
std::string far_site::tell_version(int version) {
    if (std::exchange(other_version_, version) == version)
        return {};
    std::string reason = refuses();
    become_stale(reason);
    return reason;
}

void far_site::become_stale(const std::string& reason) {
    stale_ = true;
    for (const auto& [name, router] : routers_)
        router->become_stale(reason);
}

void far_site::hear_change(std::string_view router, const std::string& data) {
    const auto found = routers_.find(router);
    if (found == routers_.end() || stale_)
        return;
    const auto change = read_change(data);
    if (change && change->version == site_message_version)
        found->second->hear_change(*change);
    read_what_wants();
}

void far_site::look_at_clock() {
    if (!stale_ && is_silent())
        become_stale(refuses());
    if (!stale_)
        read_what_wants();
}

void far_site::read_what_wants() {
    std::size_t at_once = 0;
    for (const auto& [name, router] : routers_)
        at_once += router->is_reading() ? 1 : 0;
    for (const auto& [name, router] : routers_)
        if (at_once < pictures_read_at_once && router->wants_reading()) {
            at_once++;
            router->read();
        }
}

} // namespace gateway
