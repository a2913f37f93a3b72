// A Videohub router on the network: the backend program "route_videohub".

#include "backend_loop.h"
#include "conversation.h"
#include "endpoint.h"
#include "print_log.h"
#include "settings.h"

namespace {

constexpr std::uint64_t us_per_ms = 1000;
constexpr std::uint64_t longest_delay_factor = 20; // 0.5 s grow to 10 s

struct route_program {
    videohub_settings settings;
    router_link link;
    videohub_conversation conversation;
    std::uint64_t followed = 0; // the link's count of connections that the conversation is about
    std::uint64_t next_due = 0;
};

std::uint64_t us(int ms) {
    return static_cast<std::uint64_t>(ms) * us_per_ms;
}

void aim(route_program& program) {
    const videohub_settings& settings = program.settings;
    if (settings.address.empty()) {
        add_log_line(program.conversation.log, "WARN", "not connected: the item has no setting \"address\"");
    }
    set_link_target_tcp(program.link, settings.address, static_cast<std::uint16_t>(settings.port),
                        us(settings.connect_timeout_ms));
}

void set_up(route_program& program, const std::string& item_path) {
    std::map<std::string, std::string> values;
    log_lines& log = program.conversation.log;
    if (read_name_value_file(values, item_path) != 0) {
        add_log_line(log, "ERR", "cannot read item file " + item_path);
    }
    program.settings = settings_from_item(values, log);
    program.conversation.periods.ping_us = us(program.settings.ping_ms);
    program.conversation.periods.silence_us = us(program.settings.silence_ms);
    program.conversation.periods.answer_us = us(program.settings.answer_ms);
    program.link.delay.first_us = us(program.settings.reconnect_ms);
    program.link.delay.longest_us = us(program.settings.reconnect_ms) * longest_delay_factor;
    aim(program);
}

void on_message(route_program& program, const TavrixAPIRouterMessage& message, std::uint64_t now) {
    if (message.type != "message" || message.command != "set") {
        handle_driver_message(program.conversation, message, now);
        return;
    }
    const auto name = message.fields.find("name");
    const auto value = message.fields.find("value");
    if (name != message.fields.end() && value != message.fields.end() &&
        change_setting(program.settings, name->second, value->second, program.conversation.log)) {
        add_log_line(program.conversation.log, "NOTE", "setting " + name->second + " = " + value->second);
        aim(program);
    }
}

// Lets the conversation know what has become of the link.
void follow_link(route_program& program, std::uint64_t now) {
    router_link& link = program.link;
    const bool open = link.state == link_state::open;
    if (!open || link.connections != program.followed) {
        close_conversation(program.conversation);
    }
    if (open && link.connections != program.followed) {
        program.followed = link.connections;
        open_conversation(program.conversation, now);
    }
    hear_router(program.conversation, link.received, now);
    link.received.clear();
    run_conversation_timers(program.conversation, now);
}

// Does what the conversation asks for.
void serve_conversation(route_program& program, std::uint64_t now) {
    videohub_conversation& conversation = program.conversation;
    if (conversation.sound) {
        link_is_sound(program.link, now);
    }
    if (conversation.failure.empty() && !conversation.to_router.empty() &&
        !send_to_router(program.link, conversation.to_router)) {
        conversation.failure = "it does not read what it is sent";
    }
    conversation.to_router.clear();
    if (!conversation.failure.empty()) {
        drop_link(program.link, conversation.failure, now);
        close_conversation(conversation);
        conversation.failure.clear();
    }
    print_log(program.link.log);
    print_log(conversation.log);
    for (const TavrixAPIRouterMessage& report : conversation.reports) {
        static_cast<void>(endpoint_send_message(report)); // the loop notices when the driver is gone
    }
    conversation.reports.clear();
}

void on_pass(route_program& program, std::uint64_t now) {
    print_log(program.link.log); // why the link is lost, before what that means
    follow_link(program, now);
    serve_conversation(program, now);
    program.next_due = next_conversation_time(program.conversation, now);
}

} // namespace

int main(int argc, char** argv) {
    const char* const item_path = start_backend_program(argc, argv);
    if (item_path == nullptr) {
        return 1;
    }
    route_program program;
    set_up(program, item_path);
    backend_handlers handlers;
    handlers.on_message = [&](const TavrixAPIRouterMessage& message, std::uint64_t now) {
        on_message(program, message, now);
    };
    handlers.on_pass = [&](std::uint64_t now) { on_pass(program, now); };
    handlers.next_due = [&] { return program.next_due; };
    run_backend_loop(program.link, handlers);
    return 0;
}
