// The backend program for routers that speak the generic ASCII protocol of Sierra Video, over TCP or a serial
// line.

#include "serial_line.h"
#include "session.h"

namespace {

constexpr std::uint64_t bits_per_byte_on_line = 10; // start and stop bit beside the eight

struct backend {
    router_link link;
    session conversation;
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

void set_target(backend& backend) {
    const sierra_settings& settings = backend.conversation.settings;
    driver_side& driver = backend.conversation.driver;
    if (uses_serial_line(settings)) {
        const std::string device = settings.device;
        const int baud = settings.baud;
        set_link_target_device(backend.link, device, [device, baud](std::string* failure) {
            return open_serial_line(device, baud, failure);
        });
        return;
    }
    if (settings.address.empty()) {
        constexpr const char* missing = "neither the setting \"address\" nor \"device\" names the router";
        add_log_line(driver.log, "ERR", missing);
        report_link(driver, false, missing);
    }
    set_link_target_tcp(backend.link, settings.address, static_cast<std::uint16_t>(settings.port),
                        static_cast<std::uint64_t>(settings.connect_timeout_ms) * 1000);
}

} // namespace

int main(int argc, char** argv) {
    const char* const item_path = start_backend_program(argc, argv);
    if (item_path == nullptr) {
        return 1;
    }
    backend backend;
    session& talk = backend.conversation;
    talk.settings = settings_from_item(read_item(item_path, talk.driver.log), talk.driver.log);
    set_target(backend);
    router_protocol protocol{talk.driver, talk.router, {}, {}, {}, {}, {}, {}};
    protocol.connected = [&](std::uint64_t now) {
        session_connected(talk, time_per_byte(talk.settings), now);
    };
    protocol.lost = [&] { session_lost(talk); };
    protocol.hear_router = [&](auto bytes, auto now) { hear_router(talk, bytes, now); };
    protocol.run_due = [&](std::uint64_t now) { run_due(talk, now); };
    protocol.next_due = [&](std::uint64_t) { return next_due_time(talk); };
    protocol.hear_driver = [&](const TavrixAPIRouterMessage& message, std::uint64_t now) {
        if (handle_driver_message(talk, message, now) == changed_part::line) {
            set_target(backend);
        }
    };
    run_router_program(backend.link, protocol);
    return 0;
}
