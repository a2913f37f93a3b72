// Takes: checked, sent, answered output by output.
#include "handlers.h"
#include "problem.h"
#include "router_json.h"
#include "take_body.h"
#include "time_text.h"

namespace gateway {

namespace {

unsigned status_of(takes_answer::kind ended) {
    switch (ended) {
    case takes_answer::kind::answered:
        return 200;
    case takes_answer::kind::no_router:
        return 404;
    case takes_answer::kind::wrong:
        return 422;
    case takes_answer::kind::not_allowed:
        return 403;
    case takes_answer::kind::too_many:
        return 429;
    case takes_answer::kind::not_known:
    case takes_answer::kind::failed:
        return 503;
    }
    return 500;
}

reply reply_of(const takes_answer& answered) {
    if (answered.ended == takes_answer::kind::too_many)
        return too_much_reply(answered.problem, 1);
    if (answered.ended != takes_answer::kind::answered)
        return problem_reply(status_of(answered.ended), answered.problem);
    json results = json::array();
    for (const output_answer& output : answered.outputs)
        results.push_back(result_json(output, answered.split_levels));
    return json_reply(200, {{"results", results}});
}

void do_takes(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    std::string problem;
    const auto wish = read_takes(incoming->body, &problem);
    if (!wish)
        return answer(problem_reply(422, problem));
    world.takes.take(incoming->parts[0], asker_of(world, *incoming), *wish,
                     [answer](const takes_answer& answered) { answer(reply_of(answered)); });
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
