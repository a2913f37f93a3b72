#include "command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace gateway {
namespace {

const char* const exit_codes_help = "Exit codes:\n"
                                    "  0  done\n"
                                    "  1  it was understood, and did not succeed\n"
                                    "  2  wrong use, or a wrong configuration\n"
                                    "Without a command it serves, until SIGTERM or SIGINT; SIGHUP reads "
                                    "configuration and certificates anew.\n"
                                    "\"vrdx_gateway token COMMAND --help\" shows a command's options.";

const char* const add_examples =
    "Examples:\n"
    "  vrdx_gateway token add gallery --role operate --router studio --outputs 1-8,12\n"
    "  vrdx_gateway token add supervisor --role lock";

// The parser takes "[a,b]" apart, and other signs mean something to it. A byte in front that no such text
// begins with keeps them whole.
constexpr char guard = '\x01';

std::string guarded(const std::string& word) {
    const bool special = word.starts_with('[') || word.starts_with('{') || word.starts_with('+') ||
                         word.starts_with('%') || word.starts_with(guard);
    return special ? guard + word : word;
}

// As the parser is to read them: "--name=value" as two words, so that an empty value stays one.
std::vector<std::string> separate_words(int argc, const char* const* argv) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto equals = word.find('=');
        const bool has_value = word.starts_with("--") && equals != std::string::npos;
        words.push_back(guarded(word.substr(0, has_value ? equals : word.size())));
        if (has_value)
            words.push_back(guarded(word.substr(equals + 1)));
    }
    return words;
}

std::string unguarded(const std::string& word) {
    return word.starts_with(guard) ? word.substr(1) : word;
}

// One text; the last one counts when it is given before and behind the command.
template<typename place>
CLI::Option* add_text(CLI::App* app, const char* name, place* text, const char* help) {
    return app
        ->add_option(
            name,
            [text](const CLI::results_t& results) {
                *text = unguarded(results.back());
                return true;
            },
            help)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
}

// These may stand before and behind the command.
void add_places(CLI::App* app, command_line* line) {
    add_text(app, "--config", &line->config,
             "Configuration (default: /etc/vrdx/gateway.toml when it is there)")
        ->type_name("FILE");
    add_text(app, "--state", &line->state, "Directory of tokens and locks (default: /var/lib/vrdx-gateway)")
        ->type_name("DIR");
}

CLI::App* add_token_command(CLI::App* token, const char* name, const char* help, command_line* line) {
    CLI::App* const command = token->add_subcommand(name, help);
    add_places(command, line);
    return command;
}

void add_token_commands(CLI::App* app, command_line* line) {
    CLI::App* const token = app->add_subcommand("token", "Adds, lists and removes tokens");
    token->require_subcommand(1);
    add_places(token, line);

    CLI::App* const add = add_token_command(token, "add", "Adds a token and prints it, this once", line);
    add->footer(add_examples);
    add_text(add, "NAME", &line->token_name, "Whose token it is, in your words")->required();
    add_text(add, "--role", &line->token_role,
             "view, operate, lock or admin; each may do what those before may")
        ->type_name("ROLE")
        ->required();
    add->add_option(
           "--router",
           [line](const CLI::results_t& results) {
               std::transform(results.begin(), results.end(), std::back_inserter(line->token_routers),
                              unguarded);
               return true;
           },
           "The routers it sees; all when not given")
        ->type_name("NAME")
        ->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args();
    add_text(add, "--outputs", &line->token_outputs,
             "Outputs it may take, lock and name, such as 1-8,12; all when "
             "not given")
        ->type_name("LIST");
    add_text(add, "--inputs", &line->token_inputs, "Inputs it may take and name; all when not given")
        ->type_name("LIST");

    add_token_command(token, "list", "Lists the tokens, without their texts", line);
    CLI::App* const remove =
        add_token_command(token, "remove", "Removes a token; its connections end within a second", line);
    add_text(remove, "NAME", &line->token_name, "Its name")->required();
}

void add_backup_commands(CLI::App* app, command_line* line) {
    const auto add = [&](const char* name, const char* help, const char* file_help) {
        CLI::App* const command = app->add_subcommand(name, help);
        add_places(command, line);
        add_text(command, "FILE", &line->backup_file, file_help)->required();
    };
    add("backup", "Writes tokens, locks and history into a file, also while the gateway runs",
        "Is made, and must not be there yet");
    add("restore", "Puts them back; the gateway must not run", "As backup wrote it");
}

void build(CLI::App* app, command_line* line, bool* check_config) {
    app->name("vrdx_gateway");
    app->footer(exit_codes_help);
    app->set_help_flag("-h,--help", "Print this help");
    app->set_version_flag("--version", "vrdx_gateway " VRDX_VERSION, "Print the version");
    add_places(app, line);
    app->add_flag("--check-config", *check_config, "Say what is wrong with the configuration, and end");
    add_text(app, "--items", &line->items, "Directory of the items (default: /etc/vrdx/items)")
        ->type_name("DIR");
    add_text(app, "--run", &line->run, "Directory of the drivers' sockets (default: /run/vrdx)")
        ->type_name("DIR");
    add_text(app, "--listen", &line->listen, "Where to listen (default: 127.0.0.1:8400)")
        ->type_name("ADDRESS:PORT");
    app->add_option("--ready-fd", line->ready_fd, "Descriptor that gets ADDRESS:PORT when all is ready")
        ->check(CLI::Range(0, 1048576).description(""))
        ->type_name("N");
    add_token_commands(app, line);
    add_backup_commands(app, line);
}

wanted wanted_by(const CLI::App& app, bool check_config) {
    if (app.got_subcommand("backup"))
        return wanted::backup;
    if (app.got_subcommand("restore"))
        return wanted::restore;
    if (!app.got_subcommand("token"))
        return check_config ? wanted::check_config : wanted::serve;
    const CLI::App* const token = app.get_subcommand("token");
    if (token->got_subcommand("add"))
        return wanted::token_add;
    return token->got_subcommand("list") ? wanted::token_list : wanted::token_remove;
}

// The parser tells all of them, in an order of its own.
std::string first_unknown(const CLI::App& app, const std::vector<std::string>& words) {
    const std::vector<std::string> unknown = app.remaining(true);
    const auto found = std::find_if(words.rbegin(), words.rend(), [&unknown](const std::string& word) {
        return std::find(unknown.begin(), unknown.end(), word) != unknown.end();
    });
    return found == words.rend() ? "" : unguarded(*found);
}

} // namespace

command_line read_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    command_line line;
    bool check_config = false;
    std::vector<std::string> words = separate_words(argc, argv);
    std::reverse(words.begin(), words.end()); // the parser takes them from the back
    CLI::App app{"Serves the routers of this machine by HTTP and WebSocket, to those who may."};
    build(&app, &line, &check_config);
    try {
        app.parse(std::vector<std::string>(words)); // it changes what it is given
        line.what = wanted_by(app, check_config);
    } catch (const CLI::Success& said) {
        line.exit_code = app.exit(said, out, err);
    } catch (const CLI::ExtrasError&) {
        err << "vrdx_gateway: there is no option or command \"" << first_unknown(app, words)
            << "\"; see --help\n";
        line.exit_code = exit_wrong_use;
    } catch (const CLI::Error& error) {
        err << "vrdx_gateway: " << error.what() << "; see --help\n";
        line.exit_code = exit_wrong_use;
    }
    return line;
}

} // namespace gateway
