#include "take_desk.h"

#include "gateway/access/rights.h"
#include "gateway/audit/history_keeper.h"

namespace gateway {

// A request's takes: answers of those that are not sent, and places for those that are.
struct take_work {
    std::vector<planned_take> plan;
    takes_answer answer;
    std::vector<std::size_t> sent; // places in both, of what goes to the driver
};

namespace {

takes_answer refused(takes_answer::kind kind, std::string problem) {
    takes_answer answer;
    answer.ended = kind;
    answer.problem = std::move(problem);
    return answer;
}

void set_result(output_answer* output, const char* result, std::string reason) {
    output->result = result;
    output->reason = std::move(reason);
}

// Beyond the token's rights: a sentence. Nothing is done then.
std::string rights_problem(const token& who, std::string_view router, const std::vector<planned_take>& plan) {
    for (const planned_take& each : plan) {
        std::string problem = take_problem(who, router, each.take.output, each.named_sources);
        if (!problem.empty())
            return problem;
    }
    return "";
}

// Null when the asker may take there now.
const output_lock* lock_against(const lock_table& locks, std::string_view router, int output,
                                const token& who) {
    const output_lock* lock = locks.of(router, output);
    return lock == nullptr || lock_lets_take(*lock, who) ? nullptr : lock;
}

void set_locked(output_answer* answer, const output_lock& lock) {
    set_result(answer, "locked", lock_text(lock));
    answer->lock = lock;
}

// What cannot be sent gets its answer here.
void judge(take_work* work, const lock_table& locks, std::string_view router, const token& who) {
    for (std::size_t at = 0; at < work->plan.size(); at++) {
        const planned_take& each = work->plan[at];
        output_answer& answer = work->answer.outputs.emplace_back();
        answer.output = each.take.output;
        if (const output_lock* lock = lock_against(locks, router, each.take.output, who))
            set_locked(&answer, *lock);
        else if (!each.reason.empty())
            set_result(&answer, each.result, each.reason);
        else
            work->sent.push_back(at);
    }
}

void send_nothing(take_work* work) {
    std::string first;
    for (std::size_t at = 0; at < work->plan.size() && first.empty(); at++)
        if (!work->answer.outputs[at].result.empty())
            first = std::to_string(work->plan[at].take.output);
    for (const std::size_t at : work->sent)
        set_result(&work->answer.outputs[at], "withdrawn",
                   "all or nothing, and output " + first + " cannot be taken");
    work->sent.clear();
}

vrdx::take_order order_of(const take_work& work, unsigned within_ms, const std::string& by) {
    vrdx::take_order order;
    order.within_ms = within_ms;
    order.by = by;
    for (const std::size_t at : work.sent) {
        const planned_take& planned = work.plan[at];
        order.takes.push_back(planned.take);
        if (planned.expects) // else somebody's newer take of the other level would be undone
            order.expect.push_back({planned.take.output, planned.shown});
    }
    return order;
}

// Right before they are sent: outputs that were locked since they were asked for get their answer here. The
// places in *work of all that are not sent after all.
std::vector<std::size_t> judge_again(take_work* work, const lock_table& locks, std::string_view router,
                                     const token& who, bool all_or_nothing) {
    std::vector<std::size_t> withheld;
    std::erase_if(work->sent, [&](std::size_t at) {
        output_answer& answer = work->answer.outputs[at];
        const output_lock* lock = lock_against(locks, router, answer.output, who);
        if (lock == nullptr)
            return false;
        set_locked(&answer, *lock);
        withheld.push_back(at);
        return true;
    });
    if (all_or_nothing && !withheld.empty()) {
        withheld.insert(withheld.end(), work->sent.begin(), work->sent.end());
        send_nothing(work);
    }
    return withheld;
}

// Another site's word on one output.
output_answer far_answer_of(const owner_answer& said) {
    output_answer answer;
    answer.output = said.output;
    answer.result = said.result;
    answer.reason = said.reason;
    answer.sources = said.sources;
    if (said.held) {
        const auto state = said.held->protects ? lock_state::protect : lock_state::lock;
        answer.lock = output_lock{state, 0, said.held->owner, said.held->reason, said.held->since};
    }
    return answer;
}

// The board's word on what was sent, put in its places.
takes_answer ended(take_work work, const take_ending& ending) {
    if (ending.kind == take_ending::kind::too_many)
        return refused(takes_answer::kind::too_many, ending.reason);
    if (!ending.answer.error.empty())
        return refused(takes_answer::kind::failed, "The driver did nothing of it: " + ending.answer.error);
    const auto& results = ending.answer.results;
    for (std::size_t next = 0; next < work.sent.size(); next++) {
        output_answer* output = &work.answer.outputs[work.sent[next]];
        if (ending.kind == take_ending::kind::unavailable)
            set_result(output, "unavailable", ending.reason);
        else if (next < ending.owner_answers.size())
            *output = far_answer_of(ending.owner_answers[next]);
        else if (next < results.size())
            *output = answer_of(output->output, results[next].result);
        else
            set_result(output, "unknown", "the driver did not tell");
    }
    return std::move(work.answer);
}

// --- the history: what is in no driver's record ---

// Of whom, and what.
struct asked_takes {
    history_keeper& history;
    std::string router, by, address;
    const char* through;
};

history_entry entry_of(const asked_takes& asked, const std::string& result, const std::string& reason) {
    history_entry entry;
    entry.kind = entry_kind::take;
    entry.router = asked.router;
    entry.by = asked.by;
    entry.through = asked.through;
    entry.address = asked.address;
    entry.result = result;
    entry.reason = reason;
    return entry;
}

void note_refusal(const asked_takes& asked, const std::string& problem) {
    asked.history.refused(entry_of(asked, "refused", problem));
}

history_entry entry_of_take(const asked_takes& asked, const vrdx::output_take& take,
                            const std::string& result, const std::string& reason) {
    history_entry entry = entry_of(asked, result, reason);
    const bool split = take.sources.video != take.sources.audio;
    entry.output = take.output;
    entry.level = split ? "video,audio" : "all";
    entry.after = source_text(split, take.sources.video, take.sources.audio);
    return entry;
}

void note_take(const asked_takes& asked, const vrdx::output_take& take, const std::string& result,
               const std::string& reason) {
    asked.history.refused(entry_of_take(asked, take, result, reason));
}

void note_answered(const asked_takes& asked, const take_work& work) {
    for (std::size_t at = 0; at < work.plan.size(); at++) {
        const output_answer& answer = work.answer.outputs[at];
        if (!answer.result.empty())
            note_take(asked, work.plan[at].take, answer.result, answer.reason);
    }
}

void note_ending(const asked_takes& asked, std::uint64_t number, const take_work& work,
                 const take_ending& ending) {
    take_callers& callers = asked.history.callers();
    const bool answered = ending.kind == take_ending::kind::answered;
    if (!ending.owner_answers.empty()) { // by another site, which has the driver's record
        for (std::size_t at = 0; at < work.sent.size() && at < ending.owner_answers.size(); at++) {
            const owner_answer& said = ending.owner_answers[at];
            asked.history.note(entry_of_take(asked, work.plan[work.sent[at]].take, said.result, said.reason));
        }
        return;
    }
    if (answered && ending.answer.error.empty()) {
        std::vector<vrdx::take_result> results;
        for (const vrdx::output_result& each : ending.answer.results)
            results.push_back(each.result);
        return callers.end(number, results, microseconds_since_1970());
    }
    callers.forget(number);
    for (const std::size_t at : work.sent)
        note_take(asked, work.plan[at].take, "unavailable", answered ? ending.answer.error : ending.reason);
}

} // namespace

output_answer answer_of(int output, const vrdx::take_result& said) {
    output_answer answer;
    answer.output = output;
    answer.result = said.word == vrdx::take_word::other ? "other" : vrdx::take_word_text(said.word);
    if (said.word == vrdx::take_word::shows)
        answer.sources = said.sources;
    else
        answer.reason = said.text;
    return answer;
}

take_work take_desk::prepare(const std::string& router, const token& who, const takes_wish& wish) const {
    using kind = takes_answer::kind;
    const shown_router* shown = routers_.find(router);
    if (shown == nullptr)
        return {{}, refused(kind::no_router, "There is no router of this name."), {}};
    if (!is_picture_true(shown->state) && needs_picture(wish))
        return {
            {},
            refused(kind::not_known,
                    "What the router shows and its names are not known now; take all levels by number, or "
                    "try again in a moment."),
            {}};
    std::string problem;
    auto plan = plan_takes(wish, shown->picture, &problem);
    if (!plan)
        return {{}, refused(kind::wrong, problem), {}};
    problem = rights_problem(who, router, *plan);
    if (!problem.empty())
        return {{}, refused(kind::not_allowed, problem), {}};

    if (wish.all_or_nothing && is_picture_true(shown->state))
        refuse_what_is_not_there(&*plan, shown->picture);
    take_work work;
    work.plan = std::move(*plan);
    work.answer.ended = kind::answered;
    work.answer.split_levels = shown->picture.split_levels;
    judge(&work, locks_, router, who);
    if (wish.all_or_nothing && work.sent.size() < work.plan.size())
        send_nothing(&work);
    return work;
}

take_look take_desk::look(const std::string& router, const token& who, const takes_wish& wish) const {
    take_work work = prepare(router, who, wish);
    return {std::move(work.answer), std::move(work.plan)};
}

void take_desk::note_unsent(const std::string& router, const take_asker& asker,
                            std::span<const vrdx::output_take> takes,
                            std::span<const output_answer> answers) {
    const asked_takes asked{history_, router, asker.who.name, asker.address, asker.through};
    for (std::size_t at = 0; at < takes.size(); at++)
        note_take(asked, takes[at], answers[at].result, answers[at].reason);
}

void take_desk::take(const std::string& router, const take_asker& asker, const takes_wish& wish,
                     const takes_done& done) {
    take_work work = prepare(router, asker.who, wish);
    const asked_takes asked{history_, router, asker.who.name, asker.address, asker.through};
    if (work.answer.ended == takes_answer::kind::not_allowed)
        note_refusal(asked, work.answer.problem);
    note_answered(asked, work);
    if (work.sent.empty())
        return done(work.answer);
    vrdx::take_order order = order_of(work, wish.within_ms, asker.who.name);
    order.until_ms = wish.until_ms;
    const auto shared = std::make_shared<take_work>(std::move(work)); // of whatever is still to happen
    begin_(router, order.takes);
    const shown_router* const shown = routers_.find(router);
    const bool has_record = shown != nullptr && shown->site.empty(); // else it is kept where its driver is
    const std::uint64_t number =
        has_record ? history_.callers().begin(router, order.by, {asker.address, asker.through}, order.takes)
                   : 0;
    routers_.take(
        router, asker.lane, std::move(order),
        [done, asked, number, shared](const take_ending& ending) {
            note_ending(asked, number, *shared, ending);
            done(ended(std::move(*shared), ending));
        },
        wish.all_or_nothing,
        [this, asked, number, shared, who = asker.who, all = wish.all_or_nothing](vrdx::take_order* unsent) {
            const auto withheld = judge_again(shared.get(), locks_, asked.router, who, all);
            for (const std::size_t at : withheld) {
                const output_answer& answer = shared->answer.outputs[at];
                history_.callers().withhold(number, answer.output);
                note_take(asked, shared->plan[at].take, answer.result, answer.reason);
            }
            if (withheld.empty())
                return;
            vrdx::take_order rest = order_of(*shared, unsent->within_ms, unsent->by);
            rest.id = unsent->id;
            rest.until_ms = unsent->until_ms;
            *unsent = std::move(rest);
        });
}

} // namespace gateway
