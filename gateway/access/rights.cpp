#include "rights.h"

#include <algorithm>

namespace gateway {
namespace {

std::string role_problem(const token& who, role needed, std::string_view what) {
    if (who.right >= needed)
        return {};
    return std::string(what) + " needs the role " + std::string(role_word(needed)) + "; token \"" + who.name +
           "\" has the role " + std::string(role_word(who.right));
}

std::string place_problem(const token& who, const number_list& list, std::string_view kind, int number) {
    if (list.has(number))
        return {};
    return std::string(kind) + " " + std::to_string(number) + " is beyond token \"" + who.name +
           "\"; possible: " + list.text();
}

std::string router_problem(const token& who, std::string_view router) {
    return may_see(who, router) ? std::string() : "token \"" + who.name + "\" knows no such router";
}

// The first of them that is one.
std::string first_problem(std::initializer_list<std::string> problems) {
    for (const std::string& problem : problems)
        if (!problem.empty())
            return problem;
    return {};
}

} // namespace

bool may_see(const token& who, std::string_view router) {
    if (who.right < role::view)
        return false;
    return who.routers.empty() ||
           std::find(who.routers.begin(), who.routers.end(), router) != who.routers.end();
}

std::string take_problem(const token& who, std::string_view router, int output,
                         std::span<const int> sources) {
    std::string problem =
        first_problem({router_problem(who, router), role_problem(who, role::operate, "a take"),
                       place_problem(who, who.outputs, "output", output)});
    for (const int source : sources)
        if (problem.empty() && source != 0)
            problem = place_problem(who, who.inputs, "input", source);
    return problem;
}

std::string lock_problem(const token& who, std::string_view router, int output) {
    return first_problem({router_problem(who, router), role_problem(who, role::operate, "a lock"),
                          place_problem(who, who.outputs, "output", output)});
}

std::string force_problem(const token& who, std::string_view router, int output) {
    return first_problem({router_problem(who, router),
                          role_problem(who, role::lock, "to remove a lock by force"),
                          place_problem(who, who.outputs, "output", output)});
}

std::string rename_problem(const token& who, std::string_view router, bool output, int number) {
    return first_problem(
        {router_problem(who, router), role_problem(who, role::lock, "a name"),
         place_problem(who, output ? who.outputs : who.inputs, output ? "output" : "input", number)});
}

std::string admin_problem(const token& who) {
    return role_problem(who, role::admin, "this");
}

std::string grant_problem(const token& who, const token& wish) {
    std::string problem = admin_problem(who);
    if (problem.empty() && who.id == 0)
        problem = "who asks without a token makes none; possible: a token with the role admin";
    const auto is_seen = [&who](const std::string& router) { return may_see(who, router); };
    const bool sees_all =
        who.routers.empty() ||
        (!wish.routers.empty() && std::all_of(wish.routers.begin(), wish.routers.end(), is_seen));
    if (problem.empty() && !sees_all)
        problem = "token \"" + who.name + "\" knows some routers alone; possible: some of these";
    if (problem.empty() && !who.outputs.holds(wish.outputs))
        problem = "those outputs are beyond token \"" + who.name + "\"; possible: " + who.outputs.text();
    if (problem.empty() && !who.inputs.holds(wish.inputs))
        problem = "those inputs are beyond token \"" + who.name + "\"; possible: " + who.inputs.text();
    return problem;
}

} // namespace gateway
