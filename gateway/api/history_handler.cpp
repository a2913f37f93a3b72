// Questions about the history: read from the query, answered by a thread of its own.
#include "gateway/access/rights.h"
#include "gateway/audit/history_keeper.h"
#include "gateway/http/http_text.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "history_text.h"
#include "plain_text.h"
#include "problem.h"
#include "router_limits.h"
#include "time_text.h"

namespace gateway {

namespace {

enum class text_format { json, csv };

// A question as it was asked, or what is wrong with it.
struct asked_history {
    history_query query;
    text_format format = text_format::json;
    std::optional<reply> refusal;
};

reply wrong_value(const std::string& name, const std::string& possible) {
    return problem_reply(400, "\"" + name + "\" has to be " + possible + ".");
}

std::optional<reply> read_time(const std::string& name, const std::string& text, std::int64_t* us) {
    const auto time = microseconds_of_rfc3339(text);
    if (!time || *time <= 0)
        return wrong_value(name, "a time such as 2026-02-28T19:58:00Z (a + in it is written %2B)");
    *us = *time;
    return {};
}

std::optional<reply> read_item(const std::string& name, const std::string& value, const token& who,
                               asked_history* asked) {
    history_query& query = asked->query;
    if (name == "router") {
        if (!may_see(who, value))
            return problem_reply(
                404, "There is no router of this name; GET /api/v1/routers lists those there are.");
        if (!query.routers)
            query.routers.emplace();
        if (std::find(query.routers->begin(), query.routers->end(), value) == query.routers->end())
            query.routers->push_back(value);
        return query.routers->size() <= token_routers_limit
                   ? std::optional<reply>()
                   : wrong_value(name, "given at most " + std::to_string(token_routers_limit) + " times");
    }
    if (name == "output") {
        query.output = number_of_digits<int>(value).value_or(0);
        return query.output >= 1 && query.output <= most_router_outputs
                   ? std::optional<reply>()
                   : wrong_value(name, "a number from 1 to " + std::to_string(most_router_outputs));
    }
    if (name == "by") {
        query.by = value;
        return value.empty() ? std::optional(wrong_value(name, "the name of a token or user")) : std::nullopt;
    }
    if (name == "since")
        return read_time(name, value, &query.since_us);
    if (name == "until")
        return read_time(name, value, &query.until_us);
    if (name == "limit") {
        query.limit = number_of_digits<std::size_t>(value).value_or(0);
        return query.limit >= 1 && query.limit <= history_rows_limit
                   ? std::optional<reply>()
                   : wrong_value(name, "a number from 1 to " + std::to_string(history_rows_limit));
    }
    if (name == "format") {
        asked->format = value == "csv" ? text_format::csv : text_format::json;
        return value == "csv" || value == "json" ? std::optional<reply>() : wrong_value(name, "json or csv");
    }
    return problem_reply(400, "The query has an unknown part; possible are router, output, by, since, until, "
                              "limit and format.");
}

// The type that stands first among those the caller takes.
bool prefers_csv(const request& asked) {
    const std::string_view accepted = asked.header("accept").value_or("");
    const std::string_view first = accepted.substr(0, accepted.find(','));
    return small_letters(trimmed(first.substr(0, first.find(';')))) == "text/csv";
}

asked_history read_question(const call& incoming) {
    asked_history asked;
    asked.query.limit = history_rows_usual;
    if (prefers_csv(incoming.asked))
        asked.format = text_format::csv;
    for (const auto& [name, value] : incoming.asked.query) {
        asked.refusal = read_item(name, value, *incoming.who, &asked);
        if (asked.refusal)
            return asked;
    }
    const token& who = *incoming.who;
    if (!asked.query.routers && !who.routers.empty())
        asked.query.routers = who.routers;
    asked.query.beyond_routers = who.right >= role::admin;
    return asked;
}

reply history_reply(text_format format, history_reader::answer said) {
    if (!said.problem.empty())
        return problem_reply(503, said.problem);
    reply answer;
    answer.content_type = format == text_format::csv ? "text/csv; charset=utf-8" : "application/json";
    answer.body = std::make_shared<const std::string>(std::move(said.text));
    answer.headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}};
    return answer;
}

} // namespace

void answer_history(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    asked_history asked = read_question(*incoming);
    if (asked.refusal)
        return answer(std::move(*asked.refusal));
    const text_format format = asked.format;
    const bool is_asked = world.history.ask(
        incoming->who->id, asked.query, format == text_format::csv ? history_csv_text : history_json_text,
        [answer, format](history_reader::answer said) { answer(history_reply(format, std::move(said))); });
    if (is_asked)
        return;
    reply refusal = problem_reply(429, "Too many questions about the history wait for their answer; ask "
                                       "again in a moment.");
    refusal.headers.emplace_back("Retry-After", "1");
    answer(std::move(refusal));
}

} // namespace gateway
