#include "answered_asks.h"

#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"
#include "site_limits.h"

#include <algorithm>
#include <utility>

namespace gateway {
namespace {

constexpr std::int64_t token_of_another_site = -1; // no token of the store: it owns no lock

takes_wish wish_of(const take_ask& ask) {
    takes_wish wish;
    wish.within_ms = ask.within_ms;
    wish.all_or_nothing = ask.all_or_nothing;
    wish.until_ms = ask.beat.ms + beat_limit_ms; // what lies before the driver is as old as that
    for (const vrdx::output_take& each : ask.takes) {
        output_wish& output = wish.takes.emplace_back();
        output.output = each.output;
        output.video = each.sources.video;
        output.audio = each.sources.audio;
        for (const vrdx::output_take& expected : ask.expect)
            if (expected.output == each.output)
                output.only_if = expected.sources;
    }
    return wish;
}

// As the driver judges an order; "" when it can be one.
std::string order_problem_of(const take_ask& ask) {
    vrdx::take_order order;
    order.id = "1";
    order.takes = ask.takes;
    order.expect = ask.expect;
    order.within_ms = ask.within_ms;
    return vrdx::order_problem(order);
}

owner_answer owner_answer_of(const output_answer& said) {
    owner_answer answer{said.output, said.result, said.reason, said.sources, {}};
    if (said.lock)
        answer.held = owner_answer::lock{said.lock->state == lock_state::protect, said.lock->owner,
                                         said.lock->reason, said.lock->since};
    return answer;
}

ask_answer refusal(const std::string& reason) {
    return {0, "refused", reason, {}};
}

ask_answer answer_of(const takes_answer& said) {
    ask_answer answer;
    answer.reason = said.problem;
    switch (said.ended) {
    case takes_answer::kind::answered:
        answer.ended = "done";
        for (const output_answer& each : said.outputs)
            answer.outputs.push_back(owner_answer_of(each));
        break;
    case takes_answer::kind::too_many:
        answer.ended = "too many";
        break;
    case takes_answer::kind::not_known:
        answer.ended = "unavailable";
        break;
    case takes_answer::kind::no_router:
    case takes_answer::kind::wrong:
    case takes_answer::kind::not_allowed:
    case takes_answer::kind::failed:
        answer.ended = "refused";
        break;
    }
    return answer;
}

ask_answer answer_of(const take_ending& ending) {
    using kind = decltype(take_ending::kind);
    if (ending.kind == kind::too_many)
        return {0, "too many", ending.reason, {}};
    if (ending.kind == kind::unavailable)
        return {0, "unavailable", ending.reason, {}};
    return {0, ending.answer.error.empty() ? "done" : "unknown", ending.answer.error, {}};
}

} // namespace

answered_asks::answered_asks(message_way& way, router_board& routers, take_desk& desk,
                             history_keeper& history, const site_settings& settings, std::string run)
    : way_(way), routers_(routers), desk_(desk), history_(history), settings_(settings),
      run_(std::move(run)) {}

bool answered_asks::comes_again(const std::string& from, const std::string& reply) {
    remembered& known = remembered_[from];
    if (!known.replies.insert(reply).second)
        return true;
    known.oldest_first.push_back(reply);
    if (known.oldest_first.size() > remembered_asks_limit) {
        known.replies.erase(known.oldest_first.front());
        known.oldest_first.pop_front();
    }
    return false;
}

// Why nothing is done of it: `ended` is "" when it may be.
template<typename ask_type>
ask_answer answered_asks::objection(const std::optional<ask_type>& ask, const router_address& address) {
    const std::string here = "site " + settings_.site;
    if (!ask)
        return refusal(here + " cannot read what was asked");
    if (ask->version != site_message_version)
        return refusal(here + " speaks version " + std::to_string(site_message_version) +
                       " of the messages between sites, not " + std::to_string(ask->version));
    // A broker may hand one message to the run before this one and, later, to this one.
    if (ask->beat.run != run_)
        return {
            0, "unknown", "it was asked of an earlier run of the gateway there, which may have done it", {}};
    const shown_router* shown = routers_.find(address.router);
    if (shown == nullptr || !shown->site.empty())
        return refusal(here + " has no such router");
    const std::string problem = beat_problem(ask->beat, boot_ms());
    return problem.empty() ? ask_answer() : refusal(problem);
}

// Printable, and short enough for the driver's record.
token answered_asks::token_of(const std::string& from, const std::string& by) const {
    token who;
    who.id = token_of_another_site;
    who.name = (from + ':' + by).substr(0, token_name_limit);
    std::replace_if(
        who.name.begin(), who.name.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    const peer_site* const peer = settings_.peer(from);
    who.right = peer == nullptr ? role::none : peer->right;
    return who;
}

void answered_asks::answer(const std::string& reply, ask_answer said) {
    said.version = site_message_version;
    way_.send({reply, {}, ask_answer_text(said), false});
}

void answered_asks::take(const router_address& address, const site_message& asked) {
    if (asked.reply.empty() || comes_again(address.from, asked.reply))
        return;
    const auto ask = read_take_ask(asked.data);
    if (ask_answer no = objection(ask, address); !no.ended.empty())
        return answer(asked.reply, std::move(no));
    if (const std::string problem = order_problem_of(*ask); !problem.empty())
        return answer(asked.reply, refusal(problem));
    const token who = token_of(address.from, ask->by);
    desk_.take(address.router, {who, "site " + address.from, "", through_site}, wish_of(*ask),
               [this, reply = asked.reply](const takes_answer& said) { answer(reply, answer_of(said)); });
}

void answered_asks::rename(const router_address& address, const site_message& asked) {
    if (asked.reply.empty() || comes_again(address.from, asked.reply))
        return;
    const auto ask = read_name_ask(asked.data);
    if (ask_answer no = objection(ask, address); !no.ended.empty())
        return answer(asked.reply, std::move(no));
    history_entry entry = entry_of_name(address, *ask);
    const std::string problem =
        rename_problem(token_of(address.from, "who asks there"), address.router, ask->output, ask->number);
    if (!problem.empty()) {
        entry.result = "refused";
        entry.reason = problem;
        history_.refused(std::move(entry));
        return answer(asked.reply, refusal(problem));
    }
    routers_.rename(address.router, "site " + address.from, ask->output, ask->number, ask->name,
                    [this, reply = asked.reply, entry](const take_ending& ending) {
                        note_name(entry, ending);
                        answer(reply, answer_of(ending));
                    });
}

// The message does not say whose wish it was there.
history_entry answered_asks::entry_of_name(const router_address& address, const name_ask& ask) const {
    history_entry entry;
    entry.kind = entry_kind::name;
    entry.router = address.router;
    entry.by = address.from;
    entry.through = through_site;
    (ask.output ? entry.output : entry.input) = ask.number;
    entry.after = ask.name;
    const vrdx::router_picture& picture = routers_.find(address.router)->picture;
    const auto place = static_cast<std::size_t>(ask.number - 1);
    if (ask.output && place < picture.outputs.size())
        entry.before = picture.outputs[place].name;
    if (!ask.output && place < picture.inputs.size())
        entry.before = picture.inputs[place].name;
    return entry;
}

void answered_asks::note_name(history_entry entry, const take_ending& ending) {
    const bool handed_on = ending.kind == take_ending::kind::answered && ending.answer.error.empty();
    entry.result = handed_on ? "handed on" : "unavailable";
    entry.reason = ending.kind == take_ending::kind::answered ? ending.answer.error : ending.reason;
    if (handed_on)
        history_.note(std::move(entry));
    else
        history_.refused(std::move(entry));
}

} // namespace gateway
