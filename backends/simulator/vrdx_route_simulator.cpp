// A router without hardware, for demonstrations, training and tests: the backend program "route_simulator".

#include "print_log.h"
#include "router_program.h"
#include "simulator.h"
#include "state_file.h"

#include <utility>

namespace {

void set_up(simulator& simulator, const std::string& item_path) {
    log_lines& log = simulator.driver.log;
    simulator.settings = settings_from_item(read_item(item_path, log), item_path, log);
    const simulator_settings& settings = simulator.settings;
    simulator.router = new_router(settings.inputs, settings.outputs, settings.split_levels);
    if (!settings.state_file.empty()) {
        load_state_file(settings.state_file, simulator.router, log);
    }
}

// A change is on the disk before it is confirmed.
void save_and_confirm(simulator& simulator) {
    if (std::exchange(simulator.router_changed, false) && !simulator.settings.state_file.empty()) {
        save_state_file(simulator.settings.state_file, simulator.router, simulator.driver.log);
    }
    serve_driver(simulator.driver);
}

} // namespace

int main(int argc, char** argv) {
    const char* const item_path = start_backend_program(argc, argv);
    if (item_path == nullptr) {
        return 1;
    }
    simulator simulator;
    set_up(simulator, item_path);
    announce_router(simulator);
    serve_driver(simulator.driver);
    router_link nothing; // the router is in this program, so there is no connection
    backend_handlers handlers;
    handlers.on_message = [&](const TavrixAPIRouterMessage& message, std::uint64_t now) {
        handle_message(simulator, message, now);
        save_and_confirm(simulator);
    };
    handlers.on_pass = [&](std::uint64_t now) {
        run_due_takes(simulator, now);
        save_and_confirm(simulator);
    };
    handlers.next_due = [&] { return next_due_time(simulator); };
    run_backend_loop(nothing, handlers);
    return 0;
}
