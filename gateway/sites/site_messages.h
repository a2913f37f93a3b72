// What sites say to each other, and how it is written: JSON. docs/federation.md has the members.
//
// Reading gives nothing for what is no such message. A message of another version has only `version`; unknown
// members are skipped.
#pragma once

#include "beats.h"
#include "gateway/access/lock_table.h"
#include "gateway/routers/router_state.h"
#include "gateway/routers/take_ending.h"
#include "packet_client.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

using output_locks = std::map<int, output_lock>; // of one router, by output from 1

// --- a site that is there ---

struct router_row {
    std::string router; // its name at its site
    router_state state = router_state::no_driver;
    std::uint64_t at = 0; // number of the newest change that was told
};

struct alive_message {
    int version = 0;
    site_beat beat;
    std::vector<router_row> routers; // at most routers_per_site_limit
};

std::string alive_text(const alive_message& alive);
std::optional<alive_message> read_alive(const std::string& text);

// --- a router's picture, and what changes of it ---

// The router as far as a message tells of it: all but inputs and outputs always, of those the ones listed.
struct told_router {
    state_and_reason state;
    vrdx::router_picture head; // without inputs and outputs
    std::size_t input_count = 0, output_count = 0;
    std::vector<std::pair<int, vrdx::picture_input>> inputs; // numbers within the counts
    std::vector<std::pair<int, vrdx::picture_output>> outputs;
    output_locks locks; // of the outputs listed; those that are missing here are free
};

struct change_message {
    int version = 0;
    std::string run;
    std::uint64_t from = 0, to = 0; // it leads from one number to the other
    bool anew = false;              // it does not tell all: the picture has to be read
    told_router router;
    std::vector<vrdx::take_record> takes;
    std::uint64_t takes_lost = 0;
};

struct page_message {
    int version = 0;
    std::string run;
    std::uint64_t at = 0;            // the number that the page is of
    std::optional<std::size_t> next; // where the next page begins; nothing after the last one
    told_router router;
};

// What a message says of this router: its head, and the places listed. `locks` may be null.
struct router_excerpt {
    const state_and_reason& state;
    const vrdx::router_picture& picture;
    const output_locks* locks;
};

// "" when it would be larger than change_bytes_limit: then it has to be said that the picture begins anew.
std::string change_text(const change_message& change, const router_excerpt& router,
                        const vrdx::picture_news& places);
std::optional<change_message> read_change(const std::string& text);

// The page that begins at `begin`: 0 is the first input, inputs come before outputs.
std::string page_text(const std::string& run, std::uint64_t at, const router_excerpt& router,
                      std::size_t begin);
std::optional<page_message> read_page(const std::string& text);

std::string page_request_text(std::size_t begin);
std::optional<std::size_t> read_page_request(const std::string& text);

// --- takes and names ---

struct take_ask {
    int version = 0;
    site_beat beat;
    std::string by; // the name of who asks there
    unsigned within_ms = 0;
    bool all_or_nothing = false;
    std::vector<vrdx::output_take> takes, expect; // as in vrdx::take_order
};
std::string take_ask_text(const take_ask& ask);
std::optional<take_ask> read_take_ask(const std::string& text);

struct name_ask {
    int version = 0;
    site_beat beat;
    bool output = false;
    int number = 0;
    std::string name;
};
std::string name_ask_text(const name_ask& ask);
std::optional<name_ask> read_name_ask(const std::string& text);

struct ask_answer {
    int version = 0;
    // "done": what became of each output is in `outputs`, or the name was handed on. "refused", "too many",
    // "unavailable": nothing was done, `reason` says why. "unknown": perhaps it was done.
    std::string ended;
    std::string reason;
    std::vector<owner_answer> outputs;
};
std::string ask_answer_text(const ask_answer& answer);
std::optional<ask_answer> read_ask_answer(const std::string& text);

} // namespace gateway
