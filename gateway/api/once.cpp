// Requests that take, with an Idempotency-Key: done once, and answered as often as they are asked.
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "problem.h"
#include "time_text.h"

namespace gateway {

namespace {

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

void do_once(api_world& world, const incoming_call& incoming, const std::string& key,
             const answer_function& answer, handler act) {
    const std::int64_t who = incoming->who->id;
    const auto finish = [&world, who, key](const reply& said) {
        world.keys.finish(who, key, {said.status, said.content_type, said.body}, may_be_done(said),
                          steady_ms());
    };
    try {
        act(world, incoming, [finish, answer](const reply& said) {
            finish(said);
            answer(said);
        });
    } catch (...) {
        finish(problem_reply(500, "The gateway failed at this request.")); // nobody waits for it for ever
        throw;
    }
}

} // namespace

void answer_once(api_world& world, const incoming_call& incoming, const answer_function& answer,
                 handler act) {
    const auto key = incoming->asked.header("idempotency-key");
    if (!key)
        return act(world, incoming, answer);
    kept_answer kept;
    const std::string hash = request_hash(incoming->asked.method, incoming->asked.path, incoming->body_text);
    switch (world.keys.begin(incoming->who->id, *key, hash, steady_ms(), &kept,
                             [answer](const kept_answer& said) { answer(reply_of(said)); })) {
    case key_state::first:
        return do_once(world, incoming, std::string(*key), answer, act);
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
