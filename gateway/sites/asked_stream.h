// The broker's stream of histories as it is now, and whether it still has what it had.
#pragma once

#include "broker_questions.h"
#include "stream_texts.h"

#include <functional>

namespace gateway {

using ask_broker = std::function<std::vector<broker_answer>(const std::vector<broker_question>&)>;

// Asks the broker's own service. A leaf node keeps its subjects back, but not those of its domain: when
// nobody answers to the ones, the others are asked, and from then on first. *by_domain says which.
std::vector<broker_answer> ask_service(const ask_broker& ask, const std::vector<broker_question>& questions,
                                       bool* by_domain);

// What the broker says of the stream in *now, also that there is none. False and a sentence in *problem when
// it says nothing.
bool ask_stream_state(const ask_broker& ask, stream_state* now, std::string* problem);

// What tells a stream from one that was made anew, and from one that has lost all. It is kept beside a place
// in the stream.
struct stream_mark {
    std::string created;
    std::uint64_t first = 0; // sequence of the oldest message then,
    std::string first_time;  // and when the broker got it; empty: there was none
};
stream_mark mark_of(const stream_state& now);

std::string mark_text(const stream_mark& mark);
stream_mark mark_of_text(const std::string& text);

// Nothing has gone since the mark was made but the oldest, as the stream's limits want it. A stream that lost
// its newest messages is noticed when its last sequence is below one that it had.
bool is_same_stream(const stream_mark& before, const stream_state& now);

} // namespace gateway
