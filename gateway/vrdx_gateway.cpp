// vrdx_gateway: the routers of this machine by HTTP and WebSocket.
#include "gateway/access/token_command.h"
#include "gateway/audit/backup_command.h"
#include "gateway/serving.h"

#include <ctime>
#include <iostream>

int main(int argc, char** argv) {
    using namespace gateway;
    const command_line line = read_command_line(argc, argv, std::cout, std::cerr);
    if (line.what == wanted::nothing)
        return line.exit_code;

    const configuration read = read_configuration(line);
    for (const std::string& problem : read.problems)
        std::cerr << "vrdx_gateway: " << problem << '\n';
    if (!read.problems.empty())
        return exit_wrong_use;

    switch (line.what) {
    case wanted::check_config:
        return exit_done;
    case wanted::serve:
        return serve(line, read);
    case wanted::backup:
        return run_backup_command(line, read.values.state, std::cerr);
    case wanted::restore:
        return run_restore_command(line, read.values.state, std::cerr);
    default:
        return run_token_command(line, read.values.state, std::time(nullptr), std::cout, std::cerr);
    }
}
