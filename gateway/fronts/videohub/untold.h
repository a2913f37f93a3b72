// What a client of a Videohub server has not been told yet: numbers alone, so that a slow client costs little
// and gets the newest state.
#pragma once

#include "gateway/fronts/videohub/shown_hub.h"

#include <array>
#include <functional>

namespace gateway {

// 'O', 'L' or 'U': the lock of an output of the hub, as this client sees it.
using lock_letter = std::function<char(int output)>;

class untold {
public:
    // Everything, the preamble first.
    void begin(const shown_hub& hub);
    // Everything but the preamble.
    void anew(const shown_hub& hub);
    // One number of a table: labels, locks, routing, take modes. What is beyond the hub's size is left out.
    void add(videohub_topic topic, int number);
    // All of that topic.
    void add_whole(videohub_topic topic, const shown_hub& hub);

    [[nodiscard]] bool is_empty() const;
    // The text of what is told next, about `most` bytes of it at most; "" when all is told.
    std::string next(const shown_hub& hub, const lock_letter& lock, std::size_t most);

private:
    struct table {
        videohub_topic topic;
        std::vector<bool> marked = {}; // by number
        std::size_t count = 0;         // of those marked
        std::size_t first = 0;         // none before it is marked
    };
    table* table_of(videohub_topic topic);
    static void mark_all(table* one, int count);
    static void mark(table* one, int number);
    void write_table(table* one, const shown_hub& hub, const lock_letter& lock, std::size_t most,
                     std::string* text);

    bool preamble_ = false, device_ = false, configuration_ = false, end_of_prelude_ = false;
    // In the order of a prelude.
    std::array<table, 5> tables_ = {{{videohub_topic::input_labels},
                                     {videohub_topic::output_labels},
                                     {videohub_topic::locks},
                                     {videohub_topic::routing},
                                     {videohub_topic::take_modes}}};
};

} // namespace gateway
