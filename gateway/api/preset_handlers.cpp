// Presets: kept, told, recalled, undone.
#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "history_notes.h"
#include "preset_body.h"
#include "preset_json.h"
#include "problem.h"
#include "time_text.h"

namespace gateway {

namespace {

unsigned status_of(preset_answer::kind result) {
    switch (result) {
    case preset_answer::kind::done:
        return 200;
    case preset_answer::kind::not_here:
        return 404;
    case preset_answer::kind::taken:
        return 409;
    case preset_answer::kind::too_many:
        return 422;
    case preset_answer::kind::failed:
        break;
    }
    return 500;
}

reply problem_of(const preset_answer& answer) {
    return problem_reply(status_of(answer.result), answer.problem);
}

const std::string& name_of(const call& incoming) {
    return incoming.parts.at(0);
}

std::string no_router_text(const std::string& router) {
    return "There is no router " + json_text(router) + "; GET /api/v1/routers lists those there are.";
}

const shown_router* seen_router(const api_world& world, const token& who, const std::string& name) {
    return may_see(who, name) ? world.routers.find(name) : nullptr;
}

// Of a preset that is written: its takes, or the answer that refuses.
std::variant<std::vector<preset_take>, reply> wanted_takes(const api_world& world, const call& incoming) {
    const auto snapshot = incoming.asked.query_value("snapshot");
    std::string problem = preset_name_problem(name_of(incoming));
    if (!problem.empty())
        return problem_reply(422, problem);
    const auto takes = snapshot ? read_snapshot(incoming.body, std::string(*snapshot), &problem)
                                : read_preset(incoming.body, &problem);
    if (!takes)
        return problem_reply(422, problem);
    std::set<std::string> routers;
    for (const preset_take& each : *takes)
        if (routers.insert(each.router).second && seen_router(world, *incoming.who, each.router) == nullptr)
            return problem_reply(422, no_router_text(each.router));
    return *takes;
}

// Ends a recall that did nothing; else its results.
reply reply_of(const recall_answer& answer, bool dry_run) {
    switch (answer.ended) {
    case recall_answer::kind::answered:
        return json_reply(200, dry_run ? differences_json(answer) : recall_json(answer));
    case recall_answer::kind::wrong:
        return problem_reply(422, answer.problem);
    case recall_answer::kind::not_allowed:
        break;
    }
    return problem_reply(403, answer.problem);
}

reply saved_file(const api_world& world, const call& incoming, const preset& one, const std::string& name) {
    const shown_router* const router = seen_router(world, *incoming.who, name);
    if (router == nullptr)
        return problem_reply(404, no_router_text(name));
    if (!is_picture_true(router->state))
        return problem_reply(503, "How large the router is, and what it shows, is not known now.");
    std::string problem;
    const auto file = snapshot_json(one, *router, &problem);
    return file ? json_reply(200, *file) : problem_reply(422, problem);
}

} // namespace

void answer_presets(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    json rows = json::array();
    for (const preset_row* row : world.presets.list(*incoming->who))
        rows.push_back(preset_row_json(*row));
    answer(json_reply(200, {{"presets", std::move(rows)}}));
}

void answer_preset(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    preset found;
    const preset_answer read = world.presets.read(name_of(*incoming), *incoming->who, &found);
    if (read.result != preset_answer::kind::done)
        return answer(problem_of(read));
    if (const auto router = incoming->asked.query_value("snapshot"))
        return answer(saved_file(world, *incoming, found, std::string(*router)));
    answer(json_reply(200, preset_json(found, world.recalls.undo_takes(found.row.name))));
}

namespace {

// Of the two below, false: another program writes, and it may be asked again, because it is not the last
// time.
bool keep_preset(api_world& world, const incoming_call& incoming, const std::vector<preset_take>& takes,
                 const answer_function& answer, bool last) {
    const std::string& name = name_of(*incoming);
    const preset_answer written = world.presets.write(name, takes, *incoming->who, seconds_since_1970());
    if (written.result == preset_answer::kind::failed && world.access.is_busy() && !last)
        return false;
    if (written.result != preset_answer::kind::done) {
        answer(problem_of(written));
        return true;
    }
    std::set<std::string> routers;
    for (const preset_take& each : takes)
        routers.insert(each.router);
    world.recalls.forget(name);
    note_preset(world, *incoming, routers, "written");
    preset now;
    const preset_answer read = world.presets.read(name, *incoming->who, &now);
    answer(read.result == preset_answer::kind::done ? json_reply(200, preset_json(now, 0))
                                                    : problem_of(read));
    return true;
}

bool take_preset_away(api_world& world, const incoming_call& incoming, const answer_function& answer,
                      bool last) {
    preset found;
    const preset_answer read = world.presets.read(name_of(*incoming), *incoming->who, &found);
    const preset_answer removed = read.result == preset_answer::kind::done
                                      ? world.presets.remove(name_of(*incoming), *incoming->who)
                                      : read;
    if (removed.result == preset_answer::kind::failed && world.access.is_busy() && !last)
        return false;
    if (removed.result != preset_answer::kind::done) {
        answer(problem_of(removed));
        return true;
    }
    world.recalls.forget(name_of(*incoming));
    note_preset(world, *incoming, found.row.routers, "removed");
    reply said;
    said.status = 204;
    answer(std::move(said));
    return true;
}

} // namespace

void write_preset(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    auto wanted = wanted_takes(world, *incoming);
    if (reply* refusal = std::get_if<reply>(&wanted))
        return answer(std::move(*refusal));
    if (std::optional<reply> refusal = too_many_writes(world, *incoming->who))
        return answer(std::move(*refusal));
    const auto takes = std::make_shared<const std::vector<preset_take>>(std::move(std::get<0>(wanted)));
    write_patiently(world, incoming, answer, [&world, incoming, answer, takes](bool last) {
        return keep_preset(world, incoming, *takes, answer, last);
    });
}

void remove_preset(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    if (std::optional<reply> refusal = too_many_writes(world, *incoming->who))
        return answer(std::move(*refusal));
    write_patiently(world, incoming, answer, [&world, incoming, answer](bool last) {
        return take_preset_away(world, incoming, answer, last);
    });
}

namespace {

// Answers once the disk has what an undo needs, or cannot have it: what was taken is told in any case.
void answer_when_written(api_world& world, const std::shared_ptr<reply>& said, const answer_function& answer,
                         std::uint64_t end_ms) {
    if (world.recalls.write() || steady_ms() >= end_ms)
        return answer(std::move(*said));
    world.later(busy_retry_ms,
                [&world, said, answer, end_ms] { answer_when_written(world, said, answer, end_ms); });
}

// Answers, and leaves in the history what was done, or why nothing was.
recall_done end_of_recall(api_world& world, const incoming_call& incoming, const std::string& done,
                          const answer_function& answer) {
    return [&world, incoming, done, answer](const recall_answer& ended) {
        std::set<std::string> routers;
        std::size_t confirmed = 0;
        for (const recalled_output& each : ended.outputs) {
            routers.insert(each.router);
            confirmed += each.answer.result == "confirmed" ? 1 : 0;
        }
        if (ended.ended == recall_answer::kind::answered)
            note_preset(world, *incoming, routers, done,
                        std::to_string(confirmed) + " of " + std::to_string(ended.outputs.size()) +
                            " outputs confirmed");
        else
            note_refusal(world, *incoming, ended.problem);
        answer_when_written(world, std::make_shared<reply>(reply_of(ended, false)), answer,
                            steady_ms() + busy_time_limit_ms);
    };
}

void do_recall(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    preset found;
    const preset_answer read = world.presets.read(name_of(*incoming), *incoming->who, &found);
    if (read.result != preset_answer::kind::done)
        return answer(problem_of(read));
    std::string problem;
    const auto asked = read_recall(incoming->body, true, &problem);
    if (!asked)
        return answer(problem_reply(422, problem));
    if (asked->dry_run)
        return answer(reply_of(world.recalls.look(found, *incoming->who, asked->wish), true));
    world.recalls.recall(found, asker_of(world, *incoming), asked->wish,
                         end_of_recall(world, incoming, "recalled", answer));
}

void do_undo(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    preset found;
    const preset_answer read = world.presets.read(name_of(*incoming), *incoming->who, &found);
    if (read.result != preset_answer::kind::done)
        return answer(problem_of(read));
    std::string problem;
    const auto asked = read_recall(incoming->body, false, &problem);
    if (!asked)
        return answer(problem_reply(422, problem));
    if (!world.recalls.undo(found.row.name, asker_of(world, *incoming), asked->wish,
                            end_of_recall(world, incoming, "undone", answer)))
        answer(problem_reply(409, "No recall of this preset can be undone: it was not recalled within a day, "
                                  "changed nothing, or was undone already."));
}

} // namespace

void recall_preset(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    answer_once(world, incoming, answer, do_recall);
}

void undo_preset(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    answer_once(world, incoming, answer, do_undo);
}

} // namespace gateway
