#include "gateway/fronts/videohub/hub_orders.h"

#include "gateway/access/rights.h"
#include "gateway/fronts/videohub/hub_history.h"
#include "gateway/http/utf8.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>

namespace gateway {
namespace {

bool is_of_other_site(const hub_world& world, const std::string& router) {
    const shown_router* const shown = world.routers.find(router);
    return shown != nullptr && !shown->site.empty();
}

// Those that the driver's record has nothing of: surely not sent, or lost on the way. At another site, whose
// locks and rights are looked at there, all that is not confirmed.
std::vector<int> without_record(const takes_answer& answer, const std::vector<int>& outputs, bool far) {
    if (answer.ended != takes_answer::kind::answered)
        return outputs;
    std::vector<int> lost;
    for (std::size_t at = 0; at < outputs.size(); ++at) {
        const std::string& result = answer.outputs.at(at).result;
        if (far ? result != "confirmed" : result == "unknown" || result == "unavailable")
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

// As far as it is allowed.
bool would_change(lock_order order, const output_lock* held, const token& who) {
    if (order != lock_order::protect)
        return held != nullptr;
    return held == nullptr || held->owner_id != who.id || held->state != lock_state::protect ||
           !held->reason.empty();
}

std::uint64_t now_ms() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

} // namespace

bool take_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const hub_asker& asker,
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
    world.takes.take(router, {asker.who, asker.lane, asker.address, through_videohub}, wish,
                     [outputs, far = is_of_other_site(world, router), ended = std::move(ended),
                      now](const takes_answer& answer) {
                         now->answered = true;
                         if (now->returned)
                             ended(without_record(answer, outputs, far));
                     });
    now->returned = true;
    return !now->answered;
}

bool name_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const hub_asker& asker,
                   bool outputs, const std::map<int, std::string>& labels, names_sent sent) {
    if (labels.size() > 1 && is_of_other_site(world, router)) {
        note_refusal(world.history, router, asker, entry_kind::name,
                     "names of another site's router are set one at a time");
        return false;
    }
    std::vector<new_name> names;
    std::vector<std::string> before;
    for (const auto& [number, label] : labels) {
        const int of_router = outputs ? hub.router_output(number) : hub.router_input(number);
        if (of_router == vrdx::source_none || !is_name(label))
            return false;
        if (const std::string problem = rename_problem(asker.who, router, outputs, of_router);
            !problem.empty()) {
            note_refusal(world.history, router, asker, entry_kind::name, problem);
            return false;
        }
        names.push_back({outputs, of_router, label});
        before.push_back(outputs ? hub.output_label(number) : hub.input_label(number));
    }
    world.routers.rename_all(
        router, asker.lane, names,
        [&world, router, asker, names, before, sent = std::move(sent)](const take_ending& ending) {
            const std::string& problem =
                ending.kind == take_ending::kind::answered ? ending.answer.error : ending.reason;
            for (std::size_t at = 0; at < names.size(); ++at)
                note_name(world.history, router, asker, names[at], before[at], problem);
            sent(!problem.empty());
        });
    return true;
}

bool lock_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const hub_asker& asker,
                   const std::map<int, videohub_lock_wish>& locks) {
    if (is_of_other_site(world, router)) {
        note_refusal(world.history, router, asker, entry_kind::lock,
                     "locks of this router are set at its own site");
        return false;
    }
    std::vector<lock_wish> wishes;
    std::vector<std::string> before;
    bool changes = false;
    for (const auto& [output, wish] : locks) {
        const int number = hub.router_output(output);
        const output_lock* const held = world.locks.of(router, number);
        wishes.push_back({number, order_of(wish, held, asker.who)});
        before.push_back(lock_words(held));
        changes = changes || would_change(wishes.back().order, held, asker.who);
    }
    // Each change is awaited by everybody until it is on the disk.
    if (changes && world.writes.ask(asker.who.id, now_ms()) != 0)
        return false;
    const lock_answer answer = world.locks.set_all(router, wishes, asker.who, "", std::time(nullptr));
    if (!answer.problem.empty() && answer.result != lock_answer::kind::busy)
        note_refusal(world.history, router, asker, entry_kind::lock, answer.problem);
    for (std::size_t at = 0; at < wishes.size(); ++at) {
        const int number = wishes[at].output;
        const std::string after = lock_words(world.locks.of(router, number));
        if (after != before[at])
            note_lock(world.history, router, asker, number, before[at], after);
    }
    return answer.problem.empty();
}

} // namespace gateway
