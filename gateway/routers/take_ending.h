// What became of a take, or of a new name.
#pragma once

#include "packet_client.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

// What the gateway of another site says of one output, where it knows more than a driver says.
struct owner_answer {
    struct lock {
        bool protects = false; // else it holds for everybody
        std::string owner;
        std::string reason;     // perhaps ""
        std::int64_t since = 0; // seconds since 1970
    };
    int output = 0; // from 1
    std::string result;
    std::string reason;                         // "" when there is none
    std::optional<vrdx::level_sources> sources; // of "shows"
    std::optional<lock> held;                   // of "locked"
};

struct take_ending {
    enum class kind {
        answered, // `answer` has what the driver said of each output, or `answer.error` what is wrong with
                  // the order, and nothing of it was done. After a rename `answer` is empty but for `error`.
        too_many, // the lane has too much open already; nothing was sent
        unavailable, // it was certainly not sent, and will not be
    } kind = kind::unavailable;
    vrdx::take_answer answer;
    std::string reason; // of too_many and unavailable: one sentence
    // Of `answered` by another site's gateway: counts instead of the results of `answer`, in the same order.
    std::vector<owner_answer> owner_answers;
};

struct new_name {
    bool output = false; // else of an input
    int number = 0;      // from 1
    std::string name;
};

// Called right before an order is handed to the driver's connection, perhaps long after it was asked for:
// takes that may not be done any more are removed from it. When none is left, nothing is sent, and it ends as
// answered without a result.
using last_look = std::function<void(vrdx::take_order* order)>;

using take_done = std::function<void(take_ending)>;

} // namespace gateway
