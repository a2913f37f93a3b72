// All routers that a gateway shows.
#include "display_text.h"
#include "gateway_link.h"
#include "health.h"
#include "program_end.h"
#include "router_line.h"
#include "text_table.h"

#include <algorithm>
#include <cstdio>

namespace {

// What can be said of one by its row alone.
struct gateway_row {
    std::string name;
    std::optional<bool> running;
    std::string inputs, outputs;  // "" where the gateway knows none
    vrdx::router_picture picture; // backend and link only
    std::vector<std::string> problems;
};

std::string count_in(const gateway_json& row, const char* name) {
    const auto found = row.find(name);
    return found != row.end() && found->is_number_unsigned() && *found != 0 ? found->dump() : "";
}

gateway_row row_of(const gateway_json& told) {
    const gateway_state state = state_in(told);
    gateway_row row;
    row.name = text_in(told, "name");
    row.inputs = count_in(told, "inputs");
    row.outputs = count_in(told, "outputs");
    row.picture.outputs.resize(row.outputs.empty() ? 0 : 1);
    enter_state(&row.picture, state);
    if (is_true_now(state) || state.word == "stale")
        row.running = true;
    else if (state.word == "no driver")
        row.running = false;
    if (state.word != "up")
        row.problems.push_back(with_text(state.word, state.reason));
    return row;
}

std::string size_of(const gateway_row& row) {
    return row.inputs.empty() || row.outputs.empty() ? "-" : row.inputs + "x" + row.outputs;
}

std::string table_of(const std::vector<gateway_row>& rows) {
    std::vector<table_column> columns = {{"Router", {}},  {"Running", {}}, {"Size", {}},
                                         {"Backend", {}}, {"Link", {}},    {"What is wrong", {}}};
    for (const gateway_row& row : rows) {
        const std::string running = row.running ? (*row.running ? "yes" : "no") : "?";
        const std::string cells[] = {row.name,
                                     running,
                                     size_of(row),
                                     backend_word(row.picture.backend),
                                     link_word(row.picture.link),
                                     row.problems.empty() ? "-" : row.problems.front()};
        for (std::size_t i = 0; i < columns.size(); ++i)
            columns[i].cells.push_back(printable(cells[i]));
    }
    return text_table(columns, columns_of_output(), output_is_terminal());
}

json_object number_or_null(const std::string& number) {
    return number.empty() ? json_object() : json_object(std::stoul(number));
}

// As of a socket, with null for all that a gateway does not tell.
json_object json_of(const gateway_row& row) {
    router_line line;
    line.name = row.name;
    line.running = row.running;
    line.problems = row.problems;
    json_object object = json_of_router_line(line);
    object["inputs"] = number_or_null(row.inputs);
    object["outputs"] = number_or_null(row.outputs);
    object["backend"] = backend_word(row.picture.backend);
    object["link"] = link_word(row.picture.link);
    object["last error"] = json_object();
    return object;
}

} // namespace

int run_list_of_gateway(const invocation& call) {
    gateway_json answer;
    bool sent = false;
    std::string problem;
    const int result =
        ask_through_gateway(call, "GET", "/api/v1/routers", "", call.timeout_us, &answer, &sent, &problem);
    if (result != exit_done)
        return failed(result, problem);
    std::vector<gateway_row> rows;
    const gateway_json& told = answer["routers"];
    if (told.is_array())
        std::transform(told.begin(), told.end(), std::back_inserter(rows), row_of);
    if (call.json) {
        json_object routers = json_object::array();
        std::transform(rows.begin(), rows.end(), std::back_inserter(routers), json_of);
        std::puts(json_line({{"routers", routers}}).c_str());
    } else if (rows.empty()) {
        std::puts("no routers: the gateway shows none to this token");
    } else {
        std::fputs(table_of(rows).c_str(), stdout);
    }
    return exit_done;
}
