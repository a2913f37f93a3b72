#include "bench_program.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

constexpr double quiet_load = 1;

struct invocation {
    int rounds = 9;
    std::string row;
    std::string json;
    bool markdown = false;
};

// A thousand clients of ours have to fit.
void raise_descriptor_limit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// Whoever compiles beside a measurement measures the compiler.
void warn_when_busy() {
    double load = 0;
    if (getloadavg(&load, 1) == 1 && load > quiet_load)
        std::fprintf(stderr, "The machine is busy (load %.1f): the figures will mislead.\n", load);
}

bool is_wanted(const planned_row& planned, const std::string& row) {
    return row.empty() || planned.name.find(row) != std::string::npos;
}

bool any_wanted(const planned_measurement& planned, const std::string& row) {
    for (const planned_row& one : planned.rows)
        if (is_wanted(one, row))
            return true;
    return false;
}

// Measures what belongs to `planned` and adds its wanted rows.
void add_rows(const planned_measurement& planned, const invocation& invocation, std::vector<row>& rows) {
    if (!any_wanted(planned, invocation.row))
        return;
    std::fprintf(stderr, "measuring %s ...\n", planned.rows.front().name.c_str());
    const measurement measured = planned.measure(invocation.rounds);
    for (std::size_t i = 0; i < planned.rows.size(); ++i) {
        const planned_row& one = planned.rows[i];
        if (is_wanted(one, invocation.row))
            rows.push_back(make_row(one.name, one.unit, one.goal, measured.at(i).ours, measured[i].other));
    }
}

int run(const std::vector<planned_measurement>& plan, const invocation& invocation) {
    end_programs_on_signals();
    raise_descriptor_limit();
    warn_when_busy();
    std::vector<row> rows;
    for (const planned_measurement& planned : plan)
        add_rows(planned, invocation, rows);
    if (rows.empty()) {
        std::fprintf(stderr, "no row is named '%s'\n", invocation.row.c_str());
        return 2;
    }
    if (invocation.markdown)
        print_markdown(rows);
    else
        print_plain(rows);
    if (invocation.json.empty() || write_json(rows, invocation.json))
        return 0;
    std::fprintf(stderr, "cannot write %s\n", invocation.json.c_str());
    return 1;
}

} // namespace

int run_bench(const std::vector<planned_measurement>& plan, const char* what, const char* name, int argc,
              char** argv) {
    try {
        invocation invocation;
        CLI::App app(what, name);
        app.add_option("--rounds", invocation.rounds, "rounds of each measurement; medians are shown")
            ->check(CLI::PositiveNumber)
            ->capture_default_str();
        app.add_option("--row", invocation.row, "only the rows whose name contains this");
        app.add_option("--json", invocation.json, "write the table to this file, too");
        app.add_flag("--markdown", invocation.markdown, "print the table in Markdown");
        CLI11_PARSE(app, argc, argv);
        return run(plan, invocation);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s: %s\n", name, failure.what());
        return 1;
    }
}
