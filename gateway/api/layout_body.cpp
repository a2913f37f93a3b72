#include "layout_body.h"

#include "gateway/settings/limits.h"
#include "json_reading.h"
#include "packet_client.h"

#include <algorithm>
#include <set>

namespace gateway {

namespace {

constexpr const char* colours[] = {"red", "orange", "yellow", "green", "blue", "violet"};

// Inputs or outputs, and how sentences begin about one of its members.
struct side {
    const char* name;
    std::size_t most;

    std::string member(const std::string& what) const {
        return '"' + what + "\" of \"" + name + '"';
    }
};

constexpr side sides[] = {{"inputs", vrdx::picture_inputs_limit}, {"outputs", vrdx::picture_outputs_limit}};

std::string colour_names() {
    std::string names;
    for (const char* colour : colours)
        names += (names.empty() ? "\"" : ", \"") + std::string(colour) + '"';
    return names;
}

bool is_colour(const json& value) {
    return value.is_string() && std::find(std::begin(colours), std::end(colours),
                                          value.get_ref<const std::string&>()) != std::end(colours);
}

// The numbers of a list, none of which is among `seen`.
bool read_numbers(const side& of, const std::string& what, const json& list, std::set<int>* seen, json* read,
                  std::string* problem) {
    *read = json::array();
    const auto is_new = [&](const json& each) {
        if (!each.is_number_integer())
            return false;
        const auto number = each.get<std::int64_t>();
        return number >= 1 && number <= static_cast<std::int64_t>(of.most) &&
               seen->insert(static_cast<int>(number)).second;
    };
    if (!list.is_array() || !std::all_of(list.begin(), list.end(), is_new)) {
        *problem = of.member(what) + " has to be a list of numbers from 1 to " + std::to_string(of.most) +
                   ", each once.";
        return false;
    }
    *read = list;
    return true;
}

// A list that may be left out.
bool read_list(const side& of, const char* what, const json& body, json* read, std::string* problem) {
    std::set<int> seen;
    const auto found = body.find(what);
    return read_numbers(of, what, found == body.end() ? json::array() : *found, &seen, read, problem);
}

// {"red": [1, 2], ...}; a number has one colour.
bool read_colours(const side& of, const json& body, json* read, std::string* problem) {
    *read = json::object();
    const auto found = body.find("colours");
    if (found == body.end())
        return true;
    std::set<int> seen;
    const auto is_known = [](const auto& each) { return is_colour(json(each.key())); };
    if (!found->is_object() || !std::all_of(found->items().begin(), found->items().end(), is_known)) {
        *problem = of.member("colours") + " has to be an object; its members can be " + colour_names() + ".";
        return false;
    }
    for (const auto& [colour, list] : found->items())
        if (!read_numbers(of, "colours", list, &seen, &(*read)[colour], problem))
            return false;
    return true;
}

bool read_category(const side& of, const json& one, std::set<std::string>* names, json* read,
                   std::string* problem) {
    *problem = members_problem(one, {"name", "colour", "members"});
    if (!problem->empty()) {
        *problem = of.member("categories") + ": " + *problem;
        return false;
    }
    const json name = one.value("name", json()), colour = one.value("colour", json());
    const auto is_name = [](const std::string& text) {
        return text.find_first_not_of(' ') != std::string::npos && is_plain_text(text, layout_name_limit);
    };
    if (!name.is_string() || !is_name(name.get_ref<const std::string&>()) ||
        !names->insert(name.get<std::string>()).second) {
        *problem = of.member("categories") + " need a \"name\" each, of 1 to " +
                   std::to_string(layout_name_limit) + " bytes without control characters, and each once.";
        return false;
    }
    if (!colour.is_null() && !is_colour(colour)) {
        *problem = "The \"colour\" of a category has to be " + colour_names() + " or null.";
        return false;
    }
    *read = {{"name", name}, {"colour", colour}};
    std::set<int> seen;
    return read_numbers(of, "members", one.value("members", json::array()), &seen, &(*read)["members"],
                        problem);
}

bool read_categories(const side& of, const json& body, json* read, std::string* problem) {
    *read = json::array();
    const auto found = body.find("categories");
    if (found == body.end())
        return true;
    if (!found->is_array() || found->size() > layout_categories_limit) {
        *problem = of.member("categories") + " has to be a list of at most " +
                   std::to_string(layout_categories_limit) +
                   R"(, each as {"name": "Cameras", "colour": "blue", "members": [1, 2]}.)";
        return false;
    }
    std::set<std::string> names;
    return std::all_of(found->begin(), found->end(), [&](const json& one) {
        return read_category(of, one, &names, &read->emplace_back(), problem);
    });
}

bool read_side(const side& of, const json& body, json* read, std::string* problem) {
    *problem = members_problem(body, {"categories", "order", "colours", "hidden", "favourites"});
    if (!problem->empty()) {
        *problem = '"' + std::string(of.name) + "\": " + *problem;
        return false;
    }
    return read_categories(of, body, &(*read)["categories"], problem) &&
           read_list(of, "order", body, &(*read)["order"], problem) &&
           read_colours(of, body, &(*read)["colours"], problem) &&
           read_list(of, "hidden", body, &(*read)["hidden"], problem) &&
           read_list(of, "favourites", body, &(*read)["favourites"], problem);
}

} // namespace

std::optional<json> read_layout(const json& body, std::string* problem) {
    *problem = members_problem(body, {"inputs", "outputs"});
    if (!problem->empty())
        return std::nullopt;
    json read = json::object();
    for (const side& each : sides)
        if (!read_side(each, body.value(each.name, json::object()), &read[each.name], problem))
            return std::nullopt;
    return read;
}

json plain_layout() {
    std::string ignored;
    return *read_layout(json::object(), &ignored);
}

} // namespace gateway
