#include "api.h"

#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"
#include "problem.h"
#include "route_table.h"

#include <exception>

namespace gateway {

namespace {

// What no check foresaw ends this request, not the gateway.
reply unforeseen(const std::exception& why) {
    return problem_reply(500, std::string("The gateway failed at this request: ") + why.what());
}

void serve(api_world& world, const std::shared_ptr<call>& incoming, const answer_function& answer) {
    try {
        if (std::optional<reply> refusal = check_body(world, incoming.get()))
            answer(std::move(*refusal));
        else
            incoming->row->handle(world, incoming, answer);
    } catch (const std::exception& why) {
        answer(unforeseen(why));
    }
}

} // namespace

request_verdict api::begin(const request& asked) {
    const auto incoming = std::make_shared<call>();
    incoming->asked = asked;
    if (std::optional<reply> refusal = check_head(world_, incoming.get()))
        return std::move(*refusal);
    const std::size_t limit = incoming->row->body_limit;
    return accepted_request{limit, [this, incoming](std::string body, const answer_function& answer) {
                                incoming->body_text = std::move(body);
                                serve(world_, incoming, answer);
                            }};
}

std::variant<reply, std::shared_ptr<event_source>> api::accept(const request& asked) {
    call incoming;
    incoming.asked = asked;
    if (std::optional<reply> refusal = check_head(world_, &incoming))
        return std::move(*refusal);
    if (std::string_view(incoming.row->operation) != "hearEvents")
        return problem_reply(400, "There is no WebSocket at this path; /api/v1/events has one.");
    event_wish wish{incoming.who, incoming.session, {}};
    for (const auto& [name, value] : asked.query) {
        if (name != "router")
            return problem_reply(
                400, "The query has an unknown part; possible is router=NAME, also several times.");
        if (!may_see(*incoming.who, value) || world_.routers.find(value) == nullptr)
            return problem_reply(
                404, "There is no router of this name; GET /api/v1/routers lists those there are.");
        wish.routers.push_back(value);
    }
    if (world_.events.readers_of(incoming.who->id) >= event_readers_per_token_limit)
        return problem_reply(429, "This token reads " + std::to_string(event_readers_per_token_limit) +
                                      " event streams already; end one first.");
    return world_.events.add_reader(std::move(wish));
}

} // namespace gateway
