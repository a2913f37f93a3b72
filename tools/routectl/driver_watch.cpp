#include "driver_watch.h"

#include "monotonic_us.h"
#include "program_end.h"

#include <poll.h>

namespace {

constexpr int reconnect_period_ms = 200;
constexpr std::uint64_t silence_look_us = 500000; // how often it is looked whether the driver lives

int begin_quietly(driver_link* link, vrdx::router_watch* watch) {
    const int connected = connect_quietly(link);
    if (connected != exit_done)
        return connected;
    const int result = failure_of(link, vrdx::watch_until(&link->connection, watch, deadline_of(*link)));
    const std::string older = older_driver(link->connection.problem, "watch");
    if (result == exit_refused && !older.empty())
        link->problem = older;
    return result;
}

// Reads packets until the connection cannot be trusted any more (true) or the listener ends it (false).
bool read_packets(driver_link* link, vrdx::router_watch* watch, const watch_listener& listener) {
    for (;;) {
        vrdx::incoming_packet incoming;
        const std::uint64_t now = monotonic_us();
        const vrdx::outcome came = vrdx::wait_for_packet(&link->connection, &incoming, now + silence_look_us);
        if (came == vrdx::outcome::late && !vrdx::is_silent(*watch, monotonic_us()))
            continue;
        if (came != vrdx::outcome::done)
            return true;
        vrdx::watch_news news;
        if (vrdx::add_news(watch, incoming.packet, monotonic_us(), &news) != vrdx::watch_step::told)
            return true;
        if (!listener.news(*watch, news))
            return false;
    }
}

// Waits until a driver can be watched again, and keeps its epoch of before.
void wait_for_driver(driver_link* link, vrdx::router_watch* watch) {
    vrdx::close_connection(&link->connection);
    while (begin_quietly(link, watch) != exit_done) {
        vrdx::close_connection(&link->connection);
        poll(nullptr, 0, reconnect_period_ms);
    }
}

} // namespace

int begin_watching(driver_link* link, vrdx::router_watch* watch) {
    const int result = begin_quietly(link, watch);
    return result == exit_done ? result : failed(result, link->problem);
}

int go_on_watching(driver_link* link, vrdx::router_watch* watch, const watch_listener& listener) {
    while (read_packets(link, watch, listener)) {
        if (!listener.gone())
            break;
        const std::string epoch = watch->picture.epoch;
        wait_for_driver(link, watch);
        if (!listener.back(link, watch->picture.epoch != epoch))
            break;
    }
    return exit_refused; // the output cannot be written; main() says so
}
