#include "take_check.h"

#include <algorithm>
#include <map>

namespace {

std::string problem_with(int output, const crosspoint& asked, const router_status& status) {
    const std::string name = "output " + std::to_string(output);
    const auto index = static_cast<std::size_t>(output) - 1;
    if (index < status.outputs.size()) {
        const crosspoint& shown = status.outputs[index].source;
        if (shown == asked)
            return {};
        return name + " shows " + crosspoint_text(shown) + " instead of " + crosspoint_text(asked);
    }
    const std::string count = std::to_string(status.outputs.size());
    if (may_show_fewer_outputs(status))
        return name + " cannot be confirmed: the driver's status shows outputs 1 to " + count + " only";
    return name + " does not exist: the router has " + count +
           (status.outputs.size() == 1 ? " output" : " outputs");
}

} // namespace

std::vector<take_result> check_takes(const std::vector<take>& takes, const router_status& status) {
    std::map<int, crosspoint> asked;
    for (const take& one : takes)
        asked[one.output] = one.source;
    std::vector<take_result> results;
    for (const auto& [output, source] : asked) {
        take_result result{output, source, std::nullopt, problem_with(output, source, status)};
        const auto index = static_cast<std::size_t>(output) - 1;
        if (index < status.outputs.size())
            result.shown = status.outputs[index].source;
        results.push_back(result);
    }
    return results;
}

bool all_confirmed(const std::vector<take_result>& results) {
    return std::all_of(results.begin(), results.end(),
                       [](const take_result& result) { return result.problem.empty(); });
}
