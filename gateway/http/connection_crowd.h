// Who is connected, and which waiting connection is closed for a new one when there are too many.
#pragma once

#include "http_limits.h"

#include <list>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace gateway {

class connection {
public:
    using clock = std::chrono::steady_clock;

    virtual ~connection() = default;
    // Cuts itself when a deadline has passed.
    virtual void look(clock::time_point now) = 0;
    // Ends at once, and leaves the crowd.
    virtual void cut() = 0;
    // The server ends: whoever waits is cut, an answer under way is written first.
    virtual void finish() = 0;
};

// A connection waits from its start to its first whole request, and again between two requests. Waiting ones
// give way to new ones, the one that has waited longest first.
class connection_crowd {
public:
    explicit connection_crowd(const http_limits& limits) : limits_(limits) {}

    // Addresses for which the limits per address do not hold: behind a proxy everybody has one.
    void set_proxies(const std::vector<std::string>& addresses);

    // Makes room for one more from that address, perhaps by cutting another. False when there is none.
    bool make_room(const std::string& address);

    // A new connection; it waits.
    void enter(std::shared_ptr<connection> who, const std::string& address);
    void waits(const connection* who); // from now on, behind all others that wait
    void works(const connection* who);
    void leave(const connection* who);
    // `next` goes on in the place of `who`, and works.
    void replace(const connection* who, std::shared_ptr<connection> next);

    std::size_t size() const {
        return places_.size();
    }
    // Of this moment: what is done with them may make some leave.
    std::vector<std::shared_ptr<connection>> all() const;

private:
    using order = std::list<const connection*>;
    struct house { // all of one address
        std::size_t connections = 0;
        order waiting;
    };
    struct place {
        std::shared_ptr<connection> who;
        std::string house; // empty: not limited
        bool waiting = false;
        order::iterator in_all, in_house;
    };

    bool cut_first(const order& waiting);

    http_limits limits_;
    std::set<std::string> proxies_;
    std::unordered_map<const connection*, place> places_;
    std::unordered_map<std::string, house> houses_;
    order waiting_;
};

// The address that limits count by: IPv6 addresses by their first 64 bits.
std::string house_of(const std::string& address);

} // namespace gateway
