#include "client_record.h"
#include "commands.h"
#include "driver_watch.h"
#include "json_output.h"
#include "local_time.h"
#include "port_names.h"
#include "program_end.h"
#include "take_texts.h"

#include <cstdio>

namespace {

using vrdx::take_record;

struct printing {
    bool json;
    router_picture picture; // for the names
    std::uint64_t last = 0; // number of the last take that was printed
};

bool print_take(const take_record& record, printing* state) {
    state->last = record.number;
    if (state->json) {
        std::puts(json_line(json_of_record(record)).c_str());
    } else {
        const router_picture& picture = state->picture;
        std::printf("%s %s: %s %s -> %s, %s, %llu ms\n", local_time(record.time_ms).c_str(),
                    person_text(record.user, record.by).c_str(), output_text(picture, record.output).c_str(),
                    sources_text(picture, record.before).c_str(),
                    sources_text(picture, record.wanted).c_str(), result_text(record.result, picture).c_str(),
                    static_cast<unsigned long long>(record.milliseconds));
    }
    return std::fflush(stdout) == 0;
}

// Those behind the last one that was printed.
bool print_further(const std::vector<take_record>& records, printing* state) {
    bool readable = true;
    for (const take_record& record : records)
        if (record.number > state->last)
            readable = readable && print_take(record, state);
    return readable;
}

int ask_record(driver_link* link, std::vector<take_record>* records) {
    const int connected = connect_quietly(link);
    if (connected != exit_done)
        return failed(connected, link->problem);
    const int result =
        failure_of(link, vrdx::record_until(&link->connection, 0, records, deadline_of(*link)));
    const std::string older = older_driver(link->connection.problem, "describe");
    return result == exit_done ? result : failed(result, older.empty() ? link->problem : older);
}

// The takes so far; names as the router has them now.
int print_record(const invocation& call, driver_link* link, printing* state) {
    std::vector<take_record> records;
    int result = ask_picture_quietly(link, &state->picture);
    if (result != exit_done)
        return failed(result, link->problem);
    result = ask_record(link, &records);
    if (result != exit_done)
        return result;
    if (call.lines >= 0 && records.size() > static_cast<std::size_t>(call.lines))
        records.erase(records.begin(), records.end() - call.lines);
    return print_further(records, state) ? exit_done : exit_refused;
}

// A take that is decided between the beginning of the watch and the reading of the record is in both, and
// printed once.
int follow(const invocation& call, driver_link* link) {
    end_on_signals();
    vrdx::router_watch watch;
    printing state{call.json, {}, 0};
    int result = begin_watching(link, &watch);
    if (result == exit_done)
        result = print_record(call, link, &state);
    if (result != exit_done)
        return result;
    watch_listener listener;
    listener.news = [&state](const vrdx::router_watch& now, const vrdx::watch_news& news) {
        if (news.complete)
            state.picture = now.picture;
        return print_further(news.takes, &state);
    };
    listener.gone = [] { return true; };
    listener.back = [&](driver_link* again, bool restarted) {
        if (restarted)
            state.last = 0;
        std::vector<take_record> records;
        // When it is gone again the next watch begins with its record.
        return vrdx::record_until(&again->connection, 0, &records, deadline_of(*again)) !=
                   vrdx::outcome::done ||
               print_further(records, &state);
    };
    return go_on_watching(link, &watch, listener);
}

} // namespace

int run_takes(const invocation& call) {
    driver_link link = link_of(call);
    if (call.follow)
        return follow(call, &link);
    printing state{call.json, {}, 0};
    return print_record(call, &link, &state);
}
