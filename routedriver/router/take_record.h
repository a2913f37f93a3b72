// The takes that were decided, and how many there were of each kind.
#pragma once

#include "picture.h"

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

constexpr std::size_t takes_in_record = 1000;

enum class take_result {
    confirmed, // the router's own report shows it
    shows,     // at the deadline the router's report showed something else
    refused,   // not done, and will not be
    replaced,  // a later take on the same output came before
    withdrawn, // never sent, and will not be
    unknown    // sent, and nobody knows whether it was done
};

std::string_view take_result_word(take_result result);

// Sources as clients are told them with a take: a source may be unknown.
struct told_sources {
    route_sources sources{};
    bool audio_known = true;
    bool video_known = true;
};
told_sources told_sources_of(const router_output& output);
// "3,0": 1-based, 0 for no source, "unknown" where nobody knows.
std::string told_text(const told_sources& told);
// "1000 4711 desk 3": user, process, and the name given with the take, if any.
std::string told_text(requester whose, std::string_view by);

struct decided_take {
    std::uint64_t record = 0;  // its number in the record, from 1
    std::uint64_t wall_ms = 0; // when it was decided, milliseconds since 1970
    std::uint64_t took_ms = 0; // from the request to the decision
    bool accountable = false;  // asked for by "take", not by "route"
    requester whose{};
    std::string by;
    std::int32_t output = -1; // 0-based
    bool breakaway = false;   // its levels were switched separately
    told_sources from{};
    route_sources to{};
    take_result result = take_result::unknown;
    std::string detail;       // what is told after the word of the result; may be empty
    std::uint64_t answer = 0; // the answer it belongs to, and its place there; 0: nobody waits for one
    std::size_t answer_index = 0;
};

extern const std::deque<decided_take>& take_record; // oldest first, takes_in_record at most
extern const std::uint64_t& last_take_record;       // number of the newest; 0: none

// Fills in number and time, adds it to the record, counts it, and calls the listener.
void record_take(decided_take take);

// Calls `hear` for every take from now on. It may read the picture, and must not ask for takes.
void watch_takes(void (*hear)(const decided_take& take));

// --- counters ----------------------------------------------------------------------------------------------

enum class counted { asked, confirmed, refused, rolled_back, unknown, backend_starts };
constexpr std::size_t counted_kinds = 6;

void count_event(counted what);
std::uint64_t counted_since_start(counted what);
std::uint64_t counted_in_last_hour(counted what); // to the minute
