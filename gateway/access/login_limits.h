// Wrong logins of an address are slowed down. A valid token is never: look it up first, and call this for
// wrong ones only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

namespace gateway {

class login_limits {
public:
    // Counts a wrong login and says how many milliseconds its answer has to wait; 0: answer at once.
    // wrong_logins_at_once are free, and one more after each wrong_login_refill_ms. IPv6 addresses count by
    // their first 64 bits. The table holds login_addresses_limit addresses; a further one drops the address
    // that was wrong longest ago. `now_ms` never goes back.
    std::uint64_t wrong(std::string_view address, std::uint64_t now_ms);

    std::size_t size() const {
        return places_.size();
    }

private:
    struct entry {
        std::string address;
        std::uint64_t free_at_ms; // when all of wrong_logins_at_once are there again
    };
    std::list<entry> entries_; // the newest first
    std::unordered_map<std::string, std::list<entry>::iterator> places_;
};

} // namespace gateway
