#include "health.h"

#include "item_facts.h"
#include "local_time.h"

#include <algorithm>

namespace {

using vrdx::backend_state;
using vrdx::link_state;
using vrdx::router_picture;

constexpr std::uint64_t old_error_ms = 3600000; // an hour

std::uint64_t age_of(const vrdx::driver_message& message) {
    const std::uint64_t now = time_now_ms();
    return now > message.time_ms ? now - message.time_ms : 0;
}

void add_backend_problem(const router_picture& picture, const item_facts& facts,
                         std::vector<std::string>* problems) {
    if (picture.backend == backend_state::none)
        problems->push_back(
            with_text("no backend", facts.problem.empty() ? picture.backend_text : facts.problem));
    else if (picture.backend == backend_state::starting)
        problems->push_back(with_text("backend restarting", picture.backend_text));
    else if (!facts.problem.empty())
        problems->push_back(facts.problem);
}

} // namespace

const char* backend_word(backend_state state) {
    switch (state) {
    case backend_state::running:
        return "running";
    case backend_state::starting:
        return "starting";
    case backend_state::none:
        return "none";
    case backend_state::untold:
        break;
    }
    return "unknown";
}

const char* link_word(link_state state) {
    switch (state) {
    case link_state::up:
        return "up";
    case link_state::down:
        return "down";
    case link_state::unknown:
    case link_state::untold:
        break;
    }
    return "unknown";
}

std::string with_text(const std::string& head, const std::string& text) {
    return text.empty() ? head : head + ": " + text;
}

std::vector<std::string> problems_of(const router_picture& picture, const std::string& item) {
    std::vector<std::string> problems;
    add_backend_problem(picture, item.empty() ? item_facts() : examine_item(item), &problems);
    if (picture.link == link_state::down)
        problems.push_back(with_text("link to the router down", picture.link_text));
    if (picture.inputs.empty() || picture.outputs.empty())
        problems.emplace_back("no router");
    return problems;
}

std::string last_error_of(const router_picture& picture) {
    if (picture.errors.empty())
        return {};
    return duration_text(age_of(picture.errors.back())) + " ago: " + picture.errors.back().text;
}

bool is_old_error(const router_picture& picture) {
    return picture.errors.empty() || age_of(picture.errors.back()) > old_error_ms;
}

std::size_t waiting_takes(const router_picture& picture) {
    return static_cast<std::size_t>(
        std::count_if(picture.outputs.begin(), picture.outputs.end(),
                      [](const vrdx::picture_output& output) { return output.waits_ms.has_value(); }));
}
