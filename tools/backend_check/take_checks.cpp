#include "checks.h"
#include "router.h"
#include "taking.h"

namespace {

constexpr std::size_t most_listed = 12;
constexpr std::chrono::milliseconds digesting_time{300};

std::string listed(const std::vector<int>& outputs) {
    std::string text = outputs.size() == 1 ? "output" : "outputs";
    for (std::size_t i = 0; i < outputs.size() && i < most_listed; ++i)
        text += (i == 0 ? " " : ", ") + std::to_string(outputs[i] + 1);
    if (outputs.size() > most_listed)
        text += " and " + std::to_string(outputs.size() - most_listed) + " more";
    return text;
}

// Why nothing followed in time. Waits a little longer, because too late is another fault than never.
std::string why_unconfirmed(conversation& talk, const std::vector<crosspoint>& takes, const taken& result) {
    if (!result.sent || child_has_ended(talk.child))
        return child_has_ended(talk.child) ? why_nothing_came(talk) : "it does not read its input";
    if (!result.kept.empty())
        return "another source was reported for " + listed(result.kept);
    const auto asked = check_clock::now();
    const taken later = look_again(talk, takes, talk.patience);
    if (later.followed.empty() && later.kept.empty())
        return "no report of " + listed(result.silent);
    const auto late = std::chrono::ceil<std::chrono::milliseconds>(check_clock::now() - asked);
    return "the report came only after " + std::to_string((confirmation_time + late).count()) + " ms";
}

const router_output& obedient_output(const conversation& talk) {
    return router_outputs.at(static_cast<std::size_t>(talk.obedient_output));
}

check_outcome check_take(conversation& talk, int audio, int video) {
    const std::vector<crosspoint> takes = {{talk.obedient_output, audio, video}};
    const taken result = take_all(talk, takes);
    if (result.followed.size() == 1)
        return passed();
    return failed(why_unconfirmed(talk, takes, result));
}

check_outcome confirms_salvo(conversation& talk) {
    std::vector<crosspoint> takes;
    takes.reserve(router_outputs.size());
    for (int output = 0; output < output_count; ++output)
        takes.push_back({output, output % input_count, output % input_count});
    const taken result = take_all(talk, takes);
    if (result.followed.empty())
        return failed(why_unconfirmed(talk, takes, result));
    talk.obedient_output = result.followed.front();
    check_outcome answer = passed();
    if (!result.kept.empty())
        answer.notes.push_back(listed(result.kept) + ": reported with another source than asked for");
    if (!result.silent.empty())
        answer.notes.push_back(listed(result.silent) + ": not confirmed, the driver rolls such a take back");
    return answer;
}

check_outcome confirms_another_source(conversation& talk) {
    const int current = obedient_output(talk).video_input;
    const int other = (current + 1) % input_count;
    if (other == current)
        return skipped("the router has one input");
    return check_take(talk, other, other);
}

check_outcome confirms_same_source(conversation& talk) {
    const int current = obedient_output(talk).video_input;
    return check_take(talk, current, current);
}

// A router that always shows some source says so by reporting the one it keeps.
check_outcome confirms_no_source(conversation& talk) {
    const std::vector<crosspoint> takes = {{talk.obedient_output, -1, -1}};
    const taken result = take_all(talk, takes);
    if (result.kept.empty())
        return result.followed.empty() ? failed(why_unconfirmed(talk, takes, result)) : passed();
    check_outcome answer = passed();
    answer.notes.push_back(listed(result.kept) + " keeps a source");
    return answer;
}

check_outcome confirms_split_take(conversation& talk) {
    if (!split_levels)
        return skipped("it announces no separate levels");
    if (input_count < 2)
        return skipped("the router has one input");
    return check_take(talk, 0, 1);
}

// What was only added is shown to nobody: clients would see half a salvo, and takes that are never flushed.
check_outcome waits_for_the_flush(conversation& talk) {
    const int current = obedient_output(talk).video_input;
    const int other = (current + 1) % input_count;
    if (other == current)
        return skipped("the router has one input");
    const std::vector<crosspoint> takes = {{talk.obedient_output, other, other}};
    send_without_flush(talk, takes);
    if (!talk.probe.empty())
        answers_report(talk, "outputs");
    const bool switched = look_again(talk, takes, digesting_time).followed.size() == 1;
    send_flush(talk);
    wait_for_silence(talk, digesting_time);
    if (!switched)
        return passed();
    return failed("output " + std::to_string(talk.obedient_output + 1) +
                  " was reported as switched before the flush");
}

} // namespace

void add_take_checks(std::vector<check>& checks) {
    checks.push_back({"confirms a salvo of all outputs within one second", confirms_salvo, true});
    checks.push_back({"confirms a take of another source within one second", confirms_another_source, true});
    checks.push_back({"confirms a take of the same source within one second", confirms_same_source, true});
    checks.push_back({"confirms a take of no source within one second", confirms_no_source, true});
    checks.push_back(
        {"confirms a take of video and audio apart within one second", confirms_split_take, true});
    checks.push_back({"switches nothing before the flush", waits_for_the_flush, true});
}
