#include "takes.h"

#include "monotonic_us.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <utility>

bool dbg_nochg_assume = false;

namespace {

struct open_take {
    decided_take told;          // what the record will say, as far as it is known
    std::uint64_t number = 0;   // among all takes asked for
    std::uint64_t asked_at = 0; // monotonic_us
    std::uint64_t deadline = 0;
    std::uint64_t batch = 0;     // 0: not closed yet
    bool begun = false;          // something of the batch was sent
    bool written = false;        // all of it, the flush too
    bool audio_reported = false; // what was asked for was reported after the flush
    bool video_reported = false;
    bool other_audio = false; // the last report after the flush was of another source
    bool other_video = false;
};

// A take that was decided while it was still being sent: it is shown until a second after its flush.
struct shown_until_flush {
    std::uint64_t batch;
    std::int32_t output;
    std::uint64_t number;
};

std::map<std::int32_t, open_take> open_takes; // by output
std::vector<shown_until_flush> still_shown;
std::uint64_t takes_so_far = 0;
std::uint64_t watched_from = 1; // number of the first take of the batch being collected

using open_place = std::map<std::int32_t, open_take>::iterator;

void decide(open_take take, take_result result, std::string detail) {
    take.told.result = result;
    take.told.detail = std::move(detail);
    take.told.took_ms = (monotonic_us() - take.asked_at) / 1000;
    record_take(std::move(take.told));
}

// Ends the watch over a take; returns the next one.
open_place close_take(open_place place, take_result result, std::string detail) {
    open_take take = std::move(place->second);
    const open_place next = open_takes.erase(place);
    if (take.told.accountable && take.begun && !take.written)
        still_shown.push_back({take.batch, take.told.output, take.number});
    decide(std::move(take), result, std::move(detail));
    return next;
}

bool can_be_withdrawn(const open_take& take) {
    return take.told.accountable && !take.begun;
}

// The take is not sent, and no longer shown.
void call_off(const open_take& take) {
    std::fprintf(stderr, "Not sent any more: the take on output %d\n", take.told.output + 1);
    withdraw_route_command(take.batch, take.told.output);
    take_back(take.told.output, take.number);
}

open_place withdraw(open_place place, const char* reason) {
    call_off(place->second);
    return close_take(place, take_result::withdrawn, reason);
}

void replace(std::int32_t output, requester whose, std::string_view by) {
    const open_place place = open_takes.find(output);
    if (place == open_takes.end())
        return;
    const bool unsent = can_be_withdrawn(place->second);
    if (unsent)
        call_off(place->second);
    close_take(place, take_result::replaced, (unsent ? "unsent " : "sent ") + told_text(whose, by));
}

// Of all takes of one answer together it must fit a packet.
std::string told_reason(std::string_view text) {
    return std::string(text_head(text, reason_bytes));
}

void begin_batch() {
    watched_from = takes_so_far + 1;
}

// Shows the take, and watches it until it is decided.
void open(decided_take told, std::uint64_t deadline, std::uint64_t falls_back) {
    const std::int32_t output = told.output;
    open_take take;
    take.number = ++takes_so_far;
    take.asked_at = monotonic_us();
    take.deadline = deadline;
    if (dbg_nochg_assume)
        note_taker(output, told.whose, told.by);
    else
        assume_sources({output, told.to, take.number, told.whose, told.by, falls_back});
    take.told = std::move(told);
    open_takes.emplace(output, std::move(take));
}

// Why the take cannot be done; empty when it can.
std::string objection(const asked_take& take, const take_terms& terms) {
    if (terms.too_late)
        return "too late";
    if (take.output < 0 || take.output >= output_count)
        return "no such output";
    if (take.sources.audio >= input_count || take.sources.video >= input_count)
        return "no such input";
    if (!split_levels && take.sources.audio != take.sources.video)
        return "levels are not separate";
    if (!commands_reach_backend)
        return "no backend";
    if (router_link == link_state::down)
        return router_link_text.empty() ? "link down" : "link down: " + told_reason(router_link_text);
    const router_output& output = router_outputs[static_cast<std::size_t>(take.output)];
    const bool as_expected = output.confirmed && output.audio_known && output.video_known &&
                             take.expected == route_sources{output.audio_input, output.video_input};
    return take.expected && !as_expected ? "changed meanwhile" : "";
}

template<typename visit> void for_each_of_batch(std::uint64_t batch, visit use) {
    for (auto& [output, take] : open_takes)
        if (take.batch == batch)
            use(take);
}

} // namespace

void ask_takes(const std::vector<asked_take>& takes, const take_terms& terms) {
    begin_batch();
    const std::uint64_t deadline = monotonic_us() + terms.within_us;
    bool any = false;
    for (std::size_t i = 0; i < takes.size(); ++i) {
        count_event(counted::asked);
        decided_take told;
        told.accountable = true;
        told.whose = terms.whose;
        told.by = terms.by;
        told.output = takes[i].output;
        told.to = takes[i].sources;
        told.breakaway = split_levels && told.to.audio != told.to.video;
        told.answer = terms.answer;
        told.answer_index = i;
        if (told.output >= 0 && told.output < output_count)
            told.from = told_sources_of(router_outputs[static_cast<std::size_t>(told.output)]);
        else
            told.from = {{}, false, false};
        const std::string reason = objection(takes[i], terms);
        if (!reason.empty()) {
            told.result = take_result::refused;
            told.detail = reason;
            record_take(std::move(told));
            continue;
        }
        replace(told.output, terms.whose, terms.by);
        told.from =
            told_sources_of(router_outputs[static_cast<std::size_t>(told.output)]); // perhaps rolled back
        send_take_commands(told.to, told.output, told.breakaway, told.whose);
        open(std::move(told), deadline, no_deadline_yet);
        any = true;
    }
    if (any)
        watched_batch(send_route_flush(deadline));
}

void watch_route(const route_request& request, bool breakaway, requester whose) {
    count_event(counted::asked);
    if (request.output < 0 || request.output >= output_count)
        return;
    replace(request.output, whose, "");
    decided_take told;
    told.whose = whose;
    told.output = request.output;
    told.to = {breakaway ? request.audio_input : request.video_input, request.video_input};
    told.breakaway = breakaway;
    told.from = told_sources_of(router_outputs[static_cast<std::size_t>(request.output)]);
    const std::uint64_t deadline = monotonic_us() + assume_timeout;
    open(std::move(told), deadline, deadline);
}

void watched_batch(std::uint64_t batch) {
    for (auto& [output, take] : open_takes)
        if (take.number >= watched_from)
            take.batch = batch;
    begin_batch();
}

void takes_batch_begun(std::uint64_t batch) {
    for_each_of_batch(batch, [](open_take& take) { take.begun = true; });
}

void takes_flush_written(std::uint64_t batch) {
    const std::uint64_t falls_back = monotonic_us() + assume_timeout;
    for_each_of_batch(batch, [falls_back](open_take& take) {
        take.written = true;
        if (take.told.accountable)
            set_take_deadline(take.told.output, take.number, falls_back);
    });
    std::erase_if(still_shown, [batch, falls_back](const shown_until_flush& shown) {
        if (shown.batch == batch)
            set_take_deadline(shown.output, shown.number, falls_back);
        return shown.batch == batch;
    });
}

void takes_batches_dropped() {
    for (open_place place = open_takes.begin(); place != open_takes.end();) {
        if (can_be_withdrawn(place->second))
            place = withdraw(place, "backend ended");
        else
            place = close_take(place, place->second.begun ? take_result::unknown : take_result::withdrawn,
                               "backend ended");
    }
    for (const shown_until_flush& shown : std::exchange(still_shown, {}))
        set_take_deadline(shown.output, shown.number, monotonic_us() + assume_timeout);
}

void takes_hear_source(std::int32_t output, bool audio, bool video, std::int32_t source, bool known) {
    const open_place place = open_takes.find(output);
    if (place == open_takes.end() || !place->second.written)
        return; // the report may have been sent before the take arrived
    open_take& take = place->second;
    if (audio) {
        take.audio_reported = known && source == take.told.to.audio;
        take.other_audio = !take.audio_reported;
    }
    if (video) {
        take.video_reported = known && source == take.told.to.video;
        take.other_video = !take.video_reported;
    }
    if (take.audio_reported && take.video_reported)
        close_take(place, take_result::confirmed, "");
}

void takes_hear_refusal(std::int32_t output, bool audio, bool video, std::int32_t input,
                        std::string_view text) {
    const open_place place = open_takes.find(output);
    if (place == open_takes.end() || !place->second.written)
        return; // the refusal may be about the take before
    const route_sources& to = place->second.told.to;
    if ((audio && input == to.audio) || (video && input == to.video))
        close_take(place, take_result::refused, "by the router: " + told_reason(text));
}

void takes_hear_link_down() {
    for (open_place place = open_takes.begin(); place != open_takes.end();)
        place = can_be_withdrawn(place->second) ? withdraw(place, "link down") : std::next(place);
}

void count_rollbacks(const picture_event& event) {
    if (event.what == picture_change::rolled_back && event.cause == change_cause::rollback)
        count_event(counted::rolled_back);
}

void expire_takes() {
    const std::uint64_t now = monotonic_us();
    for (open_place place = open_takes.begin(); place != open_takes.end();) {
        const open_take& take = place->second;
        if (take.deadline > now)
            ++place;
        else if (can_be_withdrawn(take))
            place = withdraw(place, "not sent in time");
        else if ((take.other_audio || take.other_video) && place->first < output_count)
            place = close_take(
                place, take_result::shows,
                told_text(told_sources_of(router_outputs[static_cast<std::size_t>(place->first)])));
        else
            place = close_take(place, take_result::unknown, "not confirmed in time");
    }
}
