// Tokens that an admin makes for others, such as a panel that he pairs.
#include "gateway/access/rights.h"
#include "gateway/audit/history_keeper.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "history_notes.h"
#include "json_reading.h"
#include "problem.h"
#include "time_text.h"

#include <algorithm>

namespace gateway {

namespace {

// False and a sentence in *problem when the member is there and is no list. Without it the list has all.
bool read_numbers(const json& body, const char* member, number_list* list, std::string* problem) {
    const auto text = body.find(member);
    if (text == body.end())
        return true;
    if (!text->is_string()) {
        *problem = std::string("\"") + member + R"(" has to be a text such as "1-8,12".)";
        return false;
    }
    const auto read = number_list::parse(text->get_ref<const std::string&>(), problem);
    if (read)
        *list = *read;
    else
        *problem = std::string("\"") + member + "\": " + *problem + ".";
    return read.has_value();
}

bool read_routers(const json& body, std::vector<std::string>* routers, std::string* problem) {
    const auto list = body.find("routers");
    if (list == body.end())
        return true;
    const auto is_text = [](const json& each) { return each.is_string(); };
    if (!list->is_array() || list->empty() || !std::all_of(list->begin(), list->end(), is_text)) {
        *problem = "\"routers\" has to be an array of names; without it the token is for all routers.";
        return false;
    }
    for (const json& each : *list)
        if (std::find(routers->begin(), routers->end(), each) == routers->end())
            routers->push_back(each.get<std::string>());
    return true;
}

// Nothing and a sentence in *problem for a wish that cannot be.
std::optional<token> wished_token(const json& body, std::string* problem) {
    *problem = members_problem(body, {"name", "role", "routers", "outputs", "inputs"});
    if (!problem->empty())
        return std::nullopt;
    token wish;
    const auto name = body.find("name"), right = body.find("role");
    if (name == body.end() || !name->is_string()) {
        *problem = "\"name\" has to be the new token's name.";
        return std::nullopt;
    }
    wish.name = name->get<std::string>();
    const auto known = right != body.end() && right->is_string()
                           ? role_of_word(right->get_ref<const std::string&>())
                           : std::nullopt;
    if (!known || *known == role::none) {
        *problem = R"("role" has to be "view", "operate", "lock" or "admin".)";
        return std::nullopt;
    }
    wish.right = *known;
    if (!read_routers(body, &wish.routers, problem) ||
        !read_numbers(body, "outputs", &wish.outputs, problem) ||
        !read_numbers(body, "inputs", &wish.inputs, problem))
        return std::nullopt;
    *problem = token_problem(wish);
    return problem->empty() ? std::optional(wish) : std::nullopt;
}

// Why there is no room for it beside those there are.
std::string crowd_problem(const std::vector<token>& others, const std::string& name) {
    if (std::any_of(others.begin(), others.end(), [&](const token& each) { return each.name == name; }))
        return "There is a token of this name already; possible is another name.";
    return others.size() < tokens_limit ? ""
                                        : "There are " + std::to_string(tokens_limit) +
                                              " tokens already; possible is to remove others first.";
}

} // namespace

void make_token(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    std::string problem;
    const auto wish = wished_token(incoming->body, &problem);
    if (!wish)
        return answer(problem_reply(422, problem));
    if (problem = grant_problem(*incoming->who, *wish); !problem.empty()) {
        note_refusal(world, *incoming, problem);
        return answer(problem_reply(403, problem));
    }
    if (problem = crowd_problem(world.access.list(), wish->name); !problem.empty())
        return answer(problem_reply(409, problem));
    const std::string text = world.access.add(*wish, seconds_since_1970(), &problem);
    if (text.empty())
        return answer(problem_reply(500, problem));
    history_entry entry = entry_of_call(world, *incoming);
    entry.after = wish->name + ", " + std::string(role_word(wish->right));
    entry.result = "made";
    world.history.note(std::move(entry));
    json said = token_json(*wish);
    said["token"] = text;
    answer(json_reply(201, said));
}

} // namespace gateway
