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

} // namespace

void take_outputs(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    answer_once(world, incoming, answer, do_takes);
}

} // namespace gateway
