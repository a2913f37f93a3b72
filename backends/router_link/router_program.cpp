#include "router_program.h"

#include "endpoint.h"
#include "print_log.h"

namespace {

struct followed_link {
    router_link& link;
    const router_protocol& protocol;
    std::uint64_t connection = 0; // the count of the connection in use; 0: none
    std::uint64_t next_due = 0;
};

// A connection that broke and one that was made may come in the same pass.
void follow(followed_link& followed, std::uint64_t now) {
    const router_link& link = followed.link;
    const std::uint64_t connection = link.state == router_link_state::open ? link.connections : 0;
    if (connection == followed.connection) {
        return;
    }
    if (followed.connection != 0) {
        followed.protocol.lost();
        report_link(followed.protocol.driver, false,
                    link.failure.empty() ? "the connection is made anew" : link.failure);
    }
    followed.connection = connection;
    if (connection != 0) {
        followed.protocol.connected(now);
    }
}

// Does what the protocol asks for.
void serve_protocol(followed_link& followed, std::uint64_t now) {
    router_side& router = followed.protocol.router;
    if (router.is_sound && router.failure.empty()) {
        link_is_sound(followed.link, now);
    }
    if (router.failure.empty() && !router.to_router.empty() &&
        !send_to_router(followed.link, router.to_router)) {
        router.failure = "it does not read what it is sent";
    }
    router.to_router.clear();
    if (!router.failure.empty()) {
        drop_link(followed.link, router.failure, now);
        follow(followed, now);
        router.failure.clear();
        router.to_router.clear();
    }
    followed.link.acknowledges_at_once = router.awaits_answer;
}

// After a failed attempt to connect the router is down; while its state is being read it is not up yet.
void tell_link(const followed_link& followed) {
    driver_side& driver = followed.protocol.driver;
    if (driver.state == router_state::ready) {
        report_link(driver, true, "connected to " + followed.link.name);
    } else if (!followed.link.failure.empty()) {
        report_link(driver, false, followed.link.failure);
    }
}

void run_pass(followed_link& followed, std::uint64_t now) {
    print_log(followed.link.log); // first why the link is lost, then what follows from it
    follow(followed, now);
    if (followed.connection != 0) {
        followed.protocol.hear_router(followed.link.received, now);
        followed.link.received.clear();
    }
    followed.protocol.run_due(now);
    serve_protocol(followed, now);
    print_log(followed.link.log);
    report_news(followed.protocol.driver);
    tell_link(followed);
    serve_driver(followed.protocol.driver);
    followed.next_due = followed.protocol.next_due(now);
}

} // namespace

std::map<std::string, std::string> read_item(const std::string& path, log_lines& log) {
    std::map<std::string, std::string> values;
    if (read_name_value_file(values, path) != 0) {
        add_log_line(log, "ERR", "cannot read item file " + path);
    }
    return values;
}

void serve_driver(driver_side& driver) {
    print_log(driver.log);
    for (const TavrixAPIRouterMessage& report : driver.reports) {
        static_cast<void>(endpoint_send_message(report)); // the loop notices when the driver is gone
    }
    driver.reports.clear();
}

void run_router_program(router_link& link, const router_protocol& protocol) {
    followed_link followed{link, protocol};
    backend_handlers handlers;
    handlers.on_message = protocol.hear_driver;
    handlers.on_pass = [&](std::uint64_t now) { run_pass(followed, now); };
    handlers.next_due = [&] { return followed.next_due; };
    run_backend_loop(link, handlers);
}
