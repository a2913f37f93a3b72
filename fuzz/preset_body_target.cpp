// Bodies about presets: what is read is within the limits, is kept and told without a loss, and a saved file
// of it means the same.
#include "gateway/api/json_reading.h"
#include "gateway/api/preset_body.h"
#include "gateway/api/preset_json.h"
#include "gateway/settings/limits.h"
#include "target.h"

#include <set>

using namespace gateway;

namespace {

bool is_source(const std::optional<source_wish>& source) {
    if (!source)
        return true;
    if (const int* number = std::get_if<int>(&*source))
        return *number >= 0 && *number <= static_cast<int>(vrdx::picture_inputs_limit);
    return !std::get<std::string>(*source).empty();
}

bool same(const preset_take& one, const preset_take& other) {
    return one.router == other.router && one.wish.output == other.wish.output &&
           one.wish.video == other.wish.video && one.wish.audio == other.wish.audio;
}

void check_takes(const std::vector<preset_take>& takes) {
    FUZZ_CHECK(!takes.empty() && takes.size() <= preset_takes_limit);
    std::set<std::pair<std::string, int>> seen;
    for (const preset_take& each : takes) {
        const output_wish& wish = each.wish;
        FUZZ_CHECK(seen.emplace(each.router, wish.output).second);
        FUZZ_CHECK(!each.router.empty() && each.router.size() <= router_name_limit);
        FUZZ_CHECK(wish.output >= 1 && wish.output <= static_cast<int>(vrdx::picture_outputs_limit));
        FUZZ_CHECK(wish.video || wish.audio);
        FUZZ_CHECK(is_source(wish.video) && is_source(wish.audio));
        FUZZ_CHECK(source_of_kept(kept_source(wish.video)) == wish.video);
        FUZZ_CHECK(source_of_kept(kept_source(wish.audio)) == wish.audio);
    }
}

void check_told(const std::vector<preset_take>& takes) {
    const json told = {{"takes", preset_json({{}, takes}, 0)["takes"]}};
    std::string problem;
    const auto again = read_preset(told, &problem);
    FUZZ_CHECK(again && again->size() == takes.size());
    for (std::size_t at = 0; at < takes.size(); ++at)
        FUZZ_CHECK(same(takes[at], (*again)[at]));
}

void check_saved_file(const std::vector<preset_take>& takes) {
    shown_router router;
    router.name = "studio";
    std::string problem;
    const auto file = snapshot_json({{}, takes}, router, &problem);
    FUZZ_CHECK(file.has_value());
    const auto again = read_snapshot(*file, "studio", &problem);
    FUZZ_CHECK(again && again->size() == takes.size());
    for (std::size_t at = 0; at < takes.size(); ++at)
        FUZZ_CHECK(same(takes[at], (*again)[at]));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string problem;
    const auto body = read_json(as_text(data, size), &problem);
    if (!body)
        return 0;
    const auto takes = read_preset(*body, &problem);
    FUZZ_CHECK(takes.has_value() == problem.empty());
    if (takes) {
        check_takes(*takes);
        check_told(*takes);
    }
    const auto saved = read_snapshot(*body, "studio", &problem);
    FUZZ_CHECK(saved.has_value() == problem.empty());
    if (saved) {
        check_takes(*saved);
        check_saved_file(*saved);
    }
    for (const bool may_be_dry : {true, false}) {
        const auto asked = read_recall(*body, may_be_dry, &problem);
        FUZZ_CHECK(asked.has_value() == problem.empty());
        FUZZ_CHECK(!asked || may_be_dry || !asked->dry_run);
    }
    return 0;
}
