// Places of clients, counted by the address that each came from.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace gateway {

class hub_places {
public:
    [[nodiscard]] std::size_t taken() const {
        return taken_;
    }
    [[nodiscard]] std::size_t taken_by(const std::string& address) const {
        const auto found = by_address_.find(address);
        return found == by_address_.end() ? 0 : found->second;
    }
    void take(const std::string& address) {
        ++by_address_[address];
        ++taken_;
    }
    // One that is held by that address.
    void give_back(const std::string& address) {
        const auto found = by_address_.find(address);
        if (found == by_address_.end())
            return;
        --taken_;
        if (--found->second == 0)
            by_address_.erase(found);
    }

private:
    std::map<std::string, std::size_t> by_address_; // none of them 0
    std::size_t taken_ = 0;
};

} // namespace gateway
