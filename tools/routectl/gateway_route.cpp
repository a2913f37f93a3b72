// Takes through a gateway.
#include "client_limits.h"
#include "gateway_link.h"
#include "monotonic_us.h"
#include "program_end.h"
#include "take_run.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>

namespace {

constexpr int look_period_ms = 100;

// A take of one level keeps what the other shows; so that must not wait for the router.
int settle_at_gateway(const invocation& call, const std::vector<int>& outputs, router_picture* picture,
                      std::string* problem) {
    const std::uint64_t deadline = monotonic_us() + call.timeout_us;
    const auto waits = [picture](int output) {
        const auto index = static_cast<std::size_t>(output) - 1;
        return index < picture->outputs.size() && picture->outputs[index].waits_ms.has_value();
    };
    while (std::any_of(outputs.begin(), outputs.end(), waits) && monotonic_us() < deadline) {
        poll(nullptr, 0, look_period_ms);
        const int result = ask_gateway_picture(call, picture, problem);
        if (result != exit_done)
            return result;
    }
    return exit_done;
}

gateway_json json_of_take(const wanted_take& wanted) {
    gateway_json take = {{"output", wanted.output}};
    if (wanted.audio && wanted.video && *wanted.audio == *wanted.video) {
        take["input"] = *wanted.audio;
        return take;
    }
    if (wanted.audio)
        take["sources"]["audio"] = *wanted.audio;
    if (wanted.video)
        take["sources"]["video"] = *wanted.video;
    return take;
}

void look_at_failures(const invocation& call, std::vector<take_outcome>* outcomes) {
    router_picture now;
    std::string problem;
    if (!all_confirmed(*outcomes) && ask_gateway_picture(call, &now, &problem) == exit_done)
        enter_shown(now, outcomes);
}

// Results in the order of the takes; a missing one is nobody's word.
std::vector<take_outcome> outcomes_of(const std::vector<planned_take>& plan, const gateway_json& results) {
    std::vector<take_outcome> outcomes;
    for (std::size_t i = 0; i < plan.size(); ++i) {
        const bool told = results.is_array() && i < results.size();
        outcomes.push_back({plan[i],
                            told
                                ? gateway_result(results[i])
                                : vrdx::take_result{vrdx::take_word::unknown, "the gateway did not tell", {}},
                            {}});
    }
    return outcomes;
}

// As over the socket, with the gateway's own words for what its locks and its reach decided.
json_object json_with_words(const std::vector<take_outcome>& outcomes, const router_picture& picture,
                            const gateway_json& results) {
    json_object object = json_of_outcomes(outcomes, picture);
    for (std::size_t i = 0; i < outcomes.size() && results.is_array() && i < results.size(); ++i) {
        const std::string word = text_in(results[i], "result");
        if (word == "locked" || word == "unavailable")
            object["outputs"][i]["result"] = word;
    }
    return object;
}

int send_and_tell(const invocation& call, const std::vector<wanted_take>& wanted,
                  const std::vector<planned_take>& plan, const router_picture& picture) {
    gateway_json takes = gateway_json::array();
    std::transform(wanted.begin(), wanted.end(), std::back_inserter(takes), json_of_take);
    const std::size_t within_ms = time_for_takes(takes.size());
    const gateway_json body = {{"takes", takes}, {"within", within_ms}};
    gateway_json answer;
    bool sent = false;
    std::string problem;
    const int result =
        ask_through_gateway(call, "POST", gateway_path(call, "/takes"), body.dump(),
                            within_ms * std::uint64_t{1000} + call.timeout_us, &answer, &sent, &problem);
    if (result != exit_done) {
        failed(result, problem);
        std::vector<int> outputs;
        std::transform(plan.begin(), plan.end(), std::back_inserter(outputs),
                       [](const planned_take& one) { return one.output; });
        if (sent)
            failed(result, "nobody knows whether these outputs switched: " + number_list(outputs));
        return result;
    }
    const gateway_json& results = answer["results"];
    std::vector<take_outcome> outcomes = outcomes_of(plan, results);
    look_at_failures(call, &outcomes);
    if (call.json)
        std::puts(json_line(json_with_words(outcomes, picture, results)).c_str());
    for (const take_outcome& one : outcomes)
        if (!call.json && one.result.word != vrdx::take_word::confirmed)
            failed(exit_refused, outcome_text(one, picture));
    return all_confirmed(outcomes) ? exit_done : exit_refused;
}

} // namespace

int run_route_through_gateway(const invocation& call) {
    router_picture picture;
    std::string problem;
    int result = ask_gateway_picture(call, &picture, &problem);
    if (result != exit_done)
        return failed(result, problem);
    if (!is_known(picture))
        return failed(exit_refused, "no router");
    const std::vector<wanted_take> wanted = read_take_words(call.words, picture, &problem);
    if (wanted.empty())
        return failed(exit_usage, problem);
    result = settle_at_gateway(call, one_level_outputs(wanted), &picture, &problem);
    if (result != exit_done)
        return failed(result, problem);
    const std::vector<planned_take> plan = plan_takes(wanted, picture, &problem);
    if (plan.empty())
        return failed(exit_usage, problem);
    if (!call.dry_run)
        return send_and_tell(call, wanted, plan, picture);
    print_plan(call.json, plan, picture);
    return exit_done;
}
