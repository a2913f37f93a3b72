#include "gateway/fronts/videohub/hub_orders.h"

#include "gateway/access/rights.h"
#include "gateway/access/secret.h"
#include "gateway/http/utf8.h"

#include <algorithm>
#include <ctime>
#include <memory>

namespace gateway {
namespace {

constexpr std::string_view name_begin = "videohub "; // an address follows

// Below zero, where no token's number is, and the same after each start.
std::int64_t owner_id_of(const std::string& address) {
    const std::string hash = hash_of("videohub client " + address);
    std::uint64_t number = 0;
    for (std::size_t at = 0; at < sizeof number; ++at)
        number = number << 8U | static_cast<unsigned char>(hash.at(at));
    return -static_cast<std::int64_t>(number >> 2U) - 1;
}

// Each address has connections of its own to the drivers.
std::string lane_of(const token& who) {
    return std::to_string(who.id);
}

take_asker asker_of(const token& who) {
    return {who, lane_of(who), who.name.substr(name_begin.size()), through_videohub};
}

// Those that the driver's record has nothing of: surely not sent, or lost on the way.
std::vector<int> without_record(const takes_answer& answer, const std::vector<int>& outputs) {
    if (answer.ended != takes_answer::kind::answered)
        return outputs;
    std::vector<int> lost;
    for (std::size_t at = 0; at < outputs.size(); ++at) {
        const std::string& result = answer.outputs.at(at).result;
        if (result == "unknown" || result == "unavailable")
            lost.push_back(outputs[at]);
    }
    return lost;
}

bool is_name(const std::string& text) {
    return text.size() <= vrdx::picture_name_limit && is_utf8(text) &&
           std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; });
}

lock_order order_of(videohub_lock_wish wish, const output_lock* held, const token& who) {
    if (wish == videohub_lock_wish::lock)
        return lock_order::protect;
    const bool is_anothers = held != nullptr && held->owner_id != who.id;
    return wish == videohub_lock_wish::force_unlock && is_anothers ? lock_order::force : lock_order::unlock;
}

} // namespace

token client_of(const videohub_settings& server, const std::string& address) {
    token who;
    who.id = owner_id_of(address);
    who.name = std::string(name_begin) + address;
    who.right = server.right;
    who.routers = {server.router};
    who.outputs = server.outputs;
    who.inputs = server.inputs;
    return who;
}

bool take_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const token& who,
                   const std::map<int, int>& takes, takes_ended ended) {
    takes_wish wish;
    wish.all_or_nothing = true;
    std::vector<int> outputs;
    for (const auto& [output, input] : takes) {
        const int source = hub.router_input(input);
        outputs.push_back(output);
        output_wish& wanted = wish.takes.emplace_back();
        wanted.output = hub.router_output(output);
        wanted.video.emplace(source);
        wanted.audio.emplace(source);
    }
    // What is answered before the desk returns was not sent.
    struct progress {
        bool returned = false, answered = false;
    };
    const auto now = std::make_shared<progress>();
    world.takes.take(router, asker_of(who), wish,
                     [outputs, ended = std::move(ended), now](const takes_answer& answer) {
                         now->answered = true;
                         if (now->returned)
                             ended(without_record(answer, outputs));
                     });
    now->returned = true;
    return !now->answered;
}

bool name_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const token& who,
                   bool outputs, const std::map<int, std::string>& labels, names_sent sent) {
    std::vector<new_name> names;
    for (const auto& [number, label] : labels) {
        const int of_router = outputs ? hub.router_output(number) : hub.router_input(number);
        if (of_router == vrdx::source_none || !is_name(label) ||
            !rename_problem(who, router, outputs, of_router).empty())
            return false;
        names.push_back({outputs, of_router, label});
    }
    world.routers.rename_all(
        router, lane_of(who), names, [sent = std::move(sent)](const take_ending& ending) {
            sent(ending.kind != take_ending::kind::answered || !ending.answer.error.empty());
        });
    return true;
}

bool lock_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const token& who,
                   const std::map<int, videohub_lock_wish>& locks) {
    std::vector<lock_wish> wishes;
    for (const auto& [output, wish] : locks) {
        const int number = hub.router_output(output);
        wishes.push_back({number, order_of(wish, world.locks.of(router, number), who)});
    }
    return world.locks.set_all(router, wishes, who, "", std::time(nullptr)).problem.empty();
}

} // namespace gateway
