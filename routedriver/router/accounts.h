// Who has what waiting, and how many messages were sent for it so far. Shared by accounts.cpp and turns.cpp.
#pragma once

#include "turns.h"

#include <limits>
#include <list>
#include <map>

// Who starts anew begins with what was sent for the one chosen last, so that nobody saves up turns, and
// connecting again gains none.
struct account {
    std::uint64_t served = 0;
    std::size_t messages = 0; // in batches
    std::size_t takes = 0;    // commands and requests
    std::size_t bytes = 0;    // of other messages and of settings
};

struct connection_account : account {
    std::list<waiting_batch> batches; // in the order of their numbers
};

// Connection 0 stands for those that are gone.
struct user_account : account {
    std::map<std::uint64_t, connection_account> connections;
    std::uint64_t last_served = 0; // of the connection chosen last, when it was
    // While those that are gone have too much waiting: the newest connection that had asked when it became
    // so.
    std::uint64_t newest_admitted = std::numeric_limits<std::uint64_t>::max();
};

extern std::map<uid_t, user_account> users;
extern std::uint64_t last_served; // of the user chosen last, when it was

struct owner {
    user_account& user;
    connection_account& connection;
};

// Who is not known (any more) is gone.
owner owner_of(requester whose);

// Forgets who has no connection and nothing waiting, and would start anew with no less.
void forget_idle_users();
