#include "take_wish.h"

#include <algorithm>
#include <unordered_map>

namespace gateway {

namespace {

std::string in_quotes(const std::string& name) {
    return '"' + name + '"';
}

// Finds inputs by name; the names are read when the first one is asked for.
class input_names {
public:
    explicit input_names(const vrdx::router_picture& picture) : picture_(picture) {}

    // 0 and a sentence when the name is no input's, or that of several.
    int number_of(const std::string& name, std::string* problem) {
        if (numbers_.empty())
            for (std::size_t at = 0; at < picture_.inputs.size(); at++)
                numbers_[picture_.inputs[at].name].push_back(static_cast<int>(at + 1));
        const auto found = numbers_.find(name);
        if (found == numbers_.end()) {
            *problem = "No input has the name " + in_quotes(name) + "; the router's picture has the names.";
            return 0;
        }
        if (found->second.size() > 1) {
            *problem = "Several inputs have the name " + in_quotes(name) + ", the first ones are " +
                       std::to_string(found->second[0]) + " and " + std::to_string(found->second[1]) +
                       "; take by number.";
            return 0;
        }
        return found->second[0];
    }

private:
    const vrdx::router_picture& picture_;
    std::unordered_map<std::string, std::vector<int>> numbers_;
};

// The number of a source; what is shown where none was named.
bool plan_level(const std::optional<source_wish>& wish, int shown, input_names* names, int* source,
                std::string* problem) {
    if (!wish)
        *source = shown;
    else if (const int* number = std::get_if<int>(&*wish))
        *source = *number;
    else {
        *source = names->number_of(std::get<std::string>(*wish), problem);
        return *source != 0;
    }
    return true;
}

} // namespace

bool needs_picture(const takes_wish& wish) {
    const auto is_number = [](const std::optional<source_wish>& source) {
        return source && std::holds_alternative<int>(*source);
    };
    return !std::all_of(wish.takes.begin(), wish.takes.end(), [&](const output_wish& each) {
        return is_number(each.video) && is_number(each.audio);
    });
}

std::optional<std::vector<planned_take>>
plan_takes(const takes_wish& wish, const vrdx::router_picture& picture, std::string* problem) {
    input_names names(picture);
    std::vector<planned_take> plan;
    for (const output_wish& wanted : wish.takes) {
        planned_take& planned = plan.emplace_back();
        planned.take.output = wanted.output;
        const auto place = static_cast<std::size_t>(wanted.output - 1);
        if (place < picture.outputs.size())
            planned.shown = picture.outputs[place].sources;
        planned.keeps_level = !wanted.video || !wanted.audio;
        planned.expects = planned.keeps_level || wanted.only_if;
        if (wanted.only_if)
            planned.shown = *wanted.only_if;
        vrdx::level_sources& sources = planned.take.sources;
        if (!plan_level(wanted.video, planned.shown.video, &names, &sources.video, problem) ||
            !plan_level(wanted.audio, planned.shown.audio, &names, &sources.audio, problem))
            return std::nullopt;
        if (wanted.video)
            planned.named_sources.push_back(sources.video);
        if (wanted.audio)
            planned.named_sources.push_back(sources.audio);
        // Also the named level: the driver compares both with what was shown, so that no newer take is
        // undone.
        const vrdx::level_sources& shown = planned.shown;
        if (planned.keeps_level &&
            (shown.video == vrdx::source_unknown || shown.audio == vrdx::source_unknown))
            planned.reason = "what the output shows is not wholly known; name the sources of both levels";
    }
    return plan;
}

void refuse_what_is_not_there(std::vector<planned_take>* plan, const vrdx::router_picture& picture) {
    const auto inputs = static_cast<int>(picture.inputs.size());
    const auto outputs = static_cast<int>(picture.outputs.size());
    for (planned_take& each : *plan) {
        const vrdx::level_sources& sources = each.take.sources;
        if (!each.reason.empty())
            continue;
        each.result = "refused";
        if (each.take.output > outputs)
            each.reason = "no such output";
        else if (sources.video > inputs || sources.audio > inputs)
            each.reason = "no such input";
        else if (!picture.split_levels && sources.video != sources.audio)
            each.reason = "levels are not separate";
    }
}

} // namespace gateway
