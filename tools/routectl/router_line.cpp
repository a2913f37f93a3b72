#include "router_line.h"

#include "display_text.h"
#include "exit_code.h"
#include "monotonic_us.h"
#include "text_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

std::string item_problem(const item_place& place) {
    return place.item.empty() ? "there is no item file" : examine_item(place.item).problem;
}

// Nobody answers: what can be said without a driver.
void describe_silence(const driver_link& link, const item_place& place, router_line* line) {
    const int error = link.connect_error;
    if (error == 0) {
        line->running = true;
        line->problems.push_back(link.problem);
    } else if (error == ECONNREFUSED || error == ENOENT) {
        line->running = false;
        line->problems.emplace_back("not running");
    } else {
        line->problems.push_back(std::string("cannot connect: ") + std::strerror(error));
    }
    const std::string problem = item_problem(place);
    if (!problem.empty())
        line->problems.push_back(problem);
}

void describe_look(const router_look& look, const item_place& place, router_line* line) {
    line->running = true;
    line->backend = backend_state_of(look.report, place.item);
    line->router = look.router;
    line->problems = problems_of(look, place.item);
    if (place.item.empty())
        line->problems.emplace_back("there is no item file");
    if (!look.report.errors.empty())
        line->last_error = look.report.errors.back();
}

// One timeout for both requests.
int look_in_time(driver_link* link, router_look* look) {
    link->deadline = monotonic_us() + link->timeout_us;
    const int result = look_at_router(link, look);
    link->deadline = 0;
    return result;
}

std::string size_cell(const router_line& line) {
    if (!line.router)
        return "-";
    const auto counted = [](std::size_t count, bool more) {
        return std::to_string(count) + (more ? "+" : "");
    };
    return counted(line.router->inputs.size(), may_show_fewer_inputs(*line.router)) + "x" +
           counted(line.router->outputs.size(), may_show_fewer_outputs(*line.router));
}

std::string running_cell(const router_line& line) {
    if (!line.running)
        return "?";
    return *line.running ? "yes" : "no";
}

std::string backend_cell(const router_line& line) {
    return line.backend == backend_state::unknown ? "-" : backend_state_name(line.backend);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "; ") + text;
    return all.empty() ? "-" : all;
}

} // namespace

router_line look_at_known_router(const item_place& place, std::uint64_t timeout_us,
                                 std::uint64_t observe_us) {
    router_line line;
    line.name = place.name;
    if (place.socket.empty()) {
        line.running = false;
        line.problems.emplace_back("not running");
        const std::string problem = item_problem(place);
        if (!problem.empty())
            line.problems.push_back(problem);
        return line;
    }
    driver_link link = link_to(place, timeout_us);
    router_look look;
    int result = look_in_time(&link, &look);
    if (result == exit_done && observe_us > 0) {
        result = observe_rollbacks(&link, observe_us, &line.rollbacks);
        if (result == exit_done)
            result = look_in_time(&link, &look);
    }
    if (result == exit_no_driver) {
        describe_silence(link, place, &line);
    } else if (result != exit_done) {
        line.running = true;
        line.problems.push_back(link.problem);
    } else {
        describe_look(look, place, &line);
    }
    if (!line.rollbacks.empty())
        line.problems.push_back(rollbacks_text(line.rollbacks, observe_us));
    return line;
}

std::string router_lines_table(const std::vector<router_line>& lines, std::size_t width, bool bold) {
    table_column name{"Router", {}};
    table_column running{"Running", {}};
    table_column size{"Size", {}};
    table_column backend{"Backend", {}};
    table_column problems{"What is wrong", {}};
    table_column error{"Last error", {}};
    for (const router_line& line : lines) {
        name.cells.push_back(printable(line.name));
        running.cells.push_back(running_cell(line));
        size.cells.push_back(size_cell(line));
        backend.cells.push_back(backend_cell(line));
        problems.cells.push_back(printable(joined(line.problems)));
        error.cells.push_back(line.last_error.empty() ? "-" : printable(line.last_error));
    }
    return text_table({name, running, size, backend, problems, error}, width, bold);
}

json_object json_of_router_line(const router_line& line) {
    json_object object = {{"name", line.name},
                          {"running", line.running ? json_object(*line.running) : json_object()},
                          {"inputs", line.router ? json_object(line.router->inputs.size()) : json_object()},
                          {"outputs", line.router ? json_object(line.router->outputs.size()) : json_object()},
                          {"backend", json_object()},
                          {"problems", line.problems},
                          {"last error", line.last_error},
                          {"rollbacks", json_of_rollbacks(line.rollbacks)}};
    if (line.backend != backend_state::unknown)
        object["backend"] = backend_state_name(line.backend);
    return object;
}
