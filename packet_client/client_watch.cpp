#include "client_watch.h"

#include "client_limits.h"
#include "client_places.h"
#include "client_texts.h"
#include "monotonic_us.h"
#include "plain_text.h"

namespace vrdx {

namespace {

watch_step stop(router_watch* watch, watch_step why) {
    watch->begun = false;
    watch->complete = false;
    return why;
}

// The first change begins with 1 and contains everything; each further one begins after the one before. An
// entry that comes twice does no harm: it is the newest state each time.
watch_step place_change(const router_watch& watch, std::uint64_t from, std::uint64_t to) {
    if (watch.more)
        return from == watch.from && to == watch.to ? watch_step::told : watch_step::gap;
    if (from == 0 || to < from - 1 ||
        to < watch.to) // behind `from` by one: a router of which nothing is known yet
        return watch_step::malformed;
    const bool follows = watch.any_change ? from <= watch.to + 1 : from == 1;
    return follows ? watch_step::told : watch_step::gap;
}

watch_step add_change(router_watch* watch, const comm_socket_v4_packet& change, watch_news* news) {
    const auto from = number_of_digits<std::uint64_t>(entry_value(change, "from"));
    const auto to = number_of_digits<std::uint64_t>(entry_value(change, "to"));
    if (!from || !to)
        return watch_step::malformed;
    const watch_step placed = place_change(*watch, *from, *to);
    if (placed != watch_step::told)
        return placed;
    news->began_anew = !watch->any_change;
    watch->any_change = true;
    enter_packet(&watch->picture, change, &news->picture);
    watch->from = *from;
    watch->to = *to;
    watch->more = entry_value(change, "more") == "1";
    watch->complete = !watch->more;
    if (watch->complete)
        watch->picture.sequence = *to;
    if (watch->told_sequence < *to)
        watch->told_sequence = *to;
    news->complete = watch->complete;
    return watch_step::told;
}

void add_takes(router_watch* watch, const comm_socket_v4_packet& takes, watch_news* news) {
    read_take_records(takes, &news->takes);
    news->takes_lost = number_or_0(entry_value(takes, "lost"));
    for (const take_record& each : news->takes)
        if (each.number > watch->picture.last_take)
            watch->picture.last_take = each.number;
}

void add_alive(router_watch* watch, const comm_socket_v4_packet& alive) {
    if (const auto sequence = number_of_digits<std::uint64_t>(entry_value(alive, "sequence")))
        watch->told_sequence = *sequence;
    if (const auto last_take = number_of_digits<std::uint64_t>(entry_value(alive, "last take")))
        watch->picture.last_take = *last_take;
}

} // namespace

comm_socket_v4_packet watch_request() {
    return simple_request("watch");
}

watch_step begin_watch(router_watch* watch, const comm_socket_v4_packet& reply, std::uint64_t now) {
    const std::string_view epoch = entry_value(reply, "epoch");
    if (command_of(reply) != "watch" || !is_epoch(epoch))
        return stop(watch, watch_step::malformed);
    const std::string before = watch->picture.epoch;
    *watch = {};
    watch->picture.epoch = epoch;
    watch->begun = true;
    watch->heard_us = now;
    add_alive(watch, reply); // it tells the same
    return before.empty() || before == epoch ? watch_step::told : watch_step::other_epoch;
}

watch_step add_news(router_watch* watch, const comm_socket_v4_packet& pushed, std::uint64_t now,
                    watch_news* news) {
    *news = {};
    watch->heard_us = now;
    const std::string_view command = command_of(pushed);
    const bool is_change = command == "change";
    const bool is_takes = command == "takes";
    if (!is_change && !is_takes && command != "alive")
        return watch_step::told;
    if (!watch->begun)
        return watch_step::gap;
    if (entry_value(pushed, "epoch") != watch->picture.epoch)
        return stop(watch,
                    is_epoch(entry_value(pushed, "epoch")) ? watch_step::other_epoch : watch_step::malformed);
    if (is_change) {
        const watch_step step = add_change(watch, pushed, news);
        return step == watch_step::told ? step : stop(watch, step);
    }
    if (is_takes)
        add_takes(watch, pushed, news);
    else
        add_alive(watch, pushed);
    return watch_step::told;
}

bool is_silent(const router_watch& watch, std::uint64_t now) {
    return watch.begun && now > watch.heard_us + watch_silence_limit_us;
}

outcome watch_until(driver_connection* connection, router_watch* watch, std::uint64_t deadline) {
    comm_socket_v4_packet reply;
    const outcome asked = ask_until(connection, watch_request(), &reply, deadline);
    if (asked != outcome::done)
        return asked;
    if (is_error(reply)) {
        connection->problem = error_text(reply);
        return outcome::refused;
    }
    if (begin_watch(watch, reply, monotonic_us()) != watch_step::malformed)
        return outcome::done;
    connection->problem = "the driver's answer begins no watch";
    return outcome::rejected;
}

} // namespace vrdx
