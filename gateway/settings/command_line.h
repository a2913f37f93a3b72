// The command line of vrdx_gateway.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace gateway {

// Exit codes.
constexpr int exit_done = 0;
constexpr int exit_failed = 1;    // it was understood, and did not succeed
constexpr int exit_wrong_use = 2; // wrong command line or configuration

enum class wanted {
    serve,
    check_config,
    token_add,
    token_list,
    token_remove,
    backup,
    restore,
    nothing, // help, version or a wrong command line: all is said, end with exit_code
};

struct command_line {
    wanted what = wanted::nothing;
    int exit_code = exit_done; // of `nothing`

    std::optional<std::string> config; // not given: default_configuration when it exists
    std::optional<std::string> listen, items, run, state;
    int ready_fd = -1; // gets "ADDRESS:PORT\n" for each listener when all is ready; -1: nobody waits

    // token add, token remove: as they were written, not checked yet
    std::string token_name, token_role;
    std::vector<std::string> token_routers;
    std::optional<std::string> token_outputs, token_inputs;

    std::string backup_file; // of backup and restore
};

command_line read_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

} // namespace gateway
