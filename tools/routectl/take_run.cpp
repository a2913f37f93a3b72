#include "take_run.h"

#include "client_limits.h"
#include "monotonic_us.h"
#include "program_end.h"
#include "take_progress.h"
#include "take_texts.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int look_period_ms = 50;
constexpr std::uint64_t last_moment_us = 500000; // in which a time that has run out becomes a rollback

vrdx::take_order order_of(const std::vector<planned_take>& plan, const std::string& by) {
    vrdx::take_order order;
    for (const planned_take& one : plan) {
        order.takes.push_back({one.output, one.after});
        if (one.guarded)
            order.expect.push_back({one.output, one.before});
    }
    order.id = std::to_string(getpid());
    order.by = by;
    order.within_ms = time_for_takes(plan.size());
    return order;
}

enum class waiting { none, endless, timed };

// `timed`: some of the outputs will be confirmed or rolled back. A time of 0 is mostly one that has just run
// out.
waiting waiting_of(const router_picture& picture, const std::vector<int>& outputs) {
    waiting most = waiting::none;
    for (const int output : outputs) {
        const auto index = static_cast<std::size_t>(output) - 1;
        if (index >= picture.outputs.size() || !picture.outputs[index].waits_ms)
            continue;
        if (*picture.outputs[index].waits_ms > 0)
            return waiting::timed;
        most = waiting::endless;
    }
    return most;
}

// What the outputs show that did not follow. Without an answer nothing is said about it.
void look_at_failures(driver_link* link, std::vector<take_outcome>* outcomes) {
    router_picture now;
    if (!all_confirmed(*outcomes) && ask_picture_quietly(link, &now) == exit_done)
        enter_shown(now, outcomes);
}

std::vector<int> outputs_of(const std::vector<planned_take>& plan) {
    std::vector<int> outputs;
    for (const planned_take& one : plan)
        outputs.push_back(one.output);
    return outputs;
}

} // namespace

unsigned time_for_takes(std::size_t takes) {
    constexpr std::size_t further_ms_per_take = 40;
    return static_cast<unsigned>(std::min<std::size_t>(
        vrdx::take_within_usual_ms + takes * further_ms_per_take, vrdx::take_within_longest_ms));
}

void enter_shown(const router_picture& now, std::vector<take_outcome>* outcomes) {
    for (take_outcome& one : *outcomes) {
        const auto index = static_cast<std::size_t>(one.asked.output) - 1;
        if (one.result.word != vrdx::take_word::confirmed && index < now.outputs.size() &&
            !now.outputs[index].waits_ms)
            one.shown = now.outputs[index].sources;
    }
}

int carry_out(driver_link* link, const std::vector<planned_take>& plan, const std::string& by,
              std::vector<take_outcome>* outcomes, bool* sent) {
    *sent = false;
    const int connected = connect_quietly(link);
    if (connected != exit_done)
        return connected;
    const vrdx::take_order order = order_of(plan, by);
    const std::uint64_t deadline = monotonic_us() + order.within_ms * std::uint64_t{1000} + link->timeout_us;
    vrdx::take_answer answer;
    const vrdx::outcome ended = take_with_progress(&link->connection, order, &answer, deadline);
    *sent = ended == vrdx::outcome::gone || ended == vrdx::outcome::late;
    if (ended != vrdx::outcome::done) {
        const int result = failure_of(link, ended);
        const std::string older = older_driver(link->connection.problem, "take");
        if (result == exit_refused && !older.empty())
            link->problem = older + ", or take with --no-wait, which no answer follows";
        return result;
    }
    outcomes->clear();
    for (std::size_t i = 0; i < plan.size(); ++i)
        outcomes->push_back(
            {plan[i], i < answer.results.size() ? answer.results[i].result : vrdx::take_result(), {}});
    look_at_failures(link, outcomes);
    return exit_done;
}

std::string outcome_text(const take_outcome& outcome, const router_picture& picture) {
    const std::string text =
        output_text(picture, outcome.asked.output) + ": " + result_text(outcome.result, picture);
    if (outcome.result.word == vrdx::take_word::shows)
        return text + " of " + sources_text(picture, outcome.asked.after);
    if (!outcome.shown)
        return text;
    if (*outcome.shown == outcome.asked.after)
        return text + "; it shows " + sources_text(picture, *outcome.shown) + " now";
    return text + "; it shows " + sources_text(picture, *outcome.shown) + ", not " +
           sources_text(picture, outcome.asked.after);
}

bool all_confirmed(const std::vector<take_outcome>& outcomes) {
    return std::all_of(outcomes.begin(), outcomes.end(),
                       [](const take_outcome& one) { return one.result.word == vrdx::take_word::confirmed; });
}

json_object json_of_outcomes(const std::vector<take_outcome>& outcomes, const router_picture& picture) {
    json_object outputs = json_object::array();
    for (const take_outcome& one : outcomes) {
        const auto index = static_cast<std::size_t>(one.asked.output) - 1;
        outputs.push_back({{"output", one.asked.output},
                           {"name", index < picture.outputs.size() ? picture.outputs[index].name : ""},
                           {"asked", json_of_sources(one.asked.after)},
                           {"confirmed", one.result.word == vrdx::take_word::confirmed},
                           {"result", vrdx::take_word_text(one.result.word)},
                           {"text", one.result.text}});
        if (one.shown)
            outputs.back()["shown"] = json_of_sources(*one.shown);
    }
    return {{"confirmed", all_confirmed(outcomes)}, {"outputs", outputs}};
}

int run_and_tell(driver_link* link, const invocation& call, const std::vector<planned_take>& plan,
                 const router_picture& picture, std::vector<take_outcome>* outcomes) {
    bool sent = false;
    const int result = carry_out(link, plan, call.by, outcomes, &sent);
    if (result != exit_done) {
        failed(result, link->problem);
        if (sent)
            failed(result, "nobody knows whether these outputs switched: " + number_list(outputs_of(plan)));
        return result;
    }
    if (call.json)
        std::puts(json_line(json_of_outcomes(*outcomes, picture)).c_str());
    for (const take_outcome& one : *outcomes)
        if (!call.json && one.result.word != vrdx::take_word::confirmed)
            failed(exit_refused, outcome_text(one, picture));
    return all_confirmed(*outcomes) ? exit_done : exit_refused;
}

comm_socket_v4_packet route_request(const std::vector<output_take>& takes) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "route", nullptr);
    for (const output_take& one : takes) {
        std::string text = std::to_string(one.output) + '=' + std::to_string(one.sources.audio);
        if (one.sources.audio != one.sources.video)
            text += ',' + std::to_string(one.sources.video);
        comm_socket_v4_packet_write_arg(&request, text);
    }
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

int settle(driver_link* link, const std::vector<int>& outputs, router_picture* picture) {
    const std::uint64_t deadline = deadline_of(*link);
    std::uint64_t end = deadline;
    for (;;) {
        const waiting now = waiting_of(*picture, outputs);
        if (now == waiting::timed)
            end = deadline;
        else if (end == deadline)
            end = std::min(deadline, monotonic_us() + last_moment_us);
        if (now == waiting::none || monotonic_us() >= end)
            return exit_done;
        poll(nullptr, 0, look_period_ms);
        const int result = ask_picture_quietly(link, picture);
        if (result != exit_done)
            return result;
    }
}
