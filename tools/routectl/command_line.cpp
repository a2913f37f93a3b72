#include "command_line.h"

#include "client_failure.h"
#include "command_table.h"
#include "decimal_number.h"
#include "display_text.h"
#include "exit_code.h"
#include "item_paths.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <iterator>

namespace {

constexpr double longest_timeout = 1e6; // seconds

const char* const exit_codes_help =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the driver answered, but with \"no router\" or an error, or a route was not confirmed\n"
    "  2  wrong use; nothing was sent\n"
    "  3  no driver, or no answer in time\n"
    "Environment:\n"
    "  VRDX_ITEMS  directory of the installed items (default: /etc/vrdx/items)\n"
    "  VRDX_RUN    directory of their sockets (default: /run/vrdx)\n"
    "\"vrdx_routectl COMMAND --help\" shows a command's options and examples.";

struct raw_options {
    std::string sock;
    std::string metadir;
    std::string item;
    std::string timeout = "5";
    bool json = false;
    bool wait = false;
    bool follow = false;
    std::string lines = "20";
    std::string observe = "0";
    std::vector<std::string> words;
    std::vector<std::string> entries;
};

// The parser takes "[a,b]" apart, and "++" and "{}" mean something to it; names and values must not suffer. A
// byte in front that no such text begins with keeps them whole.
constexpr char guard = '\x01';

std::string guarded(const std::string& word) {
    const bool special = word.starts_with('[') || word.starts_with('{') || word.starts_with('+') ||
                         word.starts_with('%') || word.starts_with(guard);
    return special ? guard + word : word;
}

void remove_guard(std::string* word) {
    if (word->starts_with(guard))
        word->erase(0, 1);
}

void remove_guards(raw_options* options) {
    for (std::string* word : {&options->sock, &options->metadir, &options->item, &options->timeout,
                              &options->lines, &options->observe})
        remove_guard(word);
    std::for_each(options->words.begin(), options->words.end(),
                  [](std::string& word) { remove_guard(&word); });
    std::for_each(options->entries.begin(), options->entries.end(),
                  [](std::string& word) { remove_guard(&word); });
}

CLI::callback_t append_to(std::vector<std::string>* list) {
    return [list](const CLI::results_t& results) {
        *list = results;
        return true;
    };
}

// These may stand before and behind the command.
void add_common_options(CLI::App* app, raw_options* options) {
    app->add_flag("--json", options->json, "Print JSON");
    app->add_option("--timeout", options->timeout, "Longest wait for an answer, decimals allowed")
        ->type_name("SECONDS")
        ->capture_default_str();
    app->add_option("--sock", options->sock, "Path of the driver's socket; ITEM may then be left out")
        ->type_name("PATH");
    app->add_option("--metadir", options->metadir, "The driver's metadata directory, if it was given one")
        ->type_name("DIRECTORY");
}

void add_command(CLI::App* app, const command& what, raw_options* options) {
    CLI::App* sub = app->add_subcommand(what.name, what.help);
    sub->footer(what.examples);
    add_common_options(sub, options);
    if ((what.takes & takes_wait) != 0)
        sub->add_flag("--wait", options->wait, "Wait until the router should have followed, and look");
    if ((what.takes & takes_follow) != 0) {
        sub->add_flag("-f,--follow", options->follow, "Go on as the trace grows, until interrupted");
        sub->add_option("--lines", options->lines, "How many of the last lines")
            ->type_name("N")
            ->capture_default_str();
    }
    if ((what.takes & takes_observe) != 0)
        sub->add_option("--observe", options->observe, "Watch so long for takes that are rolled back")
            ->type_name("SECONDS");
    if ((what.takes & takes_entries) != 0)
        sub->add_option("--entry", append_to(&options->entries), "An entry of the packet; may be repeated")
            ->type_name("NAME=VALUE")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (what.words != nullptr)
        sub->add_option("ARGUMENTS", append_to(&options->words))
            ->option_text(what.words)
            ->expected(0, CLI::detail::expected_max_vector_size)
            ->allow_extra_args();
}

void build_parser(CLI::App* app, raw_options* options) {
    app->name("vrdx_routectl");
    app->footer(exit_codes_help);
    app->set_help_flag("-h,--help", "Print this help");
    app->add_option("ITEM", options->item,
                    "Item file whose driver is meant: its path, or NAME for /etc/vrdx/items/NAME.item")
        ->type_name("");
    add_common_options(app, options);
    app->require_subcommand(1);
    for (const command& what : all_commands())
        add_command(app, what, options);
}

const command* chosen_command(const CLI::App& app) {
    const std::string name = app.get_subcommands().front()->get_name();
    return &*std::find_if(all_commands().begin(), all_commands().end(),
                          [&name](const command& what) { return what.name == name; });
}

// What to tell when no command was recognised.
std::string missing_command(const CLI::App& app) {
    std::vector<std::string> unknown = app.remaining();
    if (unknown.empty())
        return "a command is missing, see --help";
    remove_guard(&unknown.front());
    return "there is no command " + in_quotes(cut_to(unknown.front(), 60)) + ", see --help";
}

// Seconds as microseconds; 0 for what is no usable time.
std::uint64_t microseconds_in(const std::string& text) {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool whole = !text.empty() && *end == '\0';
    if (!whole || !std::isfinite(seconds) || seconds <= 0 || seconds > longest_timeout)
        return 0;
    return static_cast<std::uint64_t>(std::ceil(seconds * 1e6));
}

// Finds the router. -1, or the exit code of a wrong use.
int complete_place(const raw_options& options, invocation* call) {
    if ((call->what->takes & takes_no_item) != 0) {
        if (options.sock.empty() && options.item.empty())
            return -1;
        return failed(exit_usage, std::string(call->what->name) + " is about all routers: it takes no item");
    }
    const bool has_item = !item_file_name(options.item).empty();
    if (options.sock.empty() && !has_item)
        return failed(exit_usage, "which driver? Give the name or the path of its item file, or --sock");
    if (has_item)
        call->place = place_of_item(options.item, options.metadir);
    if (!options.sock.empty())
        call->place.socket = options.sock;
    return -1;
}

// -1, or the exit code of a wrong use.
int complete_numbers(const raw_options& options, invocation* call) {
    call->timeout_us = microseconds_in(options.timeout);
    if (call->timeout_us == 0)
        return failed(exit_usage, "--timeout needs a number of seconds above 0");
    call->observe_us = microseconds_in(options.observe);
    if (call->observe_us == 0 && options.observe != "0")
        return failed(exit_usage, "--observe needs a number of seconds");
    call->lines = decimal_number(options.lines);
    if (call->lines < 0)
        return failed(exit_usage, "--lines needs a whole number");
    return -1;
}

// Checks what the parser does not, and fills *call. -1, or the exit code of a wrong use.
int complete_call(const raw_options& options, invocation* call) {
    for (const auto complete : {complete_numbers, complete_place}) {
        const int result = complete(options, call);
        if (result >= 0)
            return result;
    }
    call->json = options.json;
    call->wait = options.wait;
    call->follow = options.follow;
    call->words = options.words;
    call->entries = options.entries;
    const command& what = *call->what;
    if (call->words.size() < what.least)
        return failed(exit_usage, std::string(what.name) + " needs " + what.words);
    if (call->words.size() > what.most)
        return failed(exit_usage, std::string(what.name) + " does not take so many arguments");
    return -1;
}

} // namespace

int read_command_line(int argc, const char* const* argv, invocation* call) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    std::vector<std::string> plain_words;
    if (mark != arguments.end())
        plain_words.assign(mark + 1, arguments.end());
    std::vector<std::string> parsed;
    std::transform(arguments.begin(), mark, std::back_inserter(parsed), guarded);
    std::reverse(parsed.begin(), parsed.end()); // the parser takes them from the back

    raw_options options;
    CLI::App app{"Shows and changes the crosspoints of a router through its route driver."};
    build_parser(&app, &options);
    try {
        app.parse(parsed);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::RequiredError&) {
        return failed(exit_usage, missing_command(app));
    } catch (const CLI::Error& error) {
        return failed(exit_usage, error.what());
    }
    remove_guards(&options);
    options.words.insert(options.words.end(), plain_words.begin(), plain_words.end());
    call->what = chosen_command(app);
    return complete_call(options, call);
}
