#include "router_line.h"

#include "display_text.h"
#include "driver_link.h"
#include "health.h"
#include "item_facts.h"
#include "local_time.h"
#include "monotonic_us.h"
#include "program_end.h"
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

std::string size_cell(const vrdx::router_picture& picture) {
    if (!is_known(picture))
        return "-";
    return std::to_string(picture.inputs.size()) + "x" + std::to_string(picture.outputs.size());
}

std::string running_cell(const router_line& line) {
    if (!line.running)
        return "?";
    return *line.running ? "yes" : "no";
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "; ") + text;
    return all.empty() ? "-" : all;
}

struct picture_column {
    const char* head;
    std::string (*cell)(const vrdx::router_picture& picture);
};

constexpr picture_column picture_columns[] = {
    {"Size", size_cell},
    {"Backend", [](const vrdx::router_picture& one) { return std::string(backend_word(one.backend)); }},
    {"Link", [](const vrdx::router_picture& one) { return std::string(link_word(one.link)); }},
    {"Waiting", [](const vrdx::router_picture& one) { return std::to_string(waiting_takes(one)); }},
    {"Refused/h", [](const vrdx::router_picture& one) { return std::to_string(one.refused.last_hour); }},
    {"Back/h", [](const vrdx::router_picture& one) { return std::to_string(one.rolled_back.last_hour); }},
    {"Clients", [](const vrdx::router_picture& one) { return std::to_string(one.clients); }},
    {"Up", [](const vrdx::router_picture& one) { return duration_text(one.uptime_ms); }}};

json_object json_of_counts(const vrdx::router_picture& picture, std::uint64_t vrdx::takes_count::*which) {
    return {{"asked", picture.asked.*which},     {"confirmed", picture.confirmed.*which},
            {"refused", picture.refused.*which}, {"rolled back", picture.rolled_back.*which},
            {"unknown", picture.unknown.*which}, {"backend starts", picture.backend_starts.*which}};
}

} // namespace

router_line look_at_known_router(const item_place& place, std::uint64_t timeout_us) {
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
    link.deadline = monotonic_us() + timeout_us; // of all pages together
    vrdx::router_picture picture;
    const int result = ask_picture_quietly(&link, &picture);
    if (result == exit_no_driver) {
        describe_silence(link, place, &line);
    } else if (result != exit_done) {
        line.running = true;
        line.problems.push_back(link.problem);
    } else {
        line.running = true;
        line.problems = problems_of(picture, place.item);
        if (place.item.empty())
            line.problems.emplace_back("there is no item file");
        line.picture = std::move(picture);
    }
    return line;
}

std::string router_lines_table(const std::vector<router_line>& lines, std::size_t width, bool bold) {
    std::vector<table_column> columns = {{"Router", {}}, {"Running", {}}};
    for (const picture_column& one : picture_columns)
        columns.push_back({one.head, {}});
    table_column problems{"What is wrong", {}};
    table_column error{"Last error", {}};
    for (const router_line& line : lines) {
        columns[0].cells.push_back(printable(line.name));
        columns[1].cells.push_back(running_cell(line));
        std::size_t next = 2;
        for (const picture_column& one : picture_columns)
            columns[next++].cells.push_back(line.picture ? one.cell(*line.picture) : "-");
        problems.cells.push_back(printable(joined(line.problems)));
        const std::string last = line.picture ? last_error_of(*line.picture) : "";
        error.cells.push_back(last.empty() ? "-" : printable(last));
    }
    columns.push_back(problems);
    columns.push_back(error);
    return text_table(columns, width, bold);
}

json_object json_of_router_line(const router_line& line) {
    json_object object = {{"name", line.name},
                          {"running", line.running ? json_object(*line.running) : json_object()}};
    const vrdx::router_picture none;
    const bool told = line.picture.has_value();
    const vrdx::router_picture& picture = told ? *line.picture : none;
    const auto put = [&](const char* name, const json_object& value) {
        object[name] = told ? value : json_object();
    };
    put("inputs", is_known(picture) ? json_object(picture.inputs.size()) : json_object());
    put("outputs", is_known(picture) ? json_object(picture.outputs.size()) : json_object());
    put("backend", backend_word(picture.backend));
    put("link", link_word(picture.link));
    put("waiting takes", waiting_takes(picture));
    put("last hour", json_of_counts(picture, &vrdx::takes_count::last_hour));
    put("since start", json_of_counts(picture, &vrdx::takes_count::since_start));
    put("clients", picture.clients);
    put("uptime ms", picture.uptime_ms);
    object["problems"] = line.problems;
    object["last error"] = told ? last_error_of(picture) : "";
    return object;
}
