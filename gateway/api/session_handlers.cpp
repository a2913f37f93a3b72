// Sessions of browsers: a cookie instead of the token.
#include "caller.h"
#include "gateway/audit/history_keeper.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "history_notes.h"
#include "json_reading.h"
#include "problem.h"
#include "time_text.h"

namespace gateway {

namespace {

// HttpOnly: no script reads it. Strict: no other page makes a browser send it.
std::string cookie_text(const api_world& world, const request& asked, const std::string& value,
                        const std::string& age) {
    const bool secure = own_origin(world.now, asked).starts_with("https:");
    return std::string(session_cookie) + '=' + value + "; Path=/; HttpOnly; SameSite=Strict" +
           (secure ? "; Secure" : "") + age;
}

std::string kept_age() {
    return "; Max-Age=" + std::to_string(kept_session_s);
}

void note_session(api_world& world, const call& incoming, const char* result) {
    history_entry entry = entry_of_call(world, incoming);
    entry.result = result;
    world.history.note(std::move(entry));
}

// Of the two below, false: another program writes, and it may be asked again, because it is not the last
// time.
bool grant_session(api_world& world, const incoming_call& incoming, bool kept, const answer_function& answer,
                   bool last) {
    std::string problem;
    const auto granted = world.access.begin_session(*incoming->who, kept, seconds_since_1970(), &problem);
    if (!granted && world.access.is_busy() && !last)
        return false;
    if (!granted) {
        answer(problem_reply(500, problem));
        return true;
    }
    note_session(world, *incoming, "begun");
    reply said = json_reply(200, token_json(*incoming->who));
    said.headers.emplace_back(
        "Set-Cookie", cookie_text(world, incoming->asked, granted->text, granted->kept ? kept_age() : ""));
    answer(std::move(said));
    return true;
}

bool take_session_away(api_world& world, const incoming_call& incoming, const answer_function& answer,
                       bool last) {
    const std::string text(session_text(incoming->asked));
    std::string problem;
    const bool ended = text.empty() || world.access.end_session(text, &problem);
    if (!ended && world.access.is_busy() && !last)
        return false;
    if (!ended) {
        answer(problem_reply(500, problem));
        return true;
    }
    if (incoming->who)
        note_session(world, *incoming, "ended");
    reply said;
    said.status = 204;
    said.headers.emplace_back("Set-Cookie", cookie_text(world, incoming->asked, "", "; Max-Age=0"));
    answer(std::move(said));
    return true;
}

} // namespace

json token_json(const token& who) {
    return {{"name", who.name},
            {"role", role_word(who.right)},
            {"routers", who.routers},
            {"outputs", who.outputs.text()},
            {"inputs", who.inputs.text()}};
}

reply wrong_token_reply(api_world& world, const std::string& address) {
    note_wrong_login(world, address);
    const std::uint64_t wait_ms = world.logins.wrong(address, steady_ms());
    if (wait_ms > wrong_login_longest_wait_ms) {
        const std::uint64_t seconds = (wait_ms + 999) / 1000;
        return too_much_reply("Too many wrong tokens came from this address; try another one in " +
                                  std::to_string(seconds) + " seconds. Valid ones are always let in.",
                              seconds);
    }
    reply answer =
        problem_reply(401, "That is no token of this gateway; `vrdx_gateway token list` names them.");
    answer.headers.emplace_back("WWW-Authenticate", "Bearer");
    answer.delay = std::chrono::milliseconds(wait_ms);
    return answer;
}

void begin_session(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    const json& body = incoming->body;
    if (const std::string problem = members_problem(body, {"token", "keep"}); !problem.empty())
        return answer(problem_reply(422, problem));
    const auto text = body.find("token"), keep = body.find("keep");
    if (text == body.end() || !text->is_string())
        return answer(problem_reply(422, "\"token\" has to be the token's text."));
    if (keep != body.end() && !keep->is_boolean())
        return answer(
            problem_reply(422, "\"keep\" has to be true (30 days) or false (until the browser is closed)."));
    const auto who = world.access.of_text(text->get_ref<const std::string&>());
    if (!who)
        return answer(wrong_token_reply(world, caller_address(world.now, incoming->asked)));
    if (std::optional<reply> refusal = too_many_writes(world, *who))
        return answer(std::move(*refusal));
    const bool kept = keep != body.end() && keep->get<bool>();
    incoming->who = who;
    write_patiently(world, incoming, answer, [&world, incoming, answer, kept](bool last) {
        return grant_session(world, incoming, kept, answer, last);
    });
}

// The cookie of a kept session is given anew: it is prolonged like the session itself.
void answer_session(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    reply said = json_reply(200, token_json(*incoming->who));
    if (incoming->session_is_kept)
        said.headers.emplace_back(
            "Set-Cookie",
            cookie_text(world, incoming->asked, std::string(session_text(incoming->asked)), kept_age()));
    answer(std::move(said));
}

void end_session(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    incoming->who = world.access.of_session(session_text(incoming->asked), seconds_since_1970()).owner;
    write_patiently(world, incoming, answer, [&world, incoming, answer](bool last) {
        return take_session_away(world, incoming, answer, last);
    });
}

} // namespace gateway
