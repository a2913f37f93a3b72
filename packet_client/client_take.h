// Takes that are answered one by one.
#pragma once

#include "client_picture.h"

namespace vrdx {

// One output and the sources it is to show: the number of an input or source_none.
struct output_take {
    int output = 0;
    level_sources sources;

    bool operator==(const output_take&) const = default;
};

struct take_order {
    std::vector<output_take> takes; // 1 to takes_per_order_limit, each output once
    std::string id; // 1 to take_id_limit bytes; no two takes of one connection may wait with the same id
    unsigned within_ms = 0; // take_within_shortest_ms to take_within_longest_ms; 0: the driver's usual
    std::string by;         // up to take_by_limit printable bytes, shown to others
    std::vector<output_take> expect; // a take is done only if its output shows these sources, confirmed
    // A moment of boot_ms(): a driver that reads the order later refuses it, whatever held it up; 0: none. A
    // driver that does not tell this feature (client_features.h) refuses any order that has one.
    std::uint64_t until_ms = 0;
};

enum class take_word {
    confirmed,
    shows,           // the router shows other sources
    refused,         // it was not done, and will not be
    replaced_sent,   // a later take came before this one was confirmed
    replaced_unsent, // the same, and this one was never sent
    withdrawn,       // it was never sent, and will not be
    unknown,         // it was sent, and nobody knows whether it was done
    other,           // a word that only newer drivers say; `text` has it
};

struct take_result {
    take_word word = take_word::other;
    std::string text; // follows the word: the reason, or who replaced it; at most picture_text_limit bytes
    level_sources sources; // of `shows`
};

struct output_result {
    int output = 0;
    take_result result;
};

struct take_answer {
    std::string id;
    std::string epoch;
    bool all_confirmed = false;
    std::vector<output_result> results; // in the order of the takes; at most takes_per_order_limit
    std::string error;                  // not empty: what is wrong with the order, and nothing of it was done
};

// What is wrong with an order; "" when the driver can read it.
std::string order_problem(const take_order& order);

// The request of an order that has no problem.
comm_socket_v4_packet take_request(const take_order& order);

// Queues the order as queue_request() does. Returns its number, or 0 with `problem` set, also when the order
// itself has a problem.
std::uint64_t queue_take(driver_connection* connection, const take_order& order);

// Reads the answer to a take, `error` too. False when `packet` is none.
bool read_take_answer(const comm_socket_v4_packet& packet, take_answer* answer);

// Sends the order and waits for its answer. Returns done with *answer filled, whether the takes were
// confirmed or not; refused, with `problem`, when the driver cannot read the order or does not know `take`;
// else what ask_until() returns. The deadline should be later than within_ms.
outcome take_until(driver_connection* connection, const take_order& order, take_answer* answer,
                   std::uint64_t deadline);

// Reads a result from the protocol's text, and gives the protocol's word for one.
take_result take_result_in(std::string_view text);
const char* take_word_text(take_word word);

} // namespace vrdx
