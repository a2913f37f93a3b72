#include "gateway/metrics/metrics_page.h"

#include "gateway/access/rights.h"
#include "gateway/http/utf8.h"
#include "gateway/metrics/process_figures.h"
#include "gateway/settings/limits.h"

#include <functional>
#include <optional>

#ifndef VRDX_VERSION
#define VRDX_VERSION "0"
#endif

namespace gateway {

namespace {

using shown_routers = std::vector<const shown_router*>;
using value_of = std::function<std::optional<double>(const shown_router&)>;

double seconds(std::uint64_t from_us, std::uint64_t to_us) {
    return static_cast<double>(to_us > from_us ? to_us - from_us : 0) / 1e6;
}

// A sample of each router that has the figure.
void write_figure(metrics_text* text, const metric& about, const shown_routers& routers, const value_of& of) {
    text->begin(about);
    for (const shown_router* router : routers)
        if (const std::optional<double> value = of(*router))
            text->sample({{"router", router->name}}, *value);
}

// The same of what drivers tell when they are asked.
void write_driver_figure(metrics_text* text, const metric& about, const shown_routers& routers,
                         std::uint64_t driver_figures::*member) {
    text->begin(about);
    for (const shown_router* router : routers)
        if (is_picture_true(router->state) && router->figures)
            text->sample({{"router", router->name}}, (*router->figures).*member);
}

std::optional<double> backend_value(const shown_router& router) {
    if (!is_picture_true(router.state))
        return std::nullopt;
    return router.picture.backend == vrdx::backend_state::running ? 1 : 0;
}

std::optional<double> link_value(const shown_router& router) {
    const vrdx::link_state link = router.picture.link;
    if (backend_value(router) != 1 || (link != vrdx::link_state::up && link != vrdx::link_state::down))
        return std::nullopt;
    return link == vrdx::link_state::up ? 1 : 0;
}

void write_states(metrics_text* text, const shown_routers& routers, std::uint64_t now_us) {
    write_figure(text, figure::driver_up, routers,
                 [](const shown_router& router) { return is_picture_true(router.state) ? 1 : 0; });
    write_figure(text, figure::backend_up, routers, backend_value);
    write_figure(text, figure::link_up, routers, link_value);
    write_figure(text, figure::state_age, routers, [now_us](const shown_router& router) {
        return router.heard_us == 0 ? std::optional<double>() : seconds(router.heard_us, now_us);
    });
    text->begin(figure::reconnects);
    for (const shown_router* router : routers)
        text->sample({{"router", router->name}}, router->connections > 0 ? router->connections - 1 : 0);
}

void write_takes(metrics_text* text, const shown_routers& routers, const take_figures& counted) {
    static const router_takes none;
    const auto of = [&counted](const shown_router* router) -> const router_takes& {
        const router_takes* const known = counted.of(router->name);
        return known != nullptr ? *known : none;
    };
    text->begin(figure::takes);
    for (const shown_router* router : routers)
        for (std::size_t word = 0; word < router_takes::words; word++)
            text->sample(
                {{"router", router->name}, {"result", result_text(static_cast<vrdx::take_word>(word))}},
                of(router).decided.at(word));
    text->begin(figure::takes_unheard);
    for (const shown_router* router : routers)
        text->sample({{"router", router->name}}, of(router).unheard);
    text->begin(figure::take_time);
    for (const shown_router* router : routers)
        text->sample({{"router", router->name}}, of(router).confirmed);
}

void write_driver_figures(metrics_text* text, const shown_routers& routers) {
    write_driver_figure(text, figure::rollbacks, routers, &driver_figures::rollbacks);
    write_driver_figure(text, figure::backend_starts, routers, &driver_figures::backend_starts);
    write_driver_figure(text, figure::clients, routers, &driver_figures::clients);
    write_figure(text, figure::driver_uptime, routers, [](const shown_router& router) {
        return is_picture_true(router.state) && router.figures
                   ? std::optional(static_cast<double>(router.figures->uptime_ms) / 1000)
                   : std::nullopt;
    });
}

void write_crosspoints_of(metrics_text* text, const shown_router& router) {
    const auto write = [&](const std::string& output, const char* level, int source) {
        if (source != vrdx::source_unknown)
            text->sample({{"router", router.name}, {"output", output}, {"level", level}},
                         static_cast<std::uint64_t>(source));
    };
    for (std::size_t at = 0; at < router.picture.outputs.size(); at++) {
        const vrdx::level_sources& sources = router.picture.outputs[at].sources;
        const std::string output = std::to_string(at + 1);
        if (router.picture.split_levels) {
            write(output, "video", sources.video);
            write(output, "audio", sources.audio);
        } else
            write(output, "all", sources.video != vrdx::source_unknown ? sources.video : sources.audio);
    }
}

// Routers are told whole or not at all, so that nobody takes a part for all of it.
void write_crosspoints(metrics_text* text, const shown_routers& routers) {
    std::size_t told = 0, left_out = 0;
    text->begin(figure::crosspoint);
    for (const shown_router* router : routers) {
        const std::size_t outputs = is_picture_true(router->state) ? router->picture.outputs.size() : 0;
        if (told + outputs > metrics_crosspoints_limit)
            left_out += outputs;
        else if (outputs > 0) {
            told += outputs;
            write_crosspoints_of(text, *router);
        }
    }
    text->begin(figure::crosspoints_left_out);
    text->sample({}, left_out);
}

// Of another site's router what this gateway knows of it: whether it is heard.
void write_far(metrics_text* text, const shown_routers& routers, std::uint64_t now_us) {
    write_figure(text, figure::far_router_up, routers,
                 [](const shown_router& router) { return is_picture_true(router.state) ? 1 : 0; });
    write_figure(text, figure::far_router_age, routers, [now_us](const shown_router& router) {
        return router.heard_us == 0 ? std::optional<double>() : seconds(router.heard_us, now_us);
    });
}

void write_gateway(metrics_text* text, const gateway_figures& gateway) {
    const auto write = [text](const metric& about, std::uint64_t value) {
        text->begin(about);
        text->sample({}, value);
    };
    text->begin(figure::gateway_version);
    text->sample({{"version", VRDX_VERSION}}, std::uint64_t{1});
    write(figure::gateway_connections, gateway.connections);
    write(figure::gateway_event_readers, gateway.event_readers);
    write(figure::gateway_event_queue, gateway.event_queue_bytes);
    write(figure::gateway_event_queue_longest, gateway.event_queue_longest_bytes);
    write(figure::gateway_open_requests, gateway.open_requests);
}

void write_history(metrics_text* text, const std::optional<gateway_figures::history>& history) {
    const auto write = [&](const metric& about, std::uint64_t value) {
        text->begin(about);
        if (history)
            text->sample({}, value);
    };
    const gateway_figures::history now = history.value_or(gateway_figures::history());
    write(figure::history_up, now.up ? 1 : 0);
    write(figure::history_waiting, now.waiting);
    write(figure::history_lost, now.lost);
    write(figure::history_bytes, now.bytes);
}

void write_exchange(metrics_text* text, const gateway_figures::exchange& now) {
    const auto write = [&](const metric& about, std::uint64_t value) {
        text->begin(about);
        text->sample({}, value);
    };
    write(figure::exchange_up, now.up ? 1 : 0);
    write(figure::history_unsent, now.unsent);
    write(figure::history_sent, now.sent);
    write(figure::history_unread, now.unread);
    write(figure::history_read, now.read);
}

void write_process(metrics_text* text, double started_s) {
    const process_figures process = figures_of_this_process();
    text->begin(figure::process_memory);
    if (process.resident_bytes)
        text->sample({}, *process.resident_bytes);
    text->begin(figure::process_descriptors);
    if (process.open_descriptors)
        text->sample({}, *process.open_descriptors);
    text->begin(figure::process_processor_time);
    text->sample({}, process.processor_s);
    text->begin(figure::process_start_time);
    text->sample({}, started_s);
}

} // namespace

std::string metrics_page(const token& who, const metrics_wish& wish, const shown_routers& routers,
                         const take_figures& takes, const gateway_figures& gateway, std::uint64_t now_us) {
    shown_routers seen;
    std::size_t no_text = 0; // a label is UTF-8, and two names must not become the same
    shown_routers far;       // of other sites, whose gateways tell all else of them
    std::size_t others = 0;  // the same, also those that this token may not see
    for (const shown_router* router : routers) {
        const bool is_far = !router->site.empty();
        others += is_far ? 1 : 0;
        if (!may_see(who, router->name))
            continue;
        if (is_utf8(router->name))
            (is_far ? far : seen).push_back(router);
        else
            no_text++;
    }

    metrics_text text(wish.format);
    write_states(&text, seen, now_us);
    write_takes(&text, seen, takes);
    write_driver_figures(&text, seen);
    if (gateway.has_broker)
        write_far(&text, far, now_us);
    if (wish.crosspoints)
        write_crosspoints(&text, seen);
    if (who.routers.empty()) {
        write_gateway(&text, gateway);
        text.begin(figure::gateway_routers);
        text.sample({}, routers.size() - others);
        text.begin(figure::gateway_routers_left_out);
        text.sample({}, no_text + gateway.routers_beyond_limit);
        write_history(&text, gateway.kept_history);
        if (gateway.exchanged_history)
            write_exchange(&text, *gateway.exchanged_history);
        write_process(&text, gateway.started_s);
    }
    return text.finish();
}

} // namespace gateway
