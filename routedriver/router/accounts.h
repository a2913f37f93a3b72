// For each user and connection: what waits, and how many messages were sent so far. For accounts.cpp and
// turns.cpp alone.
#pragma once

#include "turns.h"

#include <limits>
#include <list>
#include <map>

// A new account starts with the `served` of the account that was chosen last: nobody saves up turns by
// waiting, and nobody gains one by connecting again.
struct account {
    std::uint64_t served = 0;
    std::size_t messages = 0; // in batches
    std::size_t takes = 0;    // commands and requests
    std::size_t bytes = 0;    // of other messages and of settings
};

struct connection_account : account {
    std::list<waiting_batch> batches; // in the order of their numbers
};

// Connection 0 stands for all connections that are gone.
struct user_account : account {
    std::map<std::uint64_t, connection_account> connections;
    std::uint64_t last_served = 0; // `served` of the connection chosen last, at that time
    // While the connections that are gone have too much waiting, newer connections than this one must wait.
    std::uint64_t newest_admitted = std::numeric_limits<std::uint64_t>::max();
};

extern std::map<uid_t, user_account> users;
extern std::uint64_t last_served; // `served` of the user chosen last, at that time

struct owner {
    user_account& user;
    connection_account& connection;
};

// The accounts of a requester. For a connection that is not known, or not any more, that of the gone ones.
owner owner_of(requester whose);

// Forgets users without a connection and without anything waiting, unless a new account would give them an
// advantage.
void forget_idle_users();
