#include "take_body.h"

#include "json_reading.h"
#include "packet_client.h"

#include <set>

namespace gateway {

namespace {

constexpr const char* take_forms =
    R"(A take is {"output": 1, "input": 3} or {"output": 1, "sources": {"video": 3, "audio": "Name"}}.)";

std::optional<int> number_of(const json& value, std::size_t first, std::size_t last) {
    if (!value.is_number_integer())
        return std::nullopt;
    const auto number = value.get<std::int64_t>();
    if (number < static_cast<std::int64_t>(first) || number > static_cast<std::int64_t>(last))
        return std::nullopt;
    return static_cast<int>(number);
}

// Member `name` as a source. False with a sentence when it is there and is none.
bool read_source(const json& object, const char* name, std::optional<source_wish>* source,
                 std::string* problem) {
    const auto found = object.find(name);
    if (found == object.end())
        return true;
    if (found->is_string() && !found->get_ref<const std::string&>().empty())
        *source = found->get<std::string>();
    else if (const auto number = number_of(*found, 0, vrdx::picture_inputs_limit))
        *source = *number;
    else {
        *problem = "A source has to be the number of an input, 0 for none, or an input's name. " +
                   std::string(take_forms);
        return false;
    }
    return true;
}

bool read_sources(const json& take, output_wish* wish, std::string* problem) {
    std::optional<source_wish> all;
    if (!read_source(take, "input", &all, problem))
        return false;
    if (const auto sources = take.find("sources"); sources != take.end()) {
        *problem = members_problem(*sources, {"all", "video", "audio"});
        if (!problem->empty() || all) {
            *problem = *problem + (problem->empty() ? "" : " ") + take_forms;
            return false;
        }
        if (!read_source(*sources, "all", &all, problem) ||
            !read_source(*sources, "video", &wish->video, problem) ||
            !read_source(*sources, "audio", &wish->audio, problem))
            return false;
    }
    const bool levels = wish->video || wish->audio;
    if (all.has_value() == levels) {
        *problem =
            "A take needs its sources, either of all levels or level by level. " + std::string(take_forms);
        return false;
    }
    if (all)
        wish->video = wish->audio = all;
    return true;
}

} // namespace

bool read_output_wish(const json& take, output_wish* wish, std::string* problem) {
    const auto output = take.find("output");
    const auto number =
        output == take.end() ? std::nullopt : number_of(*output, 1, vrdx::picture_outputs_limit);
    if (!number) {
        *problem = "\"output\" has to be the number of an output, from 1. " + std::string(take_forms);
        return false;
    }
    wish->output = *number;
    return read_sources(take, wish, problem);
}

bool read_manner(const json& body, unsigned* within_ms, bool* all_or_nothing, std::string* problem) {
    if (const auto within = body.find("within"); within != body.end()) {
        const auto number = number_of(*within, vrdx::take_within_shortest_ms, vrdx::take_within_longest_ms);
        if (!number) {
            *problem = "\"within\" has to be milliseconds, " + std::to_string(vrdx::take_within_shortest_ms) +
                       " to " + std::to_string(vrdx::take_within_longest_ms) + ".";
            return false;
        }
        *within_ms = static_cast<unsigned>(*number);
    }
    if (const auto all = body.find("all_or_nothing"); all != body.end()) {
        if (!all->is_boolean()) {
            *problem = "\"all_or_nothing\" has to be true or false.";
            return false;
        }
        *all_or_nothing = all->get<bool>();
    }
    return true;
}

std::optional<takes_wish> read_takes(const json& body, std::string* problem) {
    *problem = members_problem(body, {"takes", "within", "all_or_nothing"});
    takes_wish wish;
    if (!problem->empty() || !read_manner(body, &wish.within_ms, &wish.all_or_nothing, problem))
        return std::nullopt;
    const auto takes = body.find("takes");
    if (takes == body.end() || !takes->is_array() || takes->empty() ||
        takes->size() > vrdx::takes_per_order_limit) {
        *problem = "\"takes\" has to be a list of 1 to " + std::to_string(vrdx::takes_per_order_limit) +
                   " takes. " + take_forms;
        return std::nullopt;
    }
    std::set<int> outputs;
    for (const json& each : *takes) {
        output_wish& added = wish.takes.emplace_back();
        *problem = members_problem(each, {"output", "input", "sources"});
        if (!problem->empty() || !read_output_wish(each, &added, problem))
            return std::nullopt;
        if (!outputs.insert(added.output).second) {
            *problem =
                "Output " + std::to_string(added.output) + " is there twice; each output can be taken once.";
            return std::nullopt;
        }
    }
    return wish;
}

} // namespace gateway
