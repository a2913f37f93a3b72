// What the driver tells on the watch connection, and what becomes of it.
#include "gateway/routers/gathered_news.h"
#include "gateway/routers/watched_router.h"

#include <algorithm>
#include <utility>

namespace gateway {

namespace {

std::string doubt_about(vrdx::watch_step step) {
    switch (step) {
    case vrdx::watch_step::gap:
        return "Changes are missing in what the driver tells; its picture is read anew.";
    case vrdx::watch_step::other_epoch:
        return "The driver tells numbers of another start of itself; its picture is read anew.";
    case vrdx::watch_step::malformed:
    case vrdx::watch_step::told:
        break;
    }
    return "The driver tells what cannot be read; its picture is read anew.";
}

bool is_failed(const vrdx::take_record& record) {
    return record.result.word != vrdx::take_word::confirmed;
}

bool is_same(const std::optional<vrdx::driver_message>& a, const std::optional<vrdx::driver_message>& b) {
    return a.has_value() == b.has_value() && (!a || (a->time_ms == b->time_ms && a->text == b->text));
}

} // namespace

// False when the connection was given up for it.
bool watched_router::read(const vrdx::incoming_packet& packet) {
    heard_us_ = shown_.heard_us = monotonic_us();
    silent_ = false;
    if (figures_.is_answer(packet)) {
        shown_.figures = figures_.answered(packet);
        return true;
    }
    if (packet.kind == vrdx::packet_kind::pushed)
        return read_pushed(packet.packet);
    if (const auto answer = questions_.read(packet)) {
        read_answer(*answer);
        return true;
    }
    return begin(packet.packet);
}

bool watched_router::begin(const comm_socket_v4_packet& reply) {
    if (vrdx::is_error(reply)) {
        doubt(sentence_with("The driver does not let the gateway watch", vrdx::error_text(reply)));
        return false;
    }
    if (vrdx::begin_watch(&watch_, reply, heard_us_) == vrdx::watch_step::malformed) {
        doubt(doubt_about(vrdx::watch_step::malformed));
        return false;
    }
    gather(true);
    shown_.connections++;
    const vrdx::router_picture& before = shown_.picture;
    if (before.epoch == watch_.picture.epoch && before.last_take < watch_.picture.last_take)
        gathered_.takes_lost = watch_.picture.last_take - before.last_take;
    router_news news;
    news.takes_epoch = watch_.picture.epoch;
    news.record_began = watch_.picture.last_take;
    show(state_now(), std::move(news)); // it is no longer silent
    return true;
}

// What is told in many packets is shown once it is whole.
void watched_router::gather(bool anew) {
    gathering_ = true;
    gathering_us_ = heard_us_;
    anew_ = anew;
    gathered_ = {};
}

bool watched_router::read_pushed(const comm_socket_v4_packet& pushed) {
    if (!gathering_ && watch_.begun && goes_on_in_further_packets(pushed)) {
        watch_.picture = shown_.picture;
        gather(false);
    }
    vrdx::watch_news told;
    if (!gathering_)
        std::swap(watch_.picture, shown_.picture);
    const vrdx::watch_step step = vrdx::add_news(&watch_, pushed, heard_us_, &told);
    if (!gathering_)
        std::swap(watch_.picture, shown_.picture);
    if (step != vrdx::watch_step::told) {
        doubt(doubt_about(step));
        return false;
    }
    const std::string epoch = gathering_ ? watch_.picture.epoch : shown_.picture.epoch;
    router_news news;
    const bool other_picture = is_change(pushed) && add_change(told, &news);
    news.takes_epoch = epoch;
    news.takes = std::move(told.takes);
    news.takes_lost += told.takes_lost;
    if (other_picture)
        note_sources(&shown_, news);
    if (news.places.state || std::any_of(news.takes.begin(), news.takes.end(), is_failed))
        questions_.expect_error();
    show(state_now(), std::move(news), other_picture);
    return true;
}

void watched_router::read_answer(const watch_answer& answer) {
    router_news news;
    if (answer.has_last_error && !is_same(answer.last_error, shown_.last_error)) {
        shown_.last_error = answer.last_error;
        news.last_error_changed = true;
    }
    if (answer.has_records)
        news.places.outputs = shown_.earlier.enter(shown_.picture, answer.records);
    const bool other_picture = !news.places.outputs.empty();
    show(state_now(), std::move(news), other_picture);
}

// True when what is shown has changed with it.
bool watched_router::add_change(const vrdx::watch_news& told, router_news* news) {
    add_places(&gathered_.places, told.picture);
    if (!told.complete)
        return false;
    if (gathering_)
        shown_.picture = std::exchange(watch_.picture, {});
    *news = std::exchange(gathered_, {});
    news->whole = (gathering_ && anew_) || news->places.sizes;
    if (gathering_ && anew_) {
        whole_us_ = heard_us_;
        doubted_ = false;
    }
    gathering_ = false;
    return true;
}

state_and_reason watched_router::state_now() const {
    if (whole_us_ != 0)
        return state_of(shown_.picture);
    if (doubted_)
        return {shown_.state, shown_.reason};
    return {router_state::reading, "The driver's picture is being read."};
}

void watched_router::show(const state_and_reason& now, router_news news, bool other_picture) {
    news.state_changed = now.state != shown_.state || now.reason != shown_.reason;
    news.appeared = !std::exchange(announced_, true);
    const bool changed = news.state_changed || news.appeared || news.gone || other_picture;
    if (!changed && !news.last_error_changed && news.takes.empty() && news.takes_lost == 0 &&
        !news.record_began)
        return;
    enter_state(&shown_, now);
    if (changed)
        shown_.version = ++*versions_;
    news.router = &shown_;
    tell_(std::move(news));
}

} // namespace gateway
