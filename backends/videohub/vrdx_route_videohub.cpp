// A Videohub router on the network: the backend program "route_videohub".

#include "conversation.h"
#include "settings.h"

namespace {

constexpr std::uint64_t us_per_ms = 1000;
constexpr std::uint64_t longest_delay_factor = 20; // 0.5 s grow to 10 s

struct route_program {
    videohub_settings settings;
    router_link link;
    videohub_conversation conversation;
};

std::uint64_t us(int ms) {
    return static_cast<std::uint64_t>(ms) * us_per_ms;
}

void aim(route_program& program) {
    const videohub_settings& settings = program.settings;
    if (settings.address.empty()) {
        constexpr const char* missing = "the item has no setting \"address\"";
        warn(program.conversation.driver, std::string("not connected: ") + missing);
        report_link(program.conversation.driver, false, missing);
    }
    set_link_target_tcp(program.link, settings.address, static_cast<std::uint16_t>(settings.port),
                        us(settings.connect_timeout_ms));
}

void set_up(route_program& program, const std::string& item_path) {
    videohub_settings& settings = program.settings;
    videohub_conversation& conversation = program.conversation;
    log_lines& log = conversation.driver.log;
    read_settings(videohub_setting_table(settings), read_item(item_path, log), log);
    conversation.periods.ping_us = us(settings.ping_ms);
    conversation.periods.silence_us = us(settings.silence_ms);
    conversation.periods.answer_us = us(settings.answer_ms);
    conversation.with_monitors = settings.with_monitors;
    conversation.with_serial_ports = settings.with_serial_ports;
    conversation.one_take_per_block = settings.one_take_per_block;
    program.link.delay.first_us = us(settings.reconnect_ms);
    program.link.delay.longest_us = us(settings.reconnect_ms) * longest_delay_factor;
    aim(program);
}

void on_setting(route_program& program, const std::string& name, const std::string& value) {
    const videohub_settings before = program.settings;
    log_lines& log = program.conversation.driver.log;
    if (change_setting(videohub_setting_table(program.settings), name, value, log) &&
        program.settings != before) {
        add_log_line(log, "NOTE", "setting " + name + " = " + value);
        aim(program);
    }
}

} // namespace

int main(int argc, char** argv) {
    const char* const item_path = start_backend_program(argc, argv);
    if (item_path == nullptr) {
        return 1;
    }
    route_program program;
    videohub_conversation& conversation = program.conversation;
    set_up(program, item_path);
    router_protocol protocol{conversation.driver, conversation.router, {}, {}, {}, {}, {}, {}};
    protocol.connected = [&](std::uint64_t now) { open_conversation(conversation, now); };
    protocol.lost = [&] { close_conversation(conversation); };
    protocol.hear_router = [&](auto bytes, auto now) { hear_router(conversation, bytes, now); };
    protocol.run_due = [&](std::uint64_t now) { run_conversation_timers(conversation, now); };
    protocol.next_due = [&](std::uint64_t now) { return next_conversation_time(conversation, now); };
    protocol.hear_driver = [&](const TavrixAPIRouterMessage& message, std::uint64_t now) {
        handle_driver_message(conversation, message, now,
                              [&](const auto& name, const auto& value) { on_setting(program, name, value); });
    };
    run_router_program(program.link, protocol);
    return 0;
}
