// What somebody wants to be taken, and what that means on the router as it is shown.
#pragma once

#include "packet_client.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace gateway {

using source_wish = std::variant<int, std::string>; // a number from 1, 0 for none, or an input's name

struct output_wish {
    int output = 0;                          // from 1
    std::optional<source_wish> video, audio; // at least one
    // The take is done only if the output shows these, confirmed.
    std::optional<vrdx::level_sources> only_if = std::nullopt;
};

struct takes_wish {
    std::vector<output_wish> takes; // each output once
    unsigned within_ms = 0;         // 0: the driver's usual
    bool all_or_nothing = false;
    // A moment of boot_ms(): a driver that reads them later does nothing of them, however long they are
    // answered. 0: as long as somebody waits for the answer.
    std::uint64_t until_ms = 0;
};

// True when names or levels that are not named have to be looked up.
bool needs_picture(const takes_wish& wish);

// One of them with its sources as numbers.
struct planned_take {
    vrdx::output_take take;
    std::vector<int> named_sources; // of the levels that were named; what a level keeps is not among them
    bool keeps_level = false;       // only one level was named: the other one stays as `shown` has it
    bool expects = false;           // it is done only if the output still shows `shown`
    vrdx::level_sources shown;
    std::string reason;                 // why it cannot be sent, "" when it can
    const char* result = "unavailable"; // what is answered then
};

// In the order of the wish. Nothing and a sentence in *problem when a name is no input's, or that of several.
std::optional<std::vector<planned_take>>
plan_takes(const takes_wish& wish, const vrdx::router_picture& picture, std::string* problem);

// What the router has not is refused here, in the driver's words: before the others of all or nothing are
// sent.
void refuse_what_is_not_there(std::vector<planned_take>* plan, const vrdx::router_picture& picture);

} // namespace gateway
