#include "turns.h"

#include "accounts.h"
#include "concerns.h"

#include <algorithm>
#include <malloc.h>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace {

std::uint64_t batches_so_far = 0;
std::size_t messages_waiting = 0;
std::optional<waiting_batch> being_sent;

// Where the batches wait that can be withdrawn, by number. They may be a thousand behind tens of thousands
// that cannot, and all of them withdrawn in one pass.
std::unordered_map<std::uint64_t, std::list<waiting_batch>::iterator> withdrawable;

// So many waiting messages leave the heap full of holes when they go.
constexpr std::size_t large_backlog = 16384;
std::size_t most_waiting = 0; // since the heap was last tidied

void tidy_heap_after_backlog() {
    if (messages_waiting > 0 || most_waiting < large_backlog)
        return;
    most_waiting = 0;
    malloc_trim(0);
}

void start_waiting(account& one, std::uint64_t least_served) {
    if (one.messages == 0)
        one.served = std::max(one.served, least_served);
}

struct candidate {
    user_account* user = nullptr;
    connection_account* connection = nullptr;
};

candidate oldest_batch() {
    candidate oldest;
    for (auto& [name, user] : users)
        for (auto& [number, connection] : user.connections)
            if (!connection.batches.empty() &&
                (oldest.connection == nullptr ||
                 connection.batches.front().number < oldest.connection->batches.front().number))
                oldest = {&user, &connection};
    return oldest;
}

// What will have been sent for it with this batch. So a short batch does not wait for a round of long ones by
// others who were sent as much; a very long one counts less, or it would wait for many rounds of theirs.
std::uint64_t served_with(const account& one, const waiting_batch& batch) {
    return one.served + std::min(batch_messages(batch), longest_batch_counted);
}

// Fewest messages sent for it with its batch; among equals fewest waiting, then the oldest.
bool goes_first(const account& one, const waiting_batch& batch_of_one, const account& other,
                const waiting_batch& batch_of_other) {
    return std::tuple(served_with(one, batch_of_one), one.messages, batch_of_one.number) <
           std::tuple(served_with(other, batch_of_other), other.messages, batch_of_other.number);
}

candidate next_turn_of(user_account& user) {
    candidate next;
    for (auto& [number, connection] : user.connections) {
        const bool first =
            !connection.batches.empty() &&
            (next.connection == nullptr || goes_first(connection, connection.batches.front(),
                                                      *next.connection, next.connection->batches.front()));
        if (first && no_older_batch_concerns_the_same(connection.batches.front()))
            next = {&user, &connection};
    }
    return next;
}

candidate next_turn() {
    candidate next;
    for (auto& [name, user] : users) {
        const candidate other = next_turn_of(user);
        if (other.connection == nullptr)
            continue;
        if (next.connection == nullptr ||
            goes_first(user, other.connection->batches.front(), *next.user, next.connection->batches.front()))
            next = other;
    }
    return next;
}

void choose_batch() {
    forget_idle_users();
    const std::size_t turns_from = backend_gets_salvos ? turns_from_salvos : turns_from_messages;
    const auto [user, connection] = messages_waiting < turns_from ? oldest_batch() : next_turn();
    if (connection == nullptr)
        return;
    withdrawable.erase(connection->batches.front().number);
    being_sent = std::move(connection->batches.front());
    connection->batches.pop_front();
    const std::size_t messages = batch_messages(*being_sent);
    last_served = user->served;
    user->last_served = connection->served;
    for (account* one : {static_cast<account*>(user), static_cast<account*>(connection)}) {
        one->served += messages;
        one->messages -= messages;
    }
    forget_concerns(*being_sent);
}

// The first `commands` commands are no longer waiting.
void uncount_commands(waiting_batch& batch, std::size_t commands) {
    if (batch.shares.empty()) {
        count_waiting_takes(batch.whose, -static_cast<std::ptrdiff_t>(commands));
        return;
    }
    while (commands > 0) {
        batch_share& share = batch.shares[batch.share];
        const std::size_t of_share = std::min(share.commands, commands);
        count_waiting_takes(share.whose, -static_cast<std::ptrdiff_t>(of_share));
        share.commands -= of_share;
        commands -= of_share;
        if (share.commands == 0)
            ++batch.share;
    }
}

// Of one client's batch of which nothing was moved; how many messages fewer it has.
std::size_t remove_commands(waiting_batch& batch, std::int32_t output) {
    const std::size_t messages_before = batch_messages(batch);
    const std::size_t removed =
        std::erase_if(batch.commands, [output](const route_command& one) { return one.output == output; });
    count_waiting_takes(batch.whose, -static_cast<std::ptrdiff_t>(removed));
    return messages_before - (batch.commands.empty() ? 0 : batch_messages(batch));
}

void uncount_batch(waiting_batch& batch) {
    if (batch.commands.empty())
        count_waiting_settings(batch.whose, -static_cast<std::ptrdiff_t>(batch.text.size()));
    else
        uncount_commands(batch, batch.commands.size() - commands_in(batch, batch.moved));
}

} // namespace

std::size_t batch_messages(const waiting_batch& batch) {
    return batch.salvo ? (batch.commands.size() + salvo_commands - 1) / salvo_commands
                       : batch.commands.size() + 1;
}

std::size_t commands_in(const waiting_batch& batch, std::size_t messages) {
    return std::min(batch.salvo ? messages * salvo_commands : messages, batch.commands.size());
}

std::uint64_t add_batch(waiting_batch batch) {
    const auto [user, connection] = owner_of(batch.whose);
    start_waiting(user, last_served);
    start_waiting(connection, user.last_served);
    batch.number = ++batches_so_far;
    note_concerns(batch);
    const std::size_t messages = batch_messages(batch);
    user.messages += messages;
    connection.messages += messages;
    messages_waiting += messages;
    most_waiting = std::max(most_waiting, messages_waiting);
    const bool can_be_withdrawn = batch.expires != 0;
    connection.batches.push_back(std::move(batch));
    if (can_be_withdrawn)
        withdrawable.emplace(batches_so_far, std::prev(connection.batches.end()));
    return batches_so_far;
}

void withdraw_command(std::uint64_t number, std::int32_t output) {
    if (being_sent && being_sent->number == number) {
        if (being_sent->moved != 0)
            return;
        messages_waiting -= remove_commands(*being_sent, output);
        if (being_sent->commands.empty())
            being_sent.reset();
        return;
    }
    const auto waiting = withdrawable.find(number);
    if (waiting == withdrawable.end())
        return;
    const auto batch = waiting->second;
    const bool is_all = std::all_of(batch->commands.begin(), batch->commands.end(),
                                    [output](const route_command& one) { return one.output == output; });
    if (is_all)
        forget_concerns(*batch);
    else
        forget_concern(*batch, output);
    const std::size_t messages = remove_commands(*batch, output);
    const auto [user, connection] = owner_of(batch->whose);
    user.messages -= messages;
    connection.messages -= messages;
    messages_waiting -= messages;
    if (!is_all)
        return;
    withdrawable.erase(waiting);
    connection.batches.erase(batch);
}

waiting_batch* batch_being_sent() {
    if (!being_sent && messages_waiting > 0)
        choose_batch();
    return being_sent ? &*being_sent : nullptr;
}

void batch_message_moved() {
    waiting_batch& batch = *being_sent;
    if (batch.commands.empty())
        uncount_batch(batch);
    else
        uncount_commands(batch, commands_in(batch, batch.moved + 1) - commands_in(batch, batch.moved));
    ++batch.moved;
    --messages_waiting;
    if (batch.moved == batch_messages(batch))
        being_sent.reset();
    tidy_heap_after_backlog();
}

void drop_batches() {
    if (being_sent)
        uncount_batch(*being_sent);
    being_sent.reset();
    withdrawable.clear();
    for (auto& [name, user] : users) {
        for (auto& [number, connection] : user.connections) {
            for (waiting_batch& batch : connection.batches)
                uncount_batch(batch);
            connection.batches.clear();
            connection.messages = 0;
        }
        user.messages = 0;
    }
    forget_all_concerns();
    messages_waiting = 0;
    tidy_heap_after_backlog();
}

std::size_t waiting_messages() {
    return messages_waiting;
}
