#include "commands.h"
#include "driver_watch.h"
#include "gateway_link.h"
#include "program_end.h"
#include "watch_output.h"

namespace {

struct watching {
    bool json;
    bool begun = false;
    watched_picture known;
    vrdx::picture_news pending; // of a change whose last packet has not come yet
    bool all = false;           // a picture has begun anew: everything may differ
};

void gather(const vrdx::watch_news& news, watching* state) {
    state->all = state->all || news.began_anew || news.picture.sizes;
    state->pending.inputs.insert(state->pending.inputs.end(), news.picture.inputs.begin(),
                                 news.picture.inputs.end());
    state->pending.outputs.insert(state->pending.outputs.end(), news.picture.outputs.begin(),
                                  news.picture.outputs.end());
}

// The lines of a packet.
std::vector<watch_line> lines_of(const vrdx::router_watch& watch, const vrdx::watch_news& news,
                                 watching* state) {
    std::vector<watch_line> lines;
    gather(news, state);
    if (news.complete && !state->begun) {
        state->begun = true;
        lines_of_change(&state->known, watch.picture, {}, true); // where everything begins
        lines.push_back(line_of_beginning(watch.picture));
    } else if (news.complete) {
        lines = lines_of_change(&state->known, watch.picture, state->pending, state->all);
    }
    if (news.complete) {
        state->pending = {};
        state->all = false;
    }
    if (news.takes_lost > 0)
        lines.push_back(line_of_lost_takes(news.takes_lost));
    for (const vrdx::take_record& record : news.takes)
        lines.push_back(line_of_take(record, watch.picture));
    return lines;
}

} // namespace

int run_watch(const invocation& call) {
    if (call.gateway)
        return run_watch_through_gateway(call);
    end_on_signals();
    driver_link link = link_of(call);
    vrdx::router_watch watch;
    const int result = begin_watching(&link, &watch);
    if (result != exit_done)
        return result;
    watching state{call.json, false, {}, {}, false};
    watch_listener listener;
    listener.news = [&state](const vrdx::router_watch& now, const vrdx::watch_news& news) {
        bool readable = true;
        for (const watch_line& line : lines_of(now, news, &state))
            readable = readable && print_watch_line(state.json, line);
        return readable;
    };
    listener.gone = [&state] { return print_watch_line(state.json, line_of_driver(false)); };
    listener.back = [&state](driver_link*, bool) {
        state.pending = {};
        return print_watch_line(state.json, line_of_driver(true));
    };
    return go_on_watching(&link, &watch, listener);
}
