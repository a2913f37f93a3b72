// vrdx_backend_check: starts a backend program as the driver would and says what it gets right and wrong.
#include "output.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>

namespace {

enum exit_code { exit_passed = 0, exit_failed = 1, exit_wrong_use = 2, exit_not_started = 3 };

constexpr double longest_timeout = 3600; // seconds

struct options {
    std::string program;
    std::string item;
    double timeout = 5; // seconds
    bool json = false;
};

// True when the program is to go on, else with the exit code to end with.
bool read_command_line(int argc, char** argv, options* chosen, int* code) {
    CLI::App app(
        "Starts a backend program over three pipes, as the driver would, and says line by line what it gets\n"
        "right and wrong. It switches every output of the router and puts the old routing back: do not\n"
        "check a router that is on air.",
        "vrdx_backend_check");
    app.footer("Exit codes:\n"
               "  0  nothing failed\n"
               "  1  something failed\n"
               "  2  wrong use\n"
               "  3  the program could not be started");
    app.add_option("PROGRAM", chosen->program, "Path of the backend program")->required();
    app.add_option("--file", chosen->item, "Item file that the program is given")
        ->required()
        ->check(CLI::ExistingFile)
        ->type_name("ITEM");
    app.add_option("--timeout", chosen->timeout, "Longest wait for an answer; takes always have one second")
        ->check(CLI::Range(0.001, longest_timeout))
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_flag("--json", chosen->json, "Print one JSON object instead of lines");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        *code = app.exit(help);
        return false;
    } catch (const CLI::ParseError& error) {
        std::cerr << "vrdx_backend_check: " << error.what() << '\n';
        *code = exit_wrong_use;
        return false;
    }
    return true;
}

int check_program(const options& chosen) {
    conversation talk;
    talk.program = chosen.program;
    talk.item = chosen.item;
    talk.patience = std::chrono::milliseconds(static_cast<long>(chosen.timeout * 1000));
    std::vector<checked> all;
    const int error = run_checks(talk, [&](const checked& one) {
        all.push_back(one);
        if (!chosen.json)
            print_line(one);
    });
    if (error != 0) {
        std::fprintf(stderr, "vrdx_backend_check: cannot start %s: %s\n", chosen.program.c_str(),
                     std::strerror(error));
        return exit_not_started;
    }
    if (chosen.json)
        print_json(talk, all);
    else
        print_summary(all);
    return all_passed(all) ? exit_passed : exit_failed;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a program that is gone shows in the results of writes
    try {
        options chosen;
        int code = exit_passed;
        if (read_command_line(argc, argv, &chosen, &code))
            code = check_program(chosen);
        return code;
    } catch (const std::exception& failure) { // no memory
        std::fprintf(stderr, "vrdx_backend_check: %s\n", failure.what());
        return exit_failed;
    }
}
