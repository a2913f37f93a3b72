// The names of this machine's users, by number. Where a name service has to be asked, that may last long or
// for ever; so a thread of its own asks, and nobody waits for it.
#pragma once

#include "system_user.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace gateway {

class user_names {
public:
    // `look_up`: the name of a user; "" when there is none. Called from the thread.
    using looking_up = std::string (*)(std::uint64_t user);
    explicit user_names(looking_up look_up = system_user_name);
    // Does not wait for a name that is being looked up.
    ~user_names();
    user_names(const user_names&) = delete;
    user_names& operator=(const user_names&) = delete;

    // "" while it is not known, or has none; it is looked up then, once.
    const std::string& of(std::uint64_t user);

    // Those that were found since the last call.
    std::vector<std::uint64_t> found();

private:
    struct shared_with_thread;
    std::shared_ptr<shared_with_thread> shared_;
};

// Those of the whole program; its first use starts the thread.
user_names& names_of_users();

} // namespace gateway
