#include "command_table.h"

#include "commands.h"

#include <limits>

namespace {

constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

// The command line answers it.
int run_nothing(const invocation&) {
    return 0;
}

constexpr command commands[] = {
    {"list", run_list, nullptr, 0, 0, without_item | option_gateway,
     "Show all routers: which run, their size, backend and link, takes, clients, what is wrong, the last "
     "error.",
     "Examples:\n"
     "  vrdx_routectl list\n"
     "  vrdx_routectl list --json --timeout 1\n"
     "It knows the items in /etc/vrdx/items and the sockets in /run/vrdx. All drivers are asked at the same\n"
     "time. It exits with 0 also when routers are in trouble."},
    {"status", run_status, nullptr, 0, 0, option_outputs | option_choice | option_gateway,
     "Show the router: each output, its sources, and takes that are not confirmed yet.",
     "Examples:\n"
     "  vrdx_routectl studio status\n"
     "  vrdx_routectl studio status --outputs 1-8,12\n"
     "  vrdx_routectl studio status --input \"Cam 3\"    where is it?\n"
     "  vrdx_routectl studio status --free             outputs without a source\n"
     "Lines before the table say what is wrong. \"*\" marks a take that the router has not confirmed, with "
     "the\n"
     "time until it is taken back. Without a router it prints \"no router\" and exits with 1."},
    {"names", run_names, "inputs|outputs", 1, 1, option_gateway, "Show numbers and names, a line each.",
     "Example:\n"
     "  vrdx_routectl studio names inputs"},
    {"route", run_route, "OUT=IN ...", 1, any_number, option_wait | option_crosspoints | option_gateway,
     "Take: send inputs to outputs, all in one request, and wait until the router has confirmed each.",
     "Examples:\n"
     "  vrdx_routectl studio route 3=2                  input 2 to output 3\n"
     "  vrdx_routectl studio route 1-4=2 5,7=none \"*=1\"  ranges, lists, no source, all outputs\n"
     "  vrdx_routectl studio route \"Studio A=Cam 3\"     names, or parts that only one name has\n"
     "  vrdx_routectl studio route 3=2,4                audio of input 2, video of input 4\n"
     "  vrdx_routectl studio route 3.audio=4            one level; the other keeps what it shows\n"
     "Of several takes of one output the last counts. Nothing is sent unless everything is possible."},
    {"undo", run_undo, nullptr, 0, 0, option_crosspoints,
     "Take again what your last route, restore or undo replaced, where nobody has taken since.",
     "Examples:\n"
     "  vrdx_routectl studio undo --dry-run\n"
     "  vrdx_routectl studio undo\n"
     "Your last takes are those of your user's newest request that was signed with the same --by. Undone "
     "twice,\n"
     "they are back."},
    {"takes", run_takes, nullptr, 0, 0, option_follow,
     "Show the last 1,000 takes that the driver has decided: when, who, what, and what became of it.",
     "Examples:\n"
     "  vrdx_routectl studio takes --lines 20\n"
     "  vrdx_routectl studio takes -f"},
    {"router-set", run_router_set, "NAME=VALUE ...", 1, any_number, 0,
     "Set names and other properties of inputs and outputs.",
     "Examples:\n"
     "  vrdx_routectl studio router-set \"output.3.name=Monitor 3\"\n"
     "  vrdx_routectl studio router-set input.1.name=Cam1 input.2.name=Cam2"},
    {"set", run_set, "NAME=VALUE ...", 1, any_number, 0,
     "Change settings of the running driver. NAME ends at the first \"=\".",
     "Example:\n"
     "  vrdx_routectl studio set \"enable debug messages=1\"\n"
     "The item file is not changed."},
    {"report", run_report, nullptr, 0, 0, 0,
     "Show whether a backend is connected, the machine's condition, the last errors and notes.",
     "Example:\n"
     "  vrdx_routectl studio report"},
    {"watch", run_watch, nullptr, 0, 0, option_gateway,
     "Print a line for each change of a name, a source, the size, the backend or its link, and each take.",
     "Example:\n"
     "  vrdx_routectl studio watch\n"
     "It goes on until it is interrupted. A restart of the driver is told and survived."},
    {"save", run_save, "FILE", 1, 1, option_names, "Write all confirmed crosspoints to a file, or to \"-\".",
     "Examples:\n"
     "  vrdx_routectl studio save evening.json\n"
     "  vrdx_routectl studio save --names - | ssh backup 'cat >studio.json'"},
    {"restore", run_restore, "FILE", 1, 1, option_names | option_outputs | option_crosspoints,
     "Take the crosspoints of a saved file at once, and say which outputs did not follow.",
     "Examples:\n"
     "  vrdx_routectl studio restore evening.json --dry-run\n"
     "  vrdx_routectl studio restore evening.json --outputs 1-8"},
    {"logs", run_logs, nullptr, 0, 0, option_follow,
     "Show the end of the driver's trace, from its log file or from the journal of its service.",
     "Examples:\n"
     "  vrdx_routectl studio logs\n"
     "  vrdx_routectl studio logs -f --lines 100"},
    {"help", run_nothing, "[COMMAND]", 0, 1, without_item, "Print this help, or that of a command.",
     "Example:\n"
     "  vrdx_routectl help route"},
    {"send", run_send, "COMMAND [ARG ...]", 1, any_number, option_entries,
     "Send any packet and show the reply item by item.",
     "Examples:\n"
     "  vrdx_routectl studio send status\n"
     "  vrdx_routectl studio send route 3=2 --entry \"set=4=5 6=7\"\n"
     "Words after \"--\" are taken as they are."},
    {"ping", run_ping, nullptr, 0, 0, 0, "Ask whether the driver answers.",
     "Example:\n"
     "  vrdx_routectl studio ping"},
    {"exit", run_exit, nullptr, 0, 0, 0, "End the driver.",
     "A service is started again after two seconds; \"systemctl stop\" ends it for good.\n"
     "Example:\n"
     "  vrdx_routectl studio exit"},
};

} // namespace

std::span<const command> all_commands() {
    return commands;
}
