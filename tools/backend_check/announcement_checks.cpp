#include "checks.h"
#include "plain_text.h"
#include "router.h"
#include "taking.h"

namespace {

constexpr std::chrono::milliseconds start_silence{200};

// Checks the count of `what` as it was announced; empty, or what is wrong with it.
std::string fault_of_size(const conversation& talk, const std::string& what, int most) {
    const auto announced = talk.info.find(what);
    if (announced == talk.info.end())
        return "there is no field " + in_quotes(what);
    const std::string& text = announced->second;
    const std::optional<int> count = number_of_digits(text);
    if (count && *count >= 1 && *count <= most)
        return "";
    return what + "=" + in_quotes(text) + " is no number from 1 to " + std::to_string(most);
}

check_outcome announces_info(conversation& talk) {
    if (wait_for(talk, talk.patience, [&] { return talk.reports["info"] > 0; })) {
        wait_for_silence(talk, start_silence);
        return passed();
    }
    if (talk.wrong_type.count > 0)
        return failed("only " + talk.wrong_type.first);
    return failed(why_nothing_came(talk));
}

check_outcome announces_sizes_in_range(conversation& talk) {
    if (talk.reports["info"] == 0)
        return skipped("there was no info");
    for (const auto& [what, most] : {std::pair("inputs", max_inputs), std::pair("outputs", max_outputs)})
        if (const std::string fault = fault_of_size(talk, what, most); !fault.empty())
            return failed(fault);
    return passed(talk.info["inputs"] + " inputs, " + talk.info["outputs"] + " outputs" +
                  (split_levels ? ", levels video and audio" : ""));
}

check_outcome answers_report_of_outputs(conversation& talk) {
    forget_reported_routing();
    if (!answers_report(talk, "outputs"))
        return failed(why_nothing_came(talk));
    talk.probe = "outputs";
    wait_for_silence(talk, start_silence); // the answer may come in several reports
    check_outcome result = passed();
    const std::size_t reported = reported_routing().size();
    if (reported < router_outputs.size())
        result.notes.push_back("the routing of " + std::to_string(reported) + " of " +
                               std::to_string(router_outputs.size()) + " outputs is reported");
    return result;
}

check_outcome answers_report_of_inputs(conversation& talk) {
    if (!answers_report(talk, "inputs"))
        return failed(why_nothing_came(talk));
    if (talk.probe.empty())
        talk.probe = "inputs";
    return passed();
}

} // namespace

bool answers_report(conversation& talk, const std::string& what) {
    const unsigned before = talk.reports[what];
    send_message(talk, "report", "command", {{"what", what}});
    return wait_for(talk, talk.patience, [&] { return talk.reports[what] > before; });
}

void add_announcement_checks(std::vector<check>& checks) {
    checks.push_back({"announces info", announces_info});
    checks.push_back({"announces sizes in range", announces_sizes_in_range});
    checks.push_back({"answers report of outputs", answers_report_of_outputs});
    checks.push_back({"answers report of inputs", answers_report_of_inputs});
}
