// What waits to be written to the broker.
//
// Pages of pictures are large, and may be asked for without end. They stand behind everything else, a few at
// a time, and have at most half of the room: so neither a take nor a beat, nor an answer, waits for them.
#pragma once

#include "message_way.h"

#include <cstddef>
#include <deque>

namespace gateway {

class outgoing_messages {
public:
    // False: there is no room, and nothing is kept of it.
    bool add(site_message message);
    [[nodiscard]] bool has_room_for_page() const;
    [[nodiscard]] bool is_empty() const;
    // What is to be written next: all but pages, and behind it at most pages_per_turn of these.
    std::deque<site_message> next();
    void clear();

private:
    [[nodiscard]] bool is_room_left(std::size_t bytes) const;

    std::deque<site_message> first_, pages_;
    std::size_t first_bytes_ = 0, page_bytes_ = 0;
};

} // namespace gateway
