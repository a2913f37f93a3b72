#include "accounts.h"

#include <algorithm>

std::map<uid_t, user_account> users;
std::uint64_t last_served = 0;

namespace {

std::uint64_t newest_connection = 0; // that asked for anything

bool reaches(const account& one, std::size_t takes, std::size_t bytes) {
    return one.takes >= takes || one.bytes >= bytes;
}

// Connecting, asking for much and leaving, again and again, must not fill the memory.
void watch_those_gone(user_account& user) {
    const auto gone = user.connections.find(0);
    const bool too_much = gone != user.connections.end() &&
                          reaches(gone->second, waiting_takes_per_user, waiting_bytes_per_user);
    if (!too_much)
        user.newest_admitted = std::numeric_limits<std::uint64_t>::max();
    else
        user.newest_admitted = std::min(user.newest_admitted, newest_connection);
}

bool is_idle(const account& one) {
    return one.messages == 0 && one.takes == 0 && one.bytes == 0;
}

} // namespace

owner owner_of(requester whose) {
    user_account& user = users[whose.user];
    const auto found = user.connections.find(whose.connection);
    return {user, found != user.connections.end() ? found->second : user.connections[0]};
}

void forget_idle_users() {
    std::erase_if(users, [](const auto& named) {
        const user_account& user = named.second;
        const bool only_gone =
            user.connections.empty() || (user.connections.size() == 1 && user.connections.contains(0));
        return only_gone && is_idle(user) && user.served <= last_served;
    });
}

void count_waiting_takes(requester whose, std::ptrdiff_t takes) {
    const auto [user, connection] = owner_of(whose);
    user.takes += static_cast<std::size_t>(takes);
    connection.takes += static_cast<std::size_t>(takes);
    watch_those_gone(user);
}

void count_waiting_settings(requester whose, std::ptrdiff_t bytes) {
    const auto [user, connection] = owner_of(whose);
    user.bytes += static_cast<std::size_t>(bytes);
    connection.bytes += static_cast<std::size_t>(bytes);
    watch_those_gone(user);
}

void requester_asks(requester client) {
    user_account& user = users[client.user];
    const auto [connection, is_new] = user.connections.try_emplace(client.connection);
    const auto gone = user.connections.find(0);
    // Its user may have asked for much on connections that are gone; a new connection is not put far behind
    // because of that.
    if (is_new && gone != user.connections.end())
        connection->second.served = std::min(gone->second.served, user.last_served + reconnecting_costs);
    newest_connection = std::max(newest_connection, client.connection);
}

bool requester_must_wait(requester client, std::size_t packet_bytes) {
    const auto user = users.find(client.user);
    if (user == users.end())
        return false;
    if (client.connection > user->second.newest_admitted)
        return true;
    if (packet_bytes > small_packet_bytes &&
        reaches(user->second, waiting_takes_per_user, waiting_bytes_per_user))
        return true;
    const auto connection = user->second.connections.find(client.connection);
    return connection != user->second.connections.end() &&
           reaches(connection->second, waiting_takes_per_client, waiting_bytes_per_client);
}

void requester_gone(std::uint64_t number) {
    for (auto& [name, user] : users) {
        const auto found = user.connections.find(number);
        if (number == 0 || found == user.connections.end())
            continue;
        connection_account& leaving = found->second;
        connection_account& gone = user.connections[0];
        // Usually it asked later than the connections that left before it, so that its batches go behind
        // theirs.
        if (gone.batches.empty() || leaving.batches.empty() ||
            gone.batches.back().number < leaving.batches.front().number)
            gone.batches.splice(gone.batches.end(), leaving.batches);
        else
            gone.batches.merge(leaving.batches, [](const waiting_batch& one, const waiting_batch& other) {
                return one.number < other.number;
            });
        gone.served = std::max(gone.served, leaving.served);
        gone.messages += leaving.messages;
        gone.takes += leaving.takes;
        gone.bytes += leaving.bytes;
        user.connections.erase(found);
        watch_those_gone(user);
        return;
    }
}
