#include "command_options.h"

#include "command_table.h"

namespace {

const char* const exit_codes_help =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the driver answered, but with \"no router\" or an error, or a take was not confirmed; or a file "
    "or\n"
    "     the output cannot be used\n"
    "  2  wrong use; nothing was sent\n"
    "  3  no driver, no gateway, or no answer in time\n"
    "Environment:\n"
    "  VRDX_ITEMS  directory of the installed items (default: /etc/vrdx/items)\n"
    "  VRDX_RUN    directory of their sockets (default: /run/vrdx)\n"
    "  VRDX_TOKEN  the token for the gateway, unless there is --token-file\n"
    "\"vrdx_routectl COMMAND --help\" shows a command's options and examples.";

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
    app->add_option("--gateway", options->gateway,
                    "Ask the gateway there instead of the driver: list, status, names, route, watch")
        ->type_name("URL");
    app->add_option("--token-file", options->token_file, "File with the token for the gateway")
        ->type_name("FILE");
    app->add_option("--ca", options->ca, "Who signs the gateway's certificate, if this system does not know")
        ->type_name("FILE");
}

void add_command(CLI::App* app, const command& what, raw_options* options) {
    CLI::App* sub = app->add_subcommand(what.name, what.help);
    sub->footer(what.examples);
    add_common_options(sub, options);
    if ((what.options & option_wait) != 0) {
        sub->add_flag("--wait", options->wait, "Wait until the router has confirmed each take, as usual");
        sub->add_flag("--no-wait", options->no_wait,
                      "Send the takes, and say nothing about what becomes of them");
    }
    if ((what.options & option_crosspoints) != 0) {
        sub->add_flag("--dry-run", options->dry_run, "Show what would change, and send nothing");
        sub->add_option("--by", options->by, "Who takes, as others are shown it beside your user")
            ->type_name("TEXT")
            ->capture_default_str();
    }
    if ((what.options & option_follow) != 0) {
        sub->add_flag("-f,--follow", options->follow, "Go on with what comes, until interrupted");
        sub->add_option("--lines", options->lines, "How many of the last ones")->type_name("N");
    }
    if ((what.options & option_outputs) != 0)
        sub->add_option("--outputs", options->outputs, "Only these outputs: numbers, ranges, names")
            ->type_name("LIST");
    if ((what.options & option_choice) != 0) {
        sub->add_option("--input", options->input, "Only outputs that show this input")->type_name("INPUT");
        sub->add_flag("--free", options->free, "Only outputs without a source");
        sub->add_option("--name", options->name, "Only outputs with this in their name")->type_name("TEXT");
    }
    if ((what.options & option_names) != 0)
        sub->add_flag("--names", options->names, "The names of inputs and outputs, too");
    if ((what.options & option_entries) != 0)
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

} // namespace

void build_parser(CLI::App* app, raw_options* options) {
    app->name("vrdx_routectl");
    app->footer(exit_codes_help);
    app->set_help_flag("-h,--help", "Print this help");
    app->set_version_flag("--version", "vrdx_routectl " VRDX_VERSION, "Print the version");
    app->add_option("ITEM", options->item,
                    "Item file whose driver is meant: its path, or NAME for /etc/vrdx/items/NAME.item")
        ->type_name("");
    add_common_options(app, options);
    app->require_subcommand(1);
    for (const command& what : all_commands())
        add_command(app, what, options);
}
