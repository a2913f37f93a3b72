#include "undo_plan.h"

#include <algorithm>
#include <map>

namespace {

using vrdx::take_record;
using vrdx::take_word;

constexpr std::uint64_t one_request_ms = 120000; // a take is answered within one minute

bool may_have_switched(const take_record& record) {
    return record.result.word == take_word::confirmed || record.result.word == take_word::unknown;
}

// The take of each output in the last request; of several on one output the first tells what was there before
// and the last what was asked for.
std::map<int, take_record> last_takes(const std::vector<take_record>& records, std::uint64_t user,
                                      const std::string& by) {
    const auto is_of = [&](const take_record& one) {
        return one.user == user && one.by == by && one.way == "take";
    };
    std::map<int, take_record> takes;
    const auto newest = std::find_if(records.rbegin(), records.rend(), is_of);
    for (auto one = newest; one != records.rend(); ++one) {
        if (!is_of(*one) || one->process != newest->process ||
            one->time_ms + one_request_ms < newest->time_ms)
            continue;
        const auto [place, fresh] = takes.emplace(one->output, *one);
        if (!fresh && may_have_switched(*one))
            place->second.before = one->before;
    }
    return takes;
}

bool is_known(const level_sources& sources) {
    return sources.audio != vrdx::source_unknown && sources.video != vrdx::source_unknown;
}

} // namespace

undo_plan plan_undo(const std::vector<take_record>& records, std::uint64_t user, const std::string& by,
                    const router_picture& picture) {
    undo_plan plan;
    for (const auto& [output, record] : last_takes(records, user, by)) {
        plan.found = true;
        const std::string name = output_text(picture, output);
        if (static_cast<std::size_t>(output) > picture.outputs.size()) {
            plan.skipped.push_back(name + ": the router does not have it");
            continue;
        }
        const vrdx::picture_output& now = picture.outputs[static_cast<std::size_t>(output) - 1];
        if (!may_have_switched(record) || now.sources == record.before)
            continue; // it shows again what it showed before this take
        if (now.sources != record.wanted)
            plan.skipped.push_back(name + ": it shows " + sources_text(picture, now.sources) +
                                   " meanwhile, not the " + sources_text(picture, record.wanted) +
                                   " of your take");
        else if (!is_known(record.before))
            plan.skipped.push_back(name + ": nobody knows what it showed before");
        else
            plan.takes.push_back({output, record.wanted, record.before, true});
    }
    return plan;
}
