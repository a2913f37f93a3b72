// Lists, pictures, names, locks.
#include "caller.h"
#include "gateway/access/rights.h"
#include "gateway/audit/history_keeper.h"
#include "gateway/http/http_text.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "history_notes.h"
#include "json_reading.h"
#include "problem.h"
#include "router_limits.h"
#include "time_text.h"

#include <charconv>

namespace gateway {

namespace {

reply no_such_router() {
    return problem_reply(404, "There is no router of this name; GET /api/v1/routers lists those there are.");
}

reply no_such_place(const char* what, std::size_t last) {
    return problem_reply(404, last == 0 ? std::string("No ") + what + " of this router is known."
                                        : std::string("There is no such ") + what + "; possible are 1 to " +
                                              std::to_string(last) + ".");
}

// What the board made of a name.
reply naming_reply(const take_ending& ending, const json& named) {
    switch (ending.kind) {
    case take_ending::kind::too_many:
        return too_much_reply(ending.reason, 1);
    case take_ending::kind::unavailable:
        return problem_reply(503, ending.reason);
    case take_ending::kind::answered:
        break;
    }
    return ending.answer.error.empty() ? json_reply(202, named) : problem_reply(503, ending.answer.error);
}

void note_naming(api_world& world, history_entry entry, const take_ending& ending) {
    const bool handed_on = ending.kind == take_ending::kind::answered && ending.answer.error.empty();
    entry.result = handed_on ? "handed on" : "unavailable";
    entry.reason = ending.kind == take_ending::kind::answered ? ending.answer.error : ending.reason;
    if (handed_on)
        world.history.note(std::move(entry));
    else
        world.history.refused(std::move(entry));
}

void rename(api_world& world, const incoming_call& incoming, const answer_function& answer, bool output) {
    const shown_router* router = incoming->router(world);
    if (router == nullptr)
        return answer(no_such_router());
    const std::size_t last = output ? router->picture.outputs.size() : router->picture.inputs.size();
    const int number = number_in_path(*incoming, last);
    if (number == 0)
        return answer(no_such_place(output ? "output" : "input", last));
    if (const std::string problem = rename_problem(*incoming->who, router->name, output, number);
        !problem.empty()) {
        note_refusal(world, *incoming, problem);
        return answer(problem_reply(403, problem));
    }
    if (const std::string problem = members_problem(incoming->body, {"name"}); !problem.empty())
        return answer(problem_reply(422, problem));
    const auto name = incoming->body.find("name");
    if (name == incoming->body.end() || !name->is_string() ||
        !is_plain_text(name->get_ref<const std::string&>(), vrdx::picture_name_limit))
        return answer(problem_reply(422, "\"name\" has to be a text of up to " +
                                             std::to_string(vrdx::picture_name_limit) +
                                             " bytes without control characters."));
    history_entry entry = entry_of_call(world, *incoming);
    (output ? entry.output : entry.input) = number;
    const auto place = static_cast<std::size_t>(number - 1);
    entry.before = output ? router->picture.outputs[place].name : router->picture.inputs[place].name;
    entry.after = name->get<std::string>();
    world.routers.rename(router->name, lane_of(*incoming->who), output, number, name->get<std::string>(),
                         [&world, answer, entry, named = json{{"name", *name}}](const take_ending& ending) {
                             note_naming(world, entry, ending);
                             answer(naming_reply(ending, named));
                         });
}

std::string state_of_lock(const output_lock* lock) {
    return lock == nullptr ? "free" : std::string(lock_word(lock->state)) + " of " + lock->owner;
}

void note_lock(api_world& world, const call& incoming, int output, const std::string& before,
               const lock_answer& done) {
    history_entry entry = entry_of_call(world, incoming);
    const output_lock* now = world.locks.of(entry.router, output);
    entry.output = output;
    entry.before = before;
    entry.result = done.result == lock_answer::kind::done ? "done" : "refused";
    if (done.result == lock_answer::kind::done) {
        entry.after = state_of_lock(now);
        entry.reason = now == nullptr ? "" : now->reason;
        world.history.note(std::move(entry));
    } else if (done.result != lock_answer::kind::unchanged) {
        entry.reason = done.problem;
        world.history.refused(std::move(entry));
    }
}

unsigned status_of(lock_answer::kind result) {
    switch (result) {
    case lock_answer::kind::not_allowed:
        return 403;
    case lock_answer::kind::held:
        return 409;
    case lock_answer::kind::wrong:
        return 422;
    default:
        return 500;
    }
}

struct lock_request {
    int output;
    lock_order order;
    std::string reason;
};

// False: another program writes, and it may be asked again, because it is not the last time.
bool set_lock(api_world& world, const incoming_call& incoming, const lock_request& wish,
              const answer_function& answer, bool last) {
    const shown_router* router = incoming->router(world); // it may have gone meanwhile
    if (router == nullptr) {
        answer(no_such_router());
        return true;
    }
    const std::string before = state_of_lock(world.locks.of(router->name, wish.output));
    const lock_answer done = world.locks.set(router->name, wish.output, wish.order, *incoming->who,
                                             wish.reason, seconds_since_1970());
    if (done.result == lock_answer::kind::busy && !last)
        return false;
    note_lock(world, *incoming, wish.output, before, done);
    if (!done.problem.empty()) {
        answer(problem_reply(status_of(done.result), done.problem));
        return true;
    }
    answer(json_reply(
        200, {{"output", wish.output}, {"lock", lock_json(world.locks.of(router->name, wish.output))}}));
    return true;
}

} // namespace

std::string lane_of(const token& who) {
    return std::to_string(who.id);
}

take_asker asker_of(const api_world& world, const call& incoming) {
    return {*incoming.who, lane_of(*incoming.who), caller_address(world.now, incoming.asked)};
}

int number_in_path(const call& incoming, std::size_t last) {
    const std::string& text = incoming.parts.at(1);
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_plain = error == std::errc{} && end == text.data() + text.size() && text[0] != '0';
    return is_plain && number <= last ? static_cast<int>(number) : 0;
}

void answer_routers(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    json rows = json::array();
    for (const shown_router* router : world.routers.all())
        if (may_see(*incoming->who, router->name))
            rows.push_back(router_row_json(*router));
    answer(json_reply(200, {{"routers", std::move(rows)}}));
}

void answer_picture(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    const shown_router* router = incoming->router(world);
    if (router == nullptr)
        return answer(no_such_router());
    const written_picture& picture = world.pictures.of(*router);
    reply said;
    said.headers = {
        {"ETag", picture.etag}, {"Cache-Control", "no-cache"}, {"X-Content-Type-Options", "nosniff"}};
    if (names_tag(incoming->asked.header("if-none-match").value_or(""), picture.etag)) {
        said.status = 304;
    } else {
        said.content_type = "application/json";
        said.body = picture.text;
    }
    answer(std::move(said));
}

void rename_output(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    rename(world, incoming, answer, true);
}

void rename_input(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    rename(world, incoming, answer, false);
}

void lock_output(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    const shown_router* router = incoming->router(world);
    if (router == nullptr)
        return answer(no_such_router());
    if (!router->site.empty())
        return answer(problem_reply(409, "Locks of this router are set at its own site, \"" + router->site +
                                             "\"; here they are shown, and hold."));
    const std::size_t last = router->picture.outputs.size();
    const int output = number_in_path(*incoming, most_router_outputs);
    const bool shown = static_cast<std::size_t>(output) <= last;
    // A lock can be removed while the router shows fewer outputs than it had, or none.
    if (output == 0 || (!shown && world.locks.of(router->name, output) == nullptr))
        return answer(no_such_place("output", last));
    const json& body = incoming->body;
    if (const std::string problem = members_problem(body, {"state", "reason"}); !problem.empty())
        return answer(problem_reply(422, problem));
    const auto state = body.find("state");
    const auto order = state != body.end() && state->is_string()
                           ? lock_order_of_word(state->get<std::string>())
                           : std::nullopt;
    if (!order)
        return answer(problem_reply(422, R"("state" has to be "lock", "protect", "unlock" or "force".)"));
    const auto reason = body.find("reason");
    if (reason != body.end() &&
        (!reason->is_string() || !is_plain_text(reason->get_ref<const std::string&>(), lock_reason_limit)))
        return answer(problem_reply(422, "\"reason\" has to be a text of up to " +
                                             std::to_string(lock_reason_limit) +
                                             " bytes without control characters."));
    if (std::optional<reply> refusal = too_many_writes(world, *incoming->who))
        return answer(std::move(*refusal));
    const lock_request wish{output, *order,
                            reason == body.end() ? std::string() : reason->get<std::string>()};
    write_patiently(world, incoming, answer, [&world, incoming, answer, wish](bool last_time) {
        return set_lock(world, incoming, wish, answer, last_time);
    });
}

} // namespace gateway
