#include "connection_crowd.h"

#include <arpa/inet.h>
#include <array>

namespace gateway {

std::string house_of(const std::string& address) {
    in6_addr bytes{};
    if (inet_pton(AF_INET6, address.c_str(), &bytes) != 1)
        return address;
    constexpr std::size_t kept_bytes = 8;
    for (std::size_t at = kept_bytes; at < sizeof(bytes.s6_addr); at++)
        bytes.s6_addr[at] = 0;
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(AF_INET6, &bytes, text.data(), text.size());
    return text.data();
}

void connection_crowd::set_proxies(const std::vector<std::string>& addresses) {
    proxies_ = {addresses.begin(), addresses.end()};
}

bool connection_crowd::cut_first(const order& waiting) {
    if (waiting.empty())
        return false;
    const std::shared_ptr<connection> oldest = places_.at(waiting.front()).who;
    oldest->cut();
    leave(oldest.get());
    return true;
}

bool connection_crowd::make_room(const std::string& address) {
    if (!proxies_.contains(address)) {
        const auto found = houses_.find(house_of(address));
        if (found != houses_.end() && (found->second.connections >= limits_.connections_per_address ||
                                       found->second.waiting.size() >= limits_.waiting_per_address))
            if (!cut_first(order(found->second.waiting)))
                return false;
    }
    if (places_.size() >= limits_.connections || waiting_.size() >= limits_.waiting)
        return cut_first(waiting_);
    return true;
}

void connection_crowd::enter(std::shared_ptr<connection> who, const std::string& address) {
    const connection* key = who.get();
    place& entered = places_[key];
    entered.who = std::move(who);
    if (!proxies_.contains(address)) {
        entered.house = house_of(address);
        houses_[entered.house].connections++;
    }
    waits(key);
}

void connection_crowd::waits(const connection* who) {
    works(who);
    const auto found = places_.find(who);
    if (found == places_.end())
        return;
    place& at = found->second;
    at.waiting = true;
    at.in_all = waiting_.insert(waiting_.end(), who);
    if (!at.house.empty()) {
        order& waiting = houses_[at.house].waiting;
        at.in_house = waiting.insert(waiting.end(), who);
    }
}

void connection_crowd::works(const connection* who) {
    const auto found = places_.find(who);
    if (found == places_.end() || !found->second.waiting)
        return;
    place& at = found->second;
    at.waiting = false;
    waiting_.erase(at.in_all);
    if (!at.house.empty())
        houses_[at.house].waiting.erase(at.in_house);
}

void connection_crowd::leave(const connection* who) {
    works(who);
    const auto found = places_.find(who);
    if (found == places_.end())
        return;
    const std::shared_ptr<connection> kept = found->second.who; // may be the last to hold it
    const auto home = houses_.find(found->second.house);
    if (home != houses_.end() && --home->second.connections == 0)
        houses_.erase(home);
    places_.erase(found);
}

void connection_crowd::replace(const connection* who, std::shared_ptr<connection> next) {
    works(who);
    const auto found = places_.find(who);
    if (found == places_.end())
        return;
    place moved = std::move(found->second);
    places_.erase(found);
    moved.who = std::move(next);
    const connection* key = moved.who.get();
    places_.emplace(key, std::move(moved));
}

std::vector<std::shared_ptr<connection>> connection_crowd::all() const {
    std::vector<std::shared_ptr<connection>> everybody;
    everybody.reserve(places_.size());
    for (const auto& [key, at] : places_)
        everybody.push_back(at.who);
    return everybody;
}

} // namespace gateway
