#include "output.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace {

const char* word_of(verdict result) {
    switch (result) {
    case verdict::ok:
        return "ok";
    case verdict::failed:
        return "FAIL";
    case verdict::skipped:
        return "skip";
    }
    return "";
}

auto count_of(const std::vector<checked>& all, verdict result) {
    return std::count_if(all.begin(), all.end(),
                         [&](const checked& one) { return one.result.result == result; });
}

} // namespace

void print_line(const checked& one) {
    std::printf("%-5s %s", word_of(one.result.result), one.name.c_str());
    if (!one.result.text.empty())
        std::printf(": %s", one.result.text.c_str());
    std::printf("\n");
    for (const std::string& note : one.result.notes)
        std::printf("note  %s\n", note.c_str());
    std::fflush(stdout);
}

void print_summary(const std::vector<checked>& all) {
    std::printf("%td ok, %td failed, %td skipped\n", count_of(all, verdict::ok),
                count_of(all, verdict::failed), count_of(all, verdict::skipped));
}

void print_json(const conversation& talk, const std::vector<checked>& all) {
    nlohmann::ordered_json checks = nlohmann::ordered_json::array();
    for (const checked& one : all)
        checks.push_back({{"check", one.name},
                          {"result", word_of(one.result.result)},
                          {"text", one.result.text},
                          {"notes", one.result.notes}});
    const nlohmann::ordered_json whole = {{"program", talk.program},
                                          {"item", talk.item},
                                          {"passed", all_passed(all)},
                                          {"ok", count_of(all, verdict::ok)},
                                          {"failed", count_of(all, verdict::failed)},
                                          {"skipped", count_of(all, verdict::skipped)},
                                          {"checks", checks}};
    // A path may hold any bytes.
    std::printf("%s\n", whole.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

bool all_passed(const std::vector<checked>& all) {
    return count_of(all, verdict::failed) == 0;
}
