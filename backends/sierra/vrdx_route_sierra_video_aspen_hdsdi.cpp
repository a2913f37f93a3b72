// The backend program for routers that speak the generic ASCII protocol of Sierra Video, over TCP or a serial
// line.

#include "backend_loop.h"
#include "driver_messages.h"
#include "endpoint.h"
#include "print_log.h"
#include "serial_line.h"

#include <limits>
#include <map>
#include <string>

namespace {

constexpr std::uint64_t bits_per_byte_on_line = 10; // start and stop bit beside the eight

struct backend {
    router_link link;
    session conversation;
    std::uint64_t connection = 0; // the one that the conversation is held on; 0: none
};

bool uses_serial_line(const sierra_settings& settings) {
    return !settings.device.empty();
}

// Microseconds.
std::uint64_t time_per_byte(const sierra_settings& settings) {
    return uses_serial_line(settings)
               ? bits_per_byte_on_line * 1000000 / static_cast<std::uint64_t>(settings.baud)
               : 0;
}

void set_target(backend& backend, log_lines& log) {
    const sierra_settings& settings = backend.conversation.settings;
    if (uses_serial_line(settings)) {
        const std::string device = settings.device;
        const int baud = settings.baud;
        set_link_target_device(backend.link, device, [device, baud](std::string* failure) {
            return open_serial_line(device, baud, failure);
        });
        return;
    }
    if (settings.address.empty()) {
        add_log_line(log, "ERR", "neither the setting \"address\" nor \"device\" names the router");
    }
    set_link_target_tcp(backend.link, settings.address, static_cast<std::uint16_t>(settings.port),
                        static_cast<std::uint64_t>(settings.connect_timeout_ms) * 1000);
}

// Does what `reaction` asks for, and empties it.
void carry_out(backend& backend, std::uint64_t now, reaction& reaction) {
    print_log(reaction.log);
    for (const TavrixAPIRouterMessage& report : reaction.reports) {
        endpoint_send_message(report); // the loop notices when the driver is gone
    }
    if (!reaction.to_router.empty() && !send_to_router(backend.link, reaction.to_router) &&
        reaction.failure.empty()) {
        reaction.failure = "it does not read what it is sent";
    }
    if (!reaction.failure.empty()) {
        drop_link(backend.link, reaction.failure, now);
    }
    reaction = {};
}

// A connection that broke and one that was made may come in the same pass.
void follow_connection(backend& backend, std::uint64_t now, reaction& reaction) {
    const bool is_open = backend.link.state == link_state::open;
    const std::uint64_t connection = is_open ? backend.link.connections : 0;
    if (connection == backend.connection) {
        return;
    }
    if (backend.connection != 0) {
        session_lost(backend.conversation, reaction);
    }
    backend.connection = connection;
    if (is_open) {
        const std::uint64_t pace = time_per_byte(backend.conversation.settings);
        session_connected(backend.conversation, pace, now, reaction);
    }
}

void run_pass(backend& backend, std::uint64_t now) {
    reaction reaction;
    follow_connection(backend, now, reaction);
    take_router_bytes(backend.conversation, backend.link.received, now, reaction);
    backend.link.received.clear();
    run_due(backend.conversation, now, reaction);
    if (backend.conversation.phase == session_phase::ready && reaction.failure.empty()) {
        link_is_sound(backend.link, now);
    }
    carry_out(backend, now, reaction);
    follow_connection(backend, now, reaction); // it may just have been dropped
    carry_out(backend, now, reaction);
}

void take_message(backend& backend, const TavrixAPIRouterMessage& message, std::uint64_t now) {
    reaction reaction;
    const changed_part part = handle_driver_message(backend.conversation, message, now, reaction);
    if (part == changed_part::line) {
        set_target(backend, reaction.log);
    }
    carry_out(backend, now, reaction);
}

} // namespace

int main(int argc, char** argv) {
    const char* const item_path = start_backend_program(argc, argv);
    if (item_path == nullptr) {
        return 1;
    }
    backend backend;
    log_lines log;
    std::map<std::string, std::string> values;
    if (read_name_value_file(values, item_path) != 0) {
        add_log_line(log, "ERR", std::string("cannot read item file ") + item_path);
    }
    backend.conversation.settings = settings_from_item(values, log);
    set_target(backend, log);
    print_log(log);
    run_backend_loop(
        backend.link,
        {[&](const auto& message, std::uint64_t now) { take_message(backend, message, now); },
         [&](std::uint64_t now) { run_pass(backend, now); },
         [&] {
             return next_due_time(backend.conversation).value_or(std::numeric_limits<std::uint64_t>::max());
         }});
    return 0;
}
