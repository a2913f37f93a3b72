#include "gateway/presets/recall_work.h"

#include <map>

namespace gateway {

namespace {

// The takes on one router, and their places among all.
struct router_part {
    takes_wish wish;
    std::vector<std::size_t> places;
};

using router_parts = std::map<std::string, router_part>;

router_parts parts_of(const std::vector<preset_take>& takes, const recall_wish& wish) {
    router_parts parts;
    for (std::size_t at = 0; at < takes.size(); at++) {
        router_part& part = parts[takes[at].router];
        part.wish.within_ms = wish.within_ms;
        part.wish.all_or_nothing = wish.all_or_nothing;
        part.wish.takes.push_back(takes[at].wish);
        part.places.push_back(at);
    }
    return parts;
}

recall_answer outputs_of(const std::vector<preset_take>& takes) {
    recall_answer answer;
    for (const preset_take& each : takes) {
        recalled_output& output = answer.outputs.emplace_back();
        output.router = each.router;
        output.answer.output = each.wish.output;
    }
    return answer;
}

void set_unavailable(recall_answer* all, const router_part& part, const std::string& reason) {
    for (const std::size_t place : part.places) {
        output_answer& answer = all->outputs[place].answer;
        answer.result = "unavailable";
        answer.reason = reason;
    }
}

// Results of one router into the places of its takes.
void put_results(recall_answer* all, const router_part& part, const takes_answer& answer) {
    if (answer.ended != takes_answer::kind::answered)
        return set_unavailable(all, part, answer.problem);
    for (std::size_t at = 0; at < part.places.size(); at++) {
        recalled_output& output = all->outputs[part.places[at]];
        output.split_levels = answer.split_levels;
        output.answer = answer.outputs[at];
    }
}

void put_sources(recall_answer* all, const router_part& part, const shown_router& router,
                 const std::vector<planned_take>& plan) {
    for (std::size_t at = 0; at < plan.size(); at++) {
        recalled_output& output = all->outputs[part.places[at]];
        const auto number = static_cast<std::size_t>(plan[at].take.output);
        output.wanted = plan[at].take.sources;
        if (!is_picture_true(router.state) || number > router.picture.outputs.size())
            continue;
        const vrdx::picture_output& place = router.picture.outputs[number - 1];
        if (place.waits_ms) // that take may yet fall back
            output.shown = router.earlier.confirmed(plan[at].take.output);
        else
            output.shown = place.sources;
    }
}

// False when the whole recall ends with it.
bool look_at_part(recall_answer* all, const std::string& name, const router_part& part,
                  const shown_router* router, const take_look& look) {
    const takes_answer& answer = look.answer;
    const bool wrong = answer.ended == takes_answer::kind::wrong;
    if (wrong || answer.ended == takes_answer::kind::not_allowed) {
        *all = {wrong ? recall_answer::kind::wrong : recall_answer::kind::not_allowed,
                "On the router \"" + name + "\": " + answer.problem,
                {}};
        return false;
    }
    put_results(all, part, answer);
    if (router != nullptr)
        put_sources(all, part, *router, look.plan);
    return true;
}

bool is_open(const recalled_output& output) {
    return output.answer.result.empty();
}

void withdraw_all(recall_answer* all) {
    std::string first;
    for (const recalled_output& each : all->outputs)
        if (first.empty() && !is_open(each) && each.answer.result != "withdrawn")
            first = std::to_string(each.answer.output) + " of " + each.router;
    for (recalled_output& each : all->outputs)
        if (is_open(each) || each.answer.result == "withdrawn") {
            each.answer.result = "withdrawn";
            each.answer.reason = "all or nothing, and output " + first + " cannot be taken";
        }
}

// A router whose takes all stay here. What is not known there has no place in the history.
void note_unsent(take_desk& desk, const std::string& router, const take_asker& asker,
                 const recall_answer& all, const router_part& part) {
    std::vector<vrdx::output_take> takes;
    std::vector<output_answer> answers;
    for (const std::size_t place : part.places)
        if (const recalled_output& output = all.outputs[place]; output.wanted) {
            takes.push_back({output.answer.output, *output.wanted});
            answers.push_back(output.answer);
        }
    desk.note_unsent(router, asker, takes, answers);
}

// Each router's answer comes by itself; the last one ends the recall.
struct open_recall {
    recall_answer answer;
    std::size_t open = 0; // routers
    recall_done done;
};

} // namespace

recall_answer look_at_recall(const router_board& routers, const take_desk& desk,
                             const std::vector<preset_take>& takes, const token& who,
                             const recall_wish& wish) {
    recall_answer all = outputs_of(takes);
    for (const auto& [name, part] : parts_of(takes, wish)) {
        const shown_router* const router = routers.find(name);
        if (!look_at_part(&all, name, part, router, desk.look(name, who, part.wish)))
            return all;
        if (wish.all_or_nothing && router != nullptr && !is_picture_true(router->state))
            set_unavailable(&all, part, router->reason);
    }
    std::size_t open = 0;
    for (const recalled_output& each : all.outputs)
        open += is_open(each) ? 1 : 0;
    if (wish.all_or_nothing && open < all.outputs.size())
        withdraw_all(&all);
    return all;
}

void run_recall(const router_board& routers, take_desk& desk, const std::vector<preset_take>& takes,
                const take_asker& asker, const recall_wish& wish, const recall_done& done) {
    const auto running = std::make_shared<open_recall>();
    running->answer = look_at_recall(routers, desk, takes, asker.who, wish);
    running->done = done;
    running->open = 1; // this function itself, so that nothing ends before all were sent
    const auto end_one = [running] {
        if (--running->open == 0)
            running->done(running->answer);
    };
    if (running->answer.ended != recall_answer::kind::answered)
        return end_one();
    for (const auto& [name, part] : parts_of(takes, wish)) {
        bool any = false;
        for (const std::size_t place : part.places)
            any = any || is_open(running->answer.outputs[place]);
        if (!any) {
            note_unsent(desk, name, asker, running->answer, part);
            continue;
        }
        running->open++;
        desk.take(name, asker, part.wish, [running, end_one, sent = part](const takes_answer& answer) {
            put_results(&running->answer, sent, answer);
            end_one();
        });
    }
    end_one();
}

} // namespace gateway
