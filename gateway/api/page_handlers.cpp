// What the gateway says of itself.
#include "gateway/audit/history_keeper.h"
#include "handlers.h"
#include "problem.h"

namespace gateway {

void answer_alive(api_world&, const incoming_call&, const answer_function& answer) {
    answer(json_reply(200, {{"status", "alive"}, {"reason", ""}}));
}

// Everybody may ask: paths and the system's own words are for the log alone.
void answer_ready(api_world& world, const incoming_call&, const answer_function& answer) {
    const bool is_whole = world.routers.directory_problem().empty();
    if (world.routers.is_settled() && !world.history.problem().empty())
        answer(json_reply(200, {{"status", "degraded"},
                                {"reason", "The history cannot be written; the gateway's log says why."}}));
    else if (world.routers.is_settled() && !world.history.exchange_problem().empty())
        answer(json_reply(200, {{"status", "degraded"},
                                {"reason", "The history is not exchanged with other sites; the gateway's log "
                                           "says why."}}));
    else if (world.routers.is_settled())
        answer(json_reply(
            200, {{"status", "ready"},
                  {"reason", is_whole ? ""
                                      : "The items or sockets cannot all be read, so some routers may be "
                                        "missing; the gateway's log says why."}}));
    else
        answer(json_reply(
            503, {{"status", "reading"}, {"reason", "The pictures of some routers are being read."}}));
}

void answer_document(api_world& world, const incoming_call&, const answer_function& answer) {
    reply document;
    document.content_type = "application/json";
    document.body = world.document;
    document.headers = {{"Cache-Control", "no-cache"}, {"X-Content-Type-Options", "nosniff"}};
    answer(std::move(document));
}

void answer_events_without_websocket(api_world&, const incoming_call&, const answer_function& answer) {
    reply refusal = problem_reply(426, "This path is a WebSocket: ask with \"Upgrade: websocket\" and "
                                       "\"Sec-WebSocket-Version: 13\".");
    refusal.headers.emplace_back("Upgrade", "websocket");
    refusal.headers.emplace_back("Sec-WebSocket-Version", "13");
    answer(std::move(refusal));
}

} // namespace gateway
