// What became of a take, or of a new name.
#pragma once

#include "packet_client.h"

#include <functional>
#include <string>

namespace gateway {

struct take_ending {
    enum class kind {
        answered, // `answer` has what the driver said of each output, or `answer.error` what is wrong with
                  // the order, and nothing of it was done. After a rename `answer` is empty but for `error`.
        too_many, // the lane has too much open already; nothing was sent
        unavailable, // it was certainly not sent, and will not be
    } kind = kind::unavailable;
    vrdx::take_answer answer;
    std::string reason; // of too_many and unavailable: one sentence
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
