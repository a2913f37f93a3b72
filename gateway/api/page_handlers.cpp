// Pages, and what the gateway says of itself.
#include "handlers.h"
#include "problem.h"

namespace gateway {

namespace {

// Nothing from elsewhere, nothing inside other pages.
constexpr std::pair<const char*, const char*> page_headers[] = {
    {"Content-Security-Policy",
     "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-cache"},
};

constexpr const char* start_page = R"(<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<title>Routers</title>
<h1>Routers</h1>
<p>This gateway shows the routers of this machine and takes on them, by HTTP and JSON.
<p>What it can do stands in <a href="/api/v1/openapi.json">/api/v1/openapi.json</a>; a token is needed to read it.
)";

} // namespace

void answer_start_page(api_world&, const incoming_call&, const answer_function& answer) {
    reply page;
    page.content_type = "text/html; charset=utf-8";
    page.body = std::make_shared<const std::string>(start_page);
    for (const auto& [name, value] : page_headers)
        page.headers.emplace_back(name, value);
    answer(std::move(page));
}

void answer_alive(api_world&, const incoming_call&, const answer_function& answer) {
    answer(json_reply(200, {{"status", "alive"}, {"reason", ""}}));
}

void answer_ready(api_world& world, const incoming_call&, const answer_function& answer) {
    if (world.routers.is_settled())
        answer(json_reply(200, {{"status", "ready"}, {"reason", world.routers.directory_problem()}}));
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
