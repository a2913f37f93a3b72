// What waits for the backend, as tests put it there and look at it.
#pragma once

#include "pending.h"
#include "turns.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

// Moves all messages out that wait; their texts, in the order of their moves.
inline std::vector<std::string> pending_texts() {
    std::vector<std::string> texts;
    while (const std::string* text = pending_line()) {
        texts.push_back(*text);
        pending_line_moved();
    }
    return texts;
}

// Queues one message of the driver's own for each text, as it is.
inline void queue_texts(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts) {
        waiting_batch batch;
        batch.text = text;
        batch.place = -1;
        count_waiting_settings(batch.whose, static_cast<std::ptrdiff_t>(text.size()));
        add_batch(std::move(batch));
    }
}

// Asks for takes on nobody's behalf.
inline void ask_for(std::initializer_list<route_request> requests) {
    for (const route_request& request : requests)
        queue_route_request(request, {});
}

// Whatever waits is forgotten, also what no backend was told yet.
inline void forget_all_that_waits() {
    requester whose;
    while (!route_requests.empty())
        next_route_request(&whose);
    drop_pending_lines();
}
