// Takes: checked, sent, answered output by output.
#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "problem.h"
#include "take_wish.h"
#include "time_text.h"

namespace gateway {

namespace {

json not_sent_json(int output, const char* result, const std::string& reason) {
    return {{"output", output}, {"result", result}, {"reason", reason}};
}

// A request's takes: results of those that are not sent, and places for those that are.
struct take_work {
    std::vector<planned_take> plan;
    json results = json::array(); // null for a take that is sent
    std::size_t sent = 0;
    bool split_levels = false;
};

// Beyond the token's rights: a sentence. Nothing is done then.
std::string rights_problem(const token& who, const std::string& router,
                           const std::vector<planned_take>& plan) {
    for (const planned_take& each : plan) {
        const int sources[] = {each.take.sources.video, each.take.sources.audio};
        std::string problem = take_problem(who, router, each.take.output, sources);
        if (!problem.empty())
            return problem;
    }
    return "";
}

// What cannot be sent gets its result here.
void judge(take_work* work, const lock_table& locks, const std::string& router, const token& who) {
    for (const planned_take& each : work->plan) {
        const output_lock* lock = locks.of(router, each.take.output);
        json result;
        if (lock != nullptr && !lock_lets_take(*lock, who)) {
            result = not_sent_json(each.take.output, "locked", lock_text(*lock));
            result["lock"] = lock_json(lock);
        } else if (!each.reason.empty())
            result = not_sent_json(each.take.output, each.result, each.reason);
        else
            work->sent++;
        work->results.push_back(std::move(result));
    }
}

void send_nothing(take_work* work) {
    std::string first;
    for (std::size_t at = 0; at < work->plan.size() && first.empty(); at++)
        if (!work->results[at].is_null())
            first = std::to_string(work->plan[at].take.output);
    for (std::size_t at = 0; at < work->plan.size(); at++)
        if (work->results[at].is_null())
            work->results[at] = not_sent_json(work->plan[at].take.output, "withdrawn",
                                              "all or nothing, and output " + first + " cannot be taken");
    work->sent = 0;
}

vrdx::take_order order_of(const take_work& work, const takes_wish& wish, const token& who) {
    vrdx::take_order order;
    order.within_ms = wish.within_ms;
    order.by = who.name;
    for (std::size_t at = 0; at < work.plan.size(); at++) {
        if (!work.results[at].is_null())
            continue;
        const planned_take& planned = work.plan[at];
        order.takes.push_back(planned.take);
        if (planned.keeps_level) // else somebody's newer take of the other level would be undone
            order.expect.push_back({planned.take.output, planned.shown});
    }
    return order;
}

reply results_reply(const take_work& work) {
    return json_reply(200, {{"results", work.results}});
}

// The board's word on what was sent, put in its places.
reply ended_reply(take_work work, const take_ending& ending) {
    if (ending.kind == take_ending::kind::too_many)
        return too_much_reply(ending.reason, 1);
    if (!ending.answer.error.empty())
        return problem_reply(503, "The driver did nothing of it: " + ending.answer.error);
    std::size_t next = 0;
    for (std::size_t at = 0; at < work.plan.size(); at++) {
        if (!work.results[at].is_null())
            continue;
        const int output = work.plan[at].take.output;
        if (ending.kind == take_ending::kind::unavailable)
            work.results[at] = not_sent_json(output, "unavailable", ending.reason);
        else if (next < ending.answer.results.size())
            work.results[at] = result_json(output, work.split_levels, ending.answer.results[next].result);
        else
            work.results[at] = not_sent_json(output, "unknown", "the driver did not tell");
        next++;
    }
    return results_reply(work);
}

void do_takes(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    const shown_router* router = incoming->router(world);
    if (router == nullptr)
        return answer(problem_reply(
            404, "There is no router of this name; GET /api/v1/routers lists those there are."));
    std::string problem;
    const auto wish = read_takes(incoming->body, &problem);
    if (!wish)
        return answer(problem_reply(422, problem));
    if (!is_picture_true(router->state) && needs_picture(*wish))
        return answer(problem_reply(
            503, "What the router shows and its names are not known now; take all levels by number, or "
                 "try again in a moment."));
    auto plan = plan_takes(*wish, router->picture, &problem);
    if (!plan)
        return answer(problem_reply(422, problem));
    problem = rights_problem(*incoming->who, router->name, *plan);
    if (!problem.empty())
        return answer(problem_reply(403, problem));

    if (wish->all_or_nothing && is_picture_true(router->state))
        refuse_what_is_not_there(&*plan, router->picture);
    take_work work{std::move(*plan), json::array(), 0, router->picture.split_levels};
    judge(&work, world.locks, router->name, *incoming->who);
    if (wish->all_or_nothing && work.sent < work.plan.size())
        send_nothing(&work);
    if (work.sent == 0)
        return answer(results_reply(work));
    vrdx::take_order order = order_of(work, *wish, *incoming->who);
    world.events.takes_begin(router->name, order.takes);
    world.routers.take(
        router->name, lane_of(*incoming->who), std::move(order),
        [answer, work = std::move(work)](const take_ending& ending) { answer(ended_reply(work, ending)); });
}

// --- once for each key ---

reply reply_of(const kept_answer& kept) {
    reply answer;
    answer.status = kept.status;
    answer.content_type = kept.content_type;
    answer.body = kept.body;
    answer.headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}};
    return answer;
}

// True when something may have been done: the key is then used up.
bool may_be_done(const reply& answer) {
    return answer.status == 200;
}

void do_takes_once(api_world& world, const incoming_call& incoming, const std::string& key,
                   const answer_function& answer) {
    const std::int64_t who = incoming->who->id;
    const auto finish = [&world, who, key](const reply& said) {
        world.keys.finish(who, key, {said.status, said.content_type, said.body}, may_be_done(said),
                          steady_ms());
    };
    try {
        do_takes(world, incoming, [finish, answer](const reply& said) {
            finish(said);
            answer(said);
        });
    } catch (...) {
        finish(problem_reply(500, "The gateway failed at this request.")); // nobody waits for it for ever
        throw;
    }
}

} // namespace

void take_outputs(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    const auto key = incoming->asked.header("idempotency-key");
    if (!key)
        return do_takes(world, incoming, answer);
    kept_answer kept;
    const std::string hash = request_hash(incoming->asked.method, incoming->asked.path, incoming->body_text);
    switch (world.keys.begin(incoming->who->id, *key, hash, steady_ms(), &kept,
                             [answer](const kept_answer& said) { answer(reply_of(said)); })) {
    case key_state::first:
        return do_takes_once(world, incoming, std::string(*key), answer);
    case key_state::answered:
        return answer(reply_of(kept));
    case key_state::running:
        return; // answered with the first one
    case key_state::other_body:
        return answer(
            problem_reply(422, "This Idempotency-Key was used with another request; use a new one."));
    case key_state::full:
        return answer(
            too_much_reply("Too many Idempotency-Keys are kept; try again in a minute, or without one.",
                           idempotency_time_ms / 1000));
    case key_state::wrong_key:
        return answer(problem_reply(400, "An Idempotency-Key has 1 to 128 printable ASCII characters."));
    }
}

} // namespace gateway
