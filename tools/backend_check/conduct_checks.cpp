#include "checks.h"

namespace {

check_outcome judge(const finding& what) {
    if (what.count == 0)
        return passed();
    return failed(what.first + (what.count > 1 ? ", and " + std::to_string(what.count - 1) + " more" : ""));
}

check_outcome tags_log_lines(conversation& talk) {
    check_outcome result = judge(talk.untagged_log);
    if (result.result == verdict::ok)
        result.text = std::to_string(talk.log_lines) + (talk.log_lines == 1 ? " line" : " lines");
    return result;
}

// Older programs do not know this report, and that is no fault.
check_outcome says_link(conversation& talk) {
    check_outcome result = passed();
    if (talk.reports["link"] == 0)
        result.notes.emplace_back(
            "it never says whether it reaches its router: the driver shows the link as unknown");
    return result;
}

} // namespace

void add_conduct_checks(std::vector<check>& checks) {
    const auto add = [&](const char* name, finding conversation::*what) {
        checks.push_back({name, [what](conversation& talk) { return judge(talk.*what); }, false, false});
    };
    add("ends every report with a blank line", &conversation::unframed);
    add("gives every report the type \"message\"", &conversation::wrong_type);
    add("writes nothing but reports on standard output", &conversation::stray_output);
    add("writes no report on standard error", &conversation::report_in_log);
    checks.push_back({"tags its log lines with a known tag", tags_log_lines, false, false});
    checks.push_back({"may say how its link is", says_link, false, false});
}
