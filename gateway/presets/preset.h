// A preset: takes on any routers, kept under a name.
#pragma once

#include "gateway/access/token.h"
#include "gateway/takes/take_wish.h"

#include <cstdint>
#include <set>

namespace gateway {

struct preset_take {
    std::string router;
    output_wish wish;
};

// What a list says of it.
struct preset_row {
    std::string name;              // 1 to preset_name_limit bytes of UTF-8 without control characters and '/'
    std::string author;            // name of the token that wrote it last
    std::int64_t changed = 0;      // seconds since 1970, UTC
    std::set<std::string> routers; // of its takes
    std::size_t takes = 0;
    std::size_t bytes = 0; // of all its texts
};

struct preset {
    preset_row row;
    std::vector<preset_take> takes; // each output of a router once
};

// Why no preset can have that name, as a sentence that says what is possible; "" when one can.
std::string preset_name_problem(std::string_view name);

// A preset is there for who may see all its routers; for others there is none of its name.
bool may_see(const token& who, const preset_row& row);

// A source as it is kept: "7", ":Name", "" for none named. And back; nothing for what is no such text.
std::string kept_source(const std::optional<source_wish>& source);
std::optional<source_wish> source_of_kept(std::string_view text);

} // namespace gateway
