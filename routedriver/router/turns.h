// Whose batch is sent next: the queues behind pending.h, by user and connection, and what each has waiting.
#pragma once

#include "pending.h"

#include <list>

struct batch_share {
    requester whose;
    std::size_t commands;
};

struct waiting_batch {
    std::uint64_t number = 0; // in the order of arrival
    // Either commands, sent with a flush behind them, or one other message as it is encoded.
    std::vector<route_command> commands;
    std::string text;
    std::int32_t place = 0; // what the other message concerns
    requester whose;        // in whose turn it is sent: the driver's, when it holds takes of several clients
    bool salvo = false;     // commands go together in messages of salvo_commands, without a flush
    std::uint64_t expires =
        0;                 // monotonic_us; until then it can be withdrawn; 0: it cannot, and never expires
    std::size_t share = 0; // the first of the shares that still counts
    std::vector<batch_share> shares; // who asked for the commands, in their order; empty: `whose` alone
    std::size_t moved = 0;           // messages that are on their way
};

// How many messages the batch has, the flush included.
std::size_t batch_messages(const waiting_batch& batch);
// How many of its commands are in so many messages.
std::size_t commands_in(const waiting_batch& batch, std::size_t messages);

// Queues a batch behind those of its connection. Returns its number.
std::uint64_t add_batch(waiting_batch batch);

// Removes the commands for `output`, which exists, from a batch that expires and of which nothing was moved
// yet, and the batch itself when no command is left.
void withdraw_command(std::uint64_t batch, std::int32_t output);

// The batch whose messages are being moved; the next one is chosen when there is none. Null: none waits.
waiting_batch* batch_being_sent();

// To be called when one message of it was moved.
void batch_message_moved();

void drop_batches();

// How many messages of all batches were not moved yet.
std::size_t waiting_messages();

// `takes` commands or requests more (or fewer) wait for this client.
void count_waiting_takes(requester whose, std::ptrdiff_t takes);
