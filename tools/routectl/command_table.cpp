#include "command_table.h"

#include "commands.h"

#include <limits>

namespace {

constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

constexpr command commands[] = {
    {"list", run_list, nullptr, 0, 0, takes_observe | takes_no_item,
     "Show all routers: which run, their size, their backend, what is wrong, the last error.",
     "Examples:\n"
     "  vrdx_routectl list\n"
     "  vrdx_routectl list --json --timeout 1\n"
     "It knows the items in /etc/vrdx/items and the sockets in /run/vrdx. All drivers are asked at the same\n"
     "time. It exits with 0 also when routers are in trouble."},
    {"status", run_status, nullptr, 0, 0, takes_observe, "Show the router: each output and its sources.",
     "Examples:\n"
     "  vrdx_routectl studio status\n"
     "  vrdx_routectl studio status --observe 60     takes rolled back in the next minute, too\n"
     "Lines before the table say what is wrong with the backend. Without a router it prints \"no router\" "
     "and\n"
     "exits with 1."},
    {"route", run_route, "OUT=IN[,VIDEO] ...", 1, any_number, takes_wait,
     "Take: send inputs to outputs, all in one request.",
     "Examples:\n"
     "  vrdx_routectl studio route 3=2         input 2 to output 3\n"
     "  vrdx_routectl studio route 3=2,4       audio of input 2, video of input 4\n"
     "  vrdx_routectl studio route 3=none      no source\n"
     "  vrdx_routectl studio route --wait 1=5 2=5 3=5"},
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
    {"watch", run_watch, nullptr, 0, 0, 0,
     "Print a line for each change of a name, a source, the size or the backend, and each take rolled back.",
     "Example:\n"
     "  vrdx_routectl studio watch\n"
     "It goes on until it is interrupted. A restart of the driver is told and survived."},
    {"save", run_save, "FILE", 1, 1, 0, "Write all crosspoints to a file.",
     "Example:\n"
     "  vrdx_routectl studio save evening.json"},
    {"restore", run_restore, "FILE", 1, 1, 0,
     "Take all crosspoints of a saved file at once, wait, and say which outputs did not follow.",
     "Example:\n"
     "  vrdx_routectl studio restore evening.json\n"
     "A driver that is restarted meanwhile is waited for, six times the timeout, and given the takes again."},
    {"logs", run_logs, nullptr, 0, 0, takes_follow,
     "Show the end of the driver's trace, from its log file or from the journal of its service.",
     "Examples:\n"
     "  vrdx_routectl studio logs\n"
     "  vrdx_routectl studio logs -f --lines 100"},
    {"send", run_send, "COMMAND [ARG ...]", 1, any_number, takes_entries,
     "Send any packet and show the reply item by item.",
     "Examples:\n"
     "  vrdx_routectl studio send status\n"
     "  vrdx_routectl studio send route 3=2 --entry \"set=4=5 6=7\"\n"
     "Words after \"--\" are taken as they are."},
    {"ping", run_ping, nullptr, 0, 0, 0, "Ask whether the driver answers.",
     "Example:\n"
     "  vrdx_routectl studio ping"},
    {"exit", run_exit, nullptr, 0, 0, 0, "End the driver.",
     "Example:\n"
     "  vrdx_routectl studio exit"},
};

} // namespace

std::span<const command> all_commands() {
    return commands;
}
