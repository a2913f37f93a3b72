// What a router looks like on the panels of a token: told, kept, removed.
#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "history_notes.h"
#include "layout_body.h"
#include "problem.h"
#include "time_text.h"

#include <algorithm>

namespace gateway {

namespace {

// Whose layout is asked about.
struct asked_panel {
    std::int64_t token = 0;
    std::string name;
};

using panel_or_refusal = std::variant<asked_panel, reply>;

panel_or_refusal refused(api_world& world, const call& incoming, const std::string& problem) {
    note_refusal(world, incoming, problem);
    return problem_reply(403, problem);
}

// The asker's own, or for an admin the one of `?panel=NAME`.
panel_or_refusal panel_of(api_world& world, const call& incoming) {
    const token& who = *incoming.who;
    const auto panel = incoming.asked.query_value("panel");
    if (!panel || *panel == who.name)
        return asked_panel{who.id, who.name};
    if (who.right < role::admin)
        return refused(world, incoming, "The layout of another panel needs the role admin.");
    if (*panel == anonymous_name)
        return asked_panel{0, anonymous_name};
    const std::vector<token> all = world.access.list();
    const auto found = std::find_if(all.begin(), all.end(), [&](const token& each) {
        return each.name == *panel && may_see(each, incoming.parts[0]);
    });
    if (found == all.end())
        return problem_reply(404, "There is no token of this name that sees this router; possible are those "
                                  "that `vrdx_gateway token list` shows.");
    return asked_panel{found->id, found->name};
}

// The same for who wants to change it. What everybody without a token sees is an admin's business.
panel_or_refusal panel_to_change(api_world& world, const call& incoming) {
    if (incoming.who->id == 0 && incoming.who->right < role::admin)
        return refused(world, incoming, "Without a token a layout can only be read; possible: log in.");
    return panel_of(world, incoming);
}

json layout_json(const call& incoming, const asked_panel& panel, std::int64_t changed, const json& content) {
    json said{{"router", incoming.parts[0]},
              {"panel", panel.name},
              {"changed", changed == 0 ? json() : json(rfc3339_of_seconds(changed))}};
    said.update(content);
    return said;
}

reply problem_of(const layout_answer& answer) {
    return problem_reply(answer.result == layout_answer::kind::too_much ? 422 : 500, answer.problem);
}

// Does `attempt` until the disk has it, and answers `done`.
void change_patiently(api_world& world, const incoming_call& incoming, const answer_function& answer,
                      const std::function<layout_answer()>& attempt, const std::function<reply()>& done) {
    if (std::optional<reply> refusal = too_many_writes(world, *incoming->who))
        return answer(std::move(*refusal));
    write_patiently(world, incoming, answer, [&world, answer, attempt, done](bool last) {
        const layout_answer written = attempt();
        if (written.result == layout_answer::kind::failed && world.access.is_busy() && !last)
            return false;
        answer(written.result == layout_answer::kind::done ? done() : problem_of(written));
        return true;
    });
}

} // namespace

void answer_layout(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    auto asked = panel_of(world, *incoming);
    if (reply* refusal = std::get_if<reply>(&asked))
        return answer(std::move(*refusal));
    const asked_panel& panel = std::get<asked_panel>(asked);
    kept_layout kept;
    std::string problem;
    if (!world.layouts.read({panel.token, incoming->parts[0]}, &kept, &problem))
        return answer(problem_reply(500, problem));
    const json content = kept.content.empty()
                             ? plain_layout()
                             : json::parse(kept.content, nullptr, /*allow_exceptions=*/false);
    if (!content.is_object())
        return answer(problem_reply(500, "The layout cannot be read; possible: write it anew."));
    answer(json_reply(200, layout_json(*incoming, panel, kept.changed, content)));
}

void write_layout(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    auto asked = panel_to_change(world, *incoming);
    if (reply* refusal = std::get_if<reply>(&asked))
        return answer(std::move(*refusal));
    std::string problem;
    const auto content = read_layout(incoming->body, &problem);
    if (!content)
        return answer(problem_reply(422, problem));
    const auto text = std::make_shared<const std::string>(json_text(*content));
    if (text->size() > layout_bytes_limit)
        return answer(problem_reply(422, "A layout has at most " + std::to_string(layout_bytes_limit) +
                                             " bytes; possible: fewer categories or members."));
    const asked_panel panel = std::get<asked_panel>(asked);
    const std::int64_t now = seconds_since_1970();
    change_patiently(
        world, incoming, answer,
        [&world, incoming, panel, text, now] {
            return world.layouts.write({panel.token, incoming->parts[0]}, *text, now);
        },
        [incoming, panel, content = *content, now] {
            return json_reply(200, layout_json(*incoming, panel, now, content));
        });
}

void remove_layout(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    auto asked = panel_to_change(world, *incoming);
    if (reply* refusal = std::get_if<reply>(&asked))
        return answer(std::move(*refusal));
    const std::int64_t owner = std::get<asked_panel>(asked).token;
    change_patiently(
        world, incoming, answer,
        [&world, incoming, owner] {
            return world.layouts.remove({owner, incoming->parts[0]});
        },
        [] {
            reply said;
            said.status = 204;
            return said;
        });
}

} // namespace gateway
