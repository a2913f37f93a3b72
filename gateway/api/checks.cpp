#include "api.h"
#include "caller.h"
#include "gateway/access/rights.h"
#include "gateway/http/http_text.h"
#include "handlers.h"
#include "history_notes.h"
#include "json_reading.h"
#include "problem.h"
#include "route_table.h"

namespace gateway {

namespace {

using refusal = std::optional<reply>;

refusal host_is_known(api_world& world, call* incoming) {
    const std::string problem = host_problem(world.now, incoming->asked);
    return problem.empty() ? refusal{} : problem_reply(400, problem);
}

// Two readers might understand two of them in two ways.
refusal headers_are_plain(api_world&, call* incoming) {
    for (const std::string_view once : {"authorization", "origin", "content-type", "idempotency-key"}) {
        const auto& headers = incoming->asked.headers;
        const auto is_that = [&](const auto& each) { return each.first == once; };
        if (std::count_if(headers.begin(), headers.end(), is_that) > 1)
            return problem_reply(400, "A request has at most one header " + std::string(once) + ".");
    }
    return {};
}

refusal route_is_there(api_world&, call* incoming) {
    found_route found = find_route(incoming->asked.method, incoming->asked.path);
    if (found.allowed.empty())
        return problem_reply(404, "There is nothing at this path; /api/v1/openapi.json tells what there is.");
    if (found.row == nullptr) {
        reply answer =
            problem_reply(405, "This path does not know the method; possible are " + found.allowed + ".");
        answer.headers.emplace_back("Allow", found.allowed);
        return answer;
    }
    incoming->row = found.row;
    incoming->parts = std::move(found.parts);
    return {};
}

refusal caller_is_known(api_world& world, call* incoming) {
    if (incoming->row->least == role::none)
        return {};
    if (!find_caller(world, incoming))
        return wrong_token_reply(world, caller_address(world.now, incoming->asked));
    if (incoming->who)
        return {};
    reply answer =
        problem_reply(401, "A token is needed: send it as \"Authorization: Bearer TOKEN\", or begin a "
                           "session with POST /api/v1/session.");
    answer.headers.emplace_back("WWW-Authenticate", "Bearer");
    return answer;
}

// A browser tells which page made it ask. A program that shows its token was not made to ask by a page.
refusal origin_is_own(api_world& world, call* incoming) {
    const request& asked = incoming->asked;
    const bool changes = asked.method != "GET" && asked.method != "HEAD";
    if ((!changes && !asked.upgrade) || incoming->by == credential::bearer)
        return {};
    const std::string own = own_origin(world.now, asked);
    if (asked.header("origin") == own)
        return {};
    return problem_reply(403, "Without a Bearer token this needs the header \"Origin: " + own + "\".");
}

refusal right_is_enough(api_world& world, call* incoming) {
    const role least = incoming->row->least;
    if (least == role::none || incoming->who->right >= least)
        return {};
    note_refusal(world, *incoming, "needs the role " + std::string(role_word(least)));
    return problem_reply(403, "This needs the role " + std::string(role_word(least)) + "; \"" +
                                  incoming->who->name + "\" has the role " +
                                  std::string(role_word(incoming->who->right)) + ".");
}

refusal router_is_seen(api_world& world, call* incoming) {
    const bool names_router =
        std::string_view(incoming->row->path).find("{router}") != std::string_view::npos;
    if (incoming->row->least == role::none || !names_router)
        return {};
    if (may_see(*incoming->who, incoming->parts[0]) && incoming->router(world) != nullptr)
        return {};
    return problem_reply(404, "There is no router of this name; GET /api/v1/routers lists those there are.");
}

refusal type_is_json(api_world&, call* incoming) {
    if (incoming->row->request_schema[0] == '\0')
        return {};
    const std::string_view whole = incoming->asked.header("content-type").value_or("");
    const std::string type =
        small_letters(trimmed(whole.substr(0, whole.find(';')))); // parameters change nothing
    if (type == "application/json")
        return {};
    return problem_reply(415, "The body has to be JSON, with \"Content-Type: application/json\".");
}

using check = refusal (*)(api_world&, call*);

constexpr check checks[] = {
    host_is_known, headers_are_plain, route_is_there, caller_is_known,
    origin_is_own, right_is_enough,   router_is_seen, type_is_json,
};

} // namespace

std::optional<reply> check_head(api_world& world, call* incoming) {
    for (const check each : checks)
        if (refusal answer = each(world, incoming))
            return answer;
    return {};
}

// The body may have taken its time: whoever asks may have lost his token meanwhile.
std::optional<reply> check_body(api_world& world, call* incoming) {
    if (incoming->row->request_schema[0] == '\0')
        return {};
    if (refusal answer = check_head(world, incoming))
        return answer;
    std::string problem;
    std::optional<json> body = read_json(incoming->body_text, &problem);
    if (!body)
        return problem_reply(400, problem);
    incoming->body = std::move(*body);
    return {};
}

} // namespace gateway
