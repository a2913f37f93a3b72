// What the system's user data base knows of a user.
#pragma once

#include <cstdint>
#include <string>

// The name of the user with this number; "" when the system knows none, or the number is no user's. May wait
// for a name service, for as long as that takes.
std::string system_user_name(std::uint64_t user);
