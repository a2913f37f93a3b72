#include "token_command.h"

#include "access_store.h"
#include "gateway/settings/limits.h"
#include "state_owner.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>

namespace gateway {
namespace {

int failed(std::ostream& err, int code, const std::string& problem) {
    err << "vrdx_gateway: " << problem << '\n';
    return code;
}

bool read_list(const std::optional<std::string>& text, const char* option, number_list* list,
               std::string* problem) {
    if (!text)
        return true;
    const std::optional<number_list> read = number_list::parse(*text, problem);
    if (!read) {
        *problem = std::string(option) + ": " + *problem;
        return false;
    }
    *list = *read;
    return true;
}

// Names, not files: what people write as "studio.item" is the router "studio".
std::string router_name(std::string name) {
    constexpr std::string_view ending = ".item";
    if (name.size() > ending.size() && name.ends_with(ending))
        name.resize(name.size() - ending.size());
    return name;
}

// Nothing and a sentence in *problem for a wish that cannot be.
std::optional<token> wished_token(const command_line& line, std::string* problem) {
    token wish;
    wish.name = line.token_name;
    const std::optional<role> right = role_of_word(line.token_role);
    if (!right || *right == role::none) {
        *problem = "--role: \"" + line.token_role + "\" is no role; possible: view, operate, lock, admin";
        return std::nullopt;
    }
    wish.right = *right;
    for (const std::string& router : line.token_routers) {
        const std::string name = router_name(router);
        if (std::find(wish.routers.begin(), wish.routers.end(), name) == wish.routers.end())
            wish.routers.push_back(name);
    }
    if (!read_list(line.token_outputs, "--outputs", &wish.outputs, problem) ||
        !read_list(line.token_inputs, "--inputs", &wish.inputs, problem))
        return std::nullopt;
    *problem = token_problem(wish);
    return problem->empty() ? std::optional(wish) : std::nullopt;
}

std::string time_text(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    std::array<char, 32> text{};
    if (gmtime_r(&time, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return "-";
    return text.data();
}

std::string joined_or_all(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ",") + name;
    return text.empty() ? "all" : text;
}

void print_tokens(const std::vector<token>& tokens, std::ostream& out) {
    std::size_t width = std::string_view("Name").size();
    for (const token& one : tokens)
        width = std::max(width, one.name.size());
    const auto line = [&](std::string_view name, std::string_view role, std::string_view created,
                          std::string_view outputs, std::string_view inputs, std::string_view routers) {
        out << std::left << std::setw(static_cast<int>(width)) << name << "  " << std::setw(7) << role << "  "
            << std::setw(20) << created << "  " << std::setw(12) << outputs << "  " << std::setw(12) << inputs
            << "  " << routers << '\n';
    };
    line("Name", "Role", "Created", "Outputs", "Inputs", "Routers");
    for (const token& one : tokens)
        line(one.name, role_word(one.right), time_text(one.created),
             one.outputs.all() ? "all" : one.outputs.text(), one.inputs.all() ? "all" : one.inputs.text(),
             joined_or_all(one.routers));
}

} // namespace

int run_token_command(const command_line& line, const std::string& state_directory, std::int64_t now,
                      std::ostream& out, std::ostream& err) {
    std::string problem;
    // A wrong wish touches nothing.
    std::optional<token> wish;
    if (line.what == wanted::token_add) {
        wish = wished_token(line, &problem);
        if (!wish)
            return failed(err, exit_wrong_use, problem);
    }
    if (!act_as_owner_of(state_directory, &problem))
        return failed(err, exit_failed, problem);
    const std::unique_ptr<access_store> store =
        access_store::open(state_directory, command_database_busy_ms, &problem);
    if (!store)
        return failed(err, exit_failed, problem);
    if (line.what == wanted::token_list) {
        print_tokens(store->list(), out);
        return exit_done;
    }
    if (line.what == wanted::token_remove)
        return store->remove(line.token_name, &problem) ? exit_done : failed(err, exit_failed, problem);
    const std::string text = store->add(*wish, now, &problem);
    if (text.empty())
        return failed(err, exit_failed, problem);
    out << text << '\n';
    return exit_done;
}

} // namespace gateway
