#include "far_router.h"

#include "lock_changes.h"
#include "monotonic_us.h"
#include "site_limits.h"
#include "subjects.h"

#include <algorithm>
#include <utility>

namespace gateway {
namespace {

// Texts and sizes as the message has them; places that stay keep what is known of them.
void enter_head(vrdx::router_picture* picture, const told_router& told) {
    auto inputs = std::exchange(picture->inputs, {});
    auto outputs = std::exchange(picture->outputs, {});
    *picture = told.head;
    picture->inputs = std::move(inputs);
    picture->outputs = std::move(outputs);
    picture->inputs.resize(told.input_count);
    picture->outputs.resize(told.output_count);
}

void enter_places(vrdx::router_picture* picture, output_locks* locks, const told_router& told) {
    for (const auto& [number, input] : told.inputs)
        picture->inputs[static_cast<std::size_t>(number - 1)] = input;
    for (const auto& [number, output] : told.outputs) {
        picture->outputs[static_cast<std::size_t>(number - 1)] = output;
        locks->erase(number);
        if (const auto held = told.locks.find(number); held != told.locks.end())
            (*locks)[number] = held->second;
    }
}

bool has_size(const vrdx::router_picture& picture, const told_router& told) {
    return picture.inputs.size() == told.input_count && picture.outputs.size() == told.output_count;
}

vrdx::picture_news places_of(const told_router& told) {
    vrdx::picture_news news;
    for (const auto& each : told.inputs)
        news.inputs.push_back(each.first);
    for (const auto& each : told.outputs)
        news.outputs.push_back(each.first);
    std::sort(news.inputs.begin(), news.inputs.end());
    std::sort(news.outputs.begin(), news.outputs.end());
    news.state = true;
    return news;
}

} // namespace

far_router::far_router(far_surroundings& around, std::string site, std::string router)
    : around_(around), site_(std::move(site)), router_(std::move(router)) {
    shown_.name = far_name(site_, router_);
    shown_.site = site_;
    shown_.state = router_state::reading;
    shown_.reason = "The picture is being read from site " + site_ + ".";
}

std::string far_router::refuses_takes() const {
    const bool reachable = shown_.state != router_state::no_driver && shown_.state != router_state::stale;
    return reachable ? "" : shown_.reason;
}

bool far_router::wants_reading() const {
    return !whole_ && !reading_ && around_.now_ms() >= read_after_ms_;
}

void far_router::hear_row(const std::string& run, const router_row& row) {
    shown_.heard_us = monotonic_us();
    if (!announced_)
        show({shown_.state, shown_.reason}, {});
    if (!whole_)
        return;
    behind_ = run == run_ && row.at > at_ ? behind_ + 1 : 0;
    if (run != run_ || behind_ > 1)
        read_again(0);
}

void far_router::hear_change(const change_message& change) {
    if (whole_ && change.run == run_ && change.to <= at_)
        return;
    router_news news;
    enter_takes(change, &news);
    if (!whole_) {
        if (reading_)
            keep_for_later(change);
        show({shown_.state, shown_.reason}, std::move(news)); // the takes alone
        return;
    }
    if (change.run != run_ || change.from != at_ || change.anew || !has_size(shown_.picture, change.router)) {
        read_again(0);
        show({shown_.state, shown_.reason}, std::move(news));
        return;
    }
    at_ = change.to;
    behind_ = 0;
    const output_locks before = locks_;
    enter_head(&shown_.picture, change.router);
    enter_places(&shown_.picture, &locks_, change.router);
    news.places = places_of(change.router);
    show(change.router.state, std::move(news));
    for (const int output : lock_changes(before, locks_))
        around_.lock_changed(shown_, output);
}

void far_router::keep_for_later(change_message change) {
    change.takes.clear(); // they are told by now
    reading_->later.push_back(std::move(change));
    if (reading_->later.size() > changes_kept_limit)
        read_again(reread_after_failure_ms);
}

// --- takes -------------------------------------------------------------------------------------------------

void far_router::enter_takes(const change_message& change, router_news* news) {
    news->takes = change.takes;
    news->takes_lost = change.takes_lost;
    if (takes_epoch_ != change.router.head.epoch)
        return; // with the picture it is known where their numbers begin
    takes_told_ += change.takes_lost;
    if (change.takes.empty())
        return;
    if (const std::uint64_t first = change.takes.front().number; first > takes_told_ + 1)
        news->takes_lost += first - takes_told_ - 1;
    takes_told_ = std::max(takes_told_, change.takes.back().number);
}

// Those in messages that were lost on the way, behind the last that came.
std::uint64_t far_router::takes_missing(const vrdx::router_picture& picture) {
    const bool goes_on =
        std::exchange(takes_epoch_, picture.epoch) == picture.epoch && !picture.epoch.empty();
    const std::uint64_t before = goes_on ? takes_told_ : picture.last_take;
    takes_told_ = std::max(before, picture.last_take);
    return takes_told_ - before;
}

// --- reading -----------------------------------------------------------------------------------------------

void far_router::read() {
    reading_.emplace();
    reading_->number = ++newest_reading_;
    ask_page(0);
}

void far_router::ask_page(std::size_t begin) {
    const std::uint64_t number = reading_->number;
    const bool sent = around_.requests.ask(
        router_subject(site_, router_, "get"), page_request_text(begin), around_.now_ms() + page_answer_ms,
        [this, number, lives = std::weak_ptr(lives_)](reply_kind kind, const std::string& data) {
            if (!lives.expired())
                hear_page(number, kind, data);
        });
    if (!sent)
        read_again(reread_after_failure_ms);
}

void far_router::hear_page(std::uint64_t number, reply_kind kind, const std::string& data) {
    if (!reading_ || reading_->number != number)
        return;
    const auto page = kind == reply_kind::answered ? read_page(data) : std::nullopt;
    const bool first = reading_->run.empty();
    if (!page || page->version != site_message_version || page->run.empty() ||
        (!first && (page->run != reading_->run || !has_size(reading_->picture, page->router)))) {
        read_again(reread_after_failure_ms);
        return;
    }
    if (first) {
        reading_->run = page->run;
        reading_->at = page->at;
    }
    enter_head(&reading_->picture, page->router);
    enter_places(&reading_->picture, &reading_->locks, page->router);
    const std::size_t places = page->router.input_count + page->router.output_count;
    if (page->next && *page->next < places && !(page->router.inputs.empty() && page->router.outputs.empty()))
        ask_page(*page->next);
    else
        end_reading(page->router, page->at);
}

// The first page is the oldest: what came since is put on top, and has to lead to the last page at least.
void far_router::end_reading(const told_router& last, std::uint64_t last_at) {
    picture_reading read = std::move(*reading_);
    reading_.reset();
    std::uint64_t at = read.at;
    state_and_reason state = last.state;
    for (const change_message& change : read.later) {
        if (change.run != read.run || change.to <= at)
            continue;
        if (change.from != at || change.anew || !has_size(read.picture, change.router)) {
            read_again(0);
            return;
        }
        enter_head(&read.picture, change.router);
        enter_places(&read.picture, &read.locks, change.router);
        state = change.router.state;
        at = change.to;
    }
    if (at < last_at) {
        read_again(reread_after_failure_ms);
        return;
    }
    whole_ = true;
    run_ = read.run;
    at_ = at;
    behind_ = 0;
    shown_.picture = std::move(read.picture);
    locks_ = std::move(read.locks);
    router_news news;
    news.whole = true;
    news.takes_lost = takes_missing(shown_.picture);
    show(state, std::move(news));
}

void far_router::read_again(std::uint64_t pause_ms) {
    whole_ = false;
    reading_.reset();
    read_after_ms_ = around_.now_ms() + pause_ms;
}

// --- what is shown -----------------------------------------------------------------------------------------

void far_router::become_stale(const std::string& reason) {
    read_again(0);
    show({router_state::stale, reason}, {});
}

void far_router::say_gone() {
    read_again(0);
    router_news news;
    news.gone = true;
    show({router_state::no_driver, "Site " + site_ + " has no such router any more."}, std::move(news));
}

void far_router::show(const state_and_reason& state, router_news news) {
    news.state_changed = state.state != shown_.state || state.reason != shown_.reason;
    news.appeared = !std::exchange(announced_, true);
    const bool changed = news.state_changed || news.appeared || news.gone || news.whole ||
                         !news.places.inputs.empty() || !news.places.outputs.empty() || news.places.state;
    if (!changed && news.takes.empty() && news.takes_lost == 0)
        return;
    enter_state(&shown_, state);
    note_sources(&shown_, news);
    if (changed)
        shown_.version = around_.next_version();
    news.router = &shown_;
    around_.tell(news);
}

} // namespace gateway
