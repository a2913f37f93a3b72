#include "command_table.h"

#include "commands.h"

#include <limits>

namespace {

constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

constexpr command commands[] = {
    {"status", run_status, nullptr, 0, 0, false, false, "Show the router: each output and its sources.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router status\n"
     "Without a router it prints \"no router\" and exits with 1."},
    {"route", run_route, "OUT=IN[,VIDEO] ...", 1, any_number, true, false,
     "Take: send inputs to outputs, all in one request.",
     "Examples:\n"
     "  vrdx_routectl /srv/items/router route 3=2         input 2 to output 3\n"
     "  vrdx_routectl /srv/items/router route 3=2,4       audio of input 2, video of input 4\n"
     "  vrdx_routectl /srv/items/router route 3=none      no source\n"
     "  vrdx_routectl /srv/items/router route --wait 1=5 2=5 3=5"},
    {"router-set", run_router_set, "NAME=VALUE ...", 1, any_number, false, false,
     "Set names and other properties of inputs and outputs.",
     "Examples:\n"
     "  vrdx_routectl /srv/items/router router-set \"output.3.name=Monitor 3\"\n"
     "  vrdx_routectl /srv/items/router router-set input.1.name=Cam1 input.2.name=Cam2"},
    {"set", run_set, "NAME=VALUE ...", 1, any_number, false, false,
     "Change settings of the running driver. NAME ends at the first \"=\".",
     "Example:\n"
     "  vrdx_routectl /srv/items/router set \"enable debug messages=1\"\n"
     "The item file is not changed."},
    {"report", run_report, nullptr, 0, 0, false, false,
     "Show whether a backend is connected, the machine's condition, the last errors and notes.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router report"},
    {"watch", run_watch, nullptr, 0, 0, false, false,
     "Print a line for each change of a name, a source, the size or the backend, until interrupted.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router watch\n"
     "A restart of the driver is told and survived."},
    {"save", run_save, "FILE", 1, 1, false, false, "Write all crosspoints to a file.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router save evening.json"},
    {"restore", run_restore, "FILE", 1, 1, false, false,
     "Take all crosspoints of a saved file at once, wait, and say which outputs did not follow.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router restore evening.json"},
    {"send", run_send, "COMMAND [ARG ...]", 1, any_number, false, true,
     "Send any packet and show the reply item by item.",
     "Examples:\n"
     "  vrdx_routectl /srv/items/router send status\n"
     "  vrdx_routectl /srv/items/router send route 3=2 --entry \"set=4=5 6=7\"\n"
     "Words after \"--\" are taken as they are."},
    {"ping", run_ping, nullptr, 0, 0, false, false, "Ask whether the driver answers.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router ping"},
    {"exit", run_exit, nullptr, 0, 0, false, false, "End the driver.",
     "Example:\n"
     "  vrdx_routectl /srv/items/router exit"},
};

} // namespace

std::span<const command> all_commands() {
    return commands;
}
