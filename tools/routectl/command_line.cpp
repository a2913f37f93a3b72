#include "command_line.h"

#include "client_limits.h"
#include "command_options.h"
#include "command_table.h"
#include "display_text.h"
#include "gateway_token.h"
#include "item_paths.h"
#include "plain_text.h"
#include "program_end.h"
#include "take_texts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>

namespace {

constexpr double longest_timeout = 1e6; // seconds

// The parser splits "[a,b]", and "++" and "{}" mean something to it; names and values must not suffer. A
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
    for (std::string* word : {&options->sock, &options->metadir, &options->gateway, &options->token_file,
                              &options->ca, &options->item, &options->timeout, &options->lines, &options->by,
                              &options->outputs, &options->input, &options->name})
        remove_guard(word);
    std::for_each(options->words.begin(), options->words.end(),
                  [](std::string& word) { remove_guard(&word); });
    std::for_each(options->entries.begin(), options->entries.end(),
                  [](std::string& word) { remove_guard(&word); });
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

// The commands that may go through a gateway, for messages.
std::string gateway_commands() {
    std::string names;
    for (const command& what : all_commands())
        if ((what.options & option_gateway) != 0)
            names += (names.empty() ? "" : ", ") + std::string(what.name);
    return names;
}

// What means nothing to a gateway; "" for a call that it can do.
std::string gateway_contradiction(const raw_options& options, const invocation& call) {
    if ((call.what->options & option_gateway) == 0)
        return std::string(call.what->name) + " does not go through a gateway; possible are " +
               gateway_commands();
    if (!options.sock.empty() || !options.metadir.empty())
        return "--gateway and " + std::string(options.sock.empty() ? "--metadir" : "--sock") +
               " contradict each other";
    if (options.no_wait)
        return "a gateway answers each take: --no-wait is not possible";
    if (options.by != usual_by)
        return "a gateway signs takes with the name of the token: --by is not possible";
    return {};
}

// The gateway and its router. -1, or the exit code of a wrong use.
int complete_gateway(const raw_options& options, invocation* call) {
    if (options.gateway.empty()) {
        if (options.token_file.empty() && options.ca.empty())
            return -1;
        return failed(exit_usage, "--token-file and --ca are for --gateway, which is missing");
    }
    std::string problem = gateway_contradiction(options, *call);
    gateway_access access;
    if (!problem.empty() || !read_gateway_url(options.gateway, &access.address, &problem) ||
        !find_gateway_token(options.token_file, &access.token, &problem))
        return failed(exit_usage, problem);
    access.ca_file = options.ca;
    call->gateway = access;
    show_users_as_numbers(); // they are those of another machine
    return -1;
}

// Finds the router. -1, or the exit code of a wrong use.
int complete_place(const raw_options& options, invocation* call) {
    if ((call->what->options & without_item) != 0) {
        if (options.sock.empty() && options.item.empty())
            return -1;
        return failed(exit_usage, std::string(call->what->name) + " is about all routers: it takes no item");
    }
    const bool has_item = !item_file_name(options.item).empty();
    if (call->gateway) {
        call->place.name = options.item;
        return has_item ? -1 : failed(exit_usage, "which router? Give its name");
    }
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
    call->lines = number_of_digits(options.lines).value_or(-1);
    if (call->lines < 0 && !options.lines.empty())
        return failed(exit_usage, "--lines needs a whole number");
    return -1;
}

bool is_signature(const std::string& by) {
    return by.size() <= vrdx::take_by_limit && std::none_of(by.begin(), by.end(), [](char letter) {
               const auto byte = static_cast<unsigned char>(letter);
               return byte < 0x20U || byte == 0x7fU;
           });
}

// Looks for options that contradict each other. -1, or the exit code of a wrong use.
int check_options(const raw_options& options) {
    if (options.wait && options.no_wait)
        return failed(exit_usage, "--wait and --no-wait contradict each other");
    if (!is_signature(options.by))
        return failed(exit_usage, "--by takes at most 64 bytes of printable text");
    return -1;
}

// Checks what the parser does not, and fills *call. -1, or the exit code of a wrong use.
int complete_call(const raw_options& options, invocation* call) {
    for (const auto complete : {complete_numbers, complete_gateway, complete_place}) {
        const int result = complete(options, call);
        if (result >= 0)
            return result;
    }
    const int contradiction = check_options(options);
    if (contradiction >= 0)
        return contradiction;
    call->json = options.json;
    call->no_wait = options.no_wait;
    call->dry_run = options.dry_run;
    call->follow = options.follow;
    call->by = options.by;
    call->outputs = options.outputs;
    call->input = options.input;
    call->free = options.free;
    call->name = options.name;
    call->names = options.names;
    call->words = options.words;
    call->entries = options.entries;
    const command& what = *call->what;
    if (call->words.size() < what.least)
        return failed(exit_usage, std::string(what.name) + " needs " + what.words);
    if (call->words.size() > what.most)
        return failed(exit_usage, std::string(what.name) + " does not take so many arguments");
    return -1;
}

// "help" and "help COMMAND".
int print_help(CLI::App* app, const std::vector<std::string>& words) {
    if (words.size() > 1)
        return failed(exit_usage, "help takes one command at the most");
    const auto known = [&words](const command& one) { return words.front() == one.name; };
    if (!words.empty() && std::none_of(all_commands().begin(), all_commands().end(), known))
        return failed(exit_usage,
                      "there is no command " + in_quotes(cut_to(words.front(), 60)) + ", see --help");
    CLI::App* const what = words.empty() ? app : app->get_subcommand(words.front());
    app->clear();
    std::fputs(what->help(words.empty() ? "" : app->get_name()).c_str(), stdout);
    return exit_done;
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
    std::reverse(parsed.begin(), parsed.end()); // the parser reads them from the back

    tell_failures_as_json(std::find(arguments.begin(), mark, "--json") != mark);
    raw_options options;
    CLI::App app{"Shows and changes the crosspoints of a router through its route driver."};
    build_parser(&app, &options);
    try {
        app.parse(parsed);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForVersion& version) {
        return app.exit(version);
    } catch (const CLI::RequiredError&) {
        return failed(exit_usage, missing_command(app));
    } catch (const CLI::Error& error) {
        return failed(exit_usage, std::string(error.what()) + "; see --help");
    }
    remove_guards(&options);
    if (app.got_subcommand("help"))
        return print_help(&app, options.words);
    options.words.insert(options.words.end(), plain_words.begin(), plain_words.end());
    call->what = chosen_command(app);
    return complete_call(options, call);
}
