#include "driver_records.h"

#include "gateway/settings/limits.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace gateway {

history_entry entry_of_record(const std::string& router, const std::string& epoch,
                              const vrdx::take_record& record) {
    history_entry entry;
    entry.time_us = static_cast<std::int64_t>(record.time_ms) * 1000;
    entry.router = router;
    entry.output = record.output;
    const bool split = record.split_levels || record.before.video != record.before.audio ||
                       record.wanted.video != record.wanted.audio;
    entry.level = split ? "video,audio" : "all";
    entry.claims = record.by;
    entry.user = static_cast<std::int64_t>(record.user);
    entry.process = static_cast<std::int64_t>(record.process);
    entry.before = source_text(split, record.before.video, record.before.audio);
    entry.after = source_text(split, record.wanted.video, record.wanted.audio);
    const vrdx::take_result& result = record.result;
    entry.result = result.word == vrdx::take_word::other ? "other" : vrdx::take_word_text(result.word);
    entry.reason = result.word == vrdx::take_word::shows
                       ? "the router shows " + source_text(split, result.sources.video, result.sources.audio)
                       : result.text;
    entry.milliseconds = static_cast<std::int64_t>(record.milliseconds);
    entry.epoch = epoch;
    entry.number = static_cast<std::int64_t>(record.number);
    return entry;
}

driver_records::driver_records(boost::asio::io_context& loop, std::string run_directory,
                               take_callers& callers, std::function<void(history_item)> note)
    : loop_(loop), run_directory_(std::move(run_directory)), callers_(callers), note_(std::move(note)) {}

driver_records::followed& driver_records::of(const std::string& router) {
    std::unique_ptr<followed>& found = routers_[router];
    if (!found)
        found = std::make_unique<followed>(loop_, [this, router] { read(router); });
    return *found;
}

void driver_records::hear(const router_news& news) {
    if (!news.router->site.empty())
        return;
    const std::string& router = news.router->name;
    if (news.record_began)
        begin(router, news.takes_epoch, *news.record_began);
    for (const vrdx::take_record& record : news.takes) {
        followed& known = of(router);
        if (known.epoch != news.takes_epoch)
            begin(router, news.takes_epoch, record.number - 1);
        if (record.number > known.newest + 1)
            want(router, known.newest + 1);
        known.newest = std::max(known.newest, record.number);
        note_record(router, record);
    }
    if (news.gone) {
        note_left_over(router);
        routers_.erase(router);
    }
}

// The driver tells from now on what is decided behind its take `last`.
void driver_records::begin(const std::string& router, const std::string& epoch, std::uint64_t last) {
    followed& known = of(router);
    if (known.epoch == epoch) {
        if (last > known.newest)
            want(router, known.newest + 1);
        known.newest = std::max(known.newest, last);
        return;
    }
    known.heard_before = !known.epoch.empty() && known.wanted == 0;
    known.epoch = epoch;
    known.newest = last;
    known.wanted = 0;
    known.again = false;
    known.pause_ms = 0;
    known.reading.reset();
    known.retry.clear();
    note_left_over(router);
    if (last == 0)
        note_mark(router, 1, 0);
    else
        want(router, 1);
}

void driver_records::read_again() {
    for (const auto& [router, known] : routers_)
        if (known->newest > 0)
            want(router, 1);
}

std::size_t driver_records::readings() const {
    return static_cast<std::size_t>(std::count_if(routers_.begin(), routers_.end(),
                                                  [](const auto& each) { return each.second->wanted != 0; }));
}

// --- reading -----------------------------------------------------------------------------------------------

void driver_records::want(const std::string& router, std::uint64_t from) {
    followed& known = of(router);
    known.wanted = known.wanted == 0 ? from : std::min(known.wanted, from);
    if (known.reading) // it may have passed what is wanted now
        known.again = true;
    else if (!known.retry.is_set())
        read(router);
}

void driver_records::read(const std::string& router) {
    followed& known = of(router);
    if (known.wanted == 0)
        return;
    known.retry.clear();
    known.reading = std::make_unique<record_reading>(
        loop_, run_directory_ + '/' + router + ".sock", known.epoch, known.wanted,
        [this, router](bool whole, const std::vector<vrdx::take_record>& records) {
            enter(router, whole, records);
        });
}

void driver_records::enter(const std::string& router, bool whole,
                           const std::vector<vrdx::take_record>& records) {
    followed& known = of(router);
    const std::unique_ptr<record_reading> ended = std::move(known.reading);
    if (!whole) {
        known.pause_ms = known.pause_ms == 0 ? history_record_retry_ms
                                             : std::min(known.pause_ms * 2, history_record_longest_retry_ms);
        known.retry.set(known.pause_ms * 1000);
        return;
    }
    known.pause_ms = 0;
    if (std::exchange(known.again, false))
        known.retry.set(0);
    else
        known.wanted = 0;
    if (records.empty())
        note_mark(router, known.newest + 1, 0);
    else
        note_mark(router, records.front().number, records.front().time_ms);
    for (const vrdx::take_record& record : records)
        note_record(router, record);
}

// --- what is noted -----------------------------------------------------------------------------------------

void driver_records::note_mark(const std::string& router, std::uint64_t first, std::uint64_t time_ms) {
    const followed& known = of(router);
    record_mark mark;
    mark.router = router;
    mark.epoch = known.epoch;
    mark.first = static_cast<std::int64_t>(first);
    mark.time_us = static_cast<std::int64_t>(time_ms) * 1000;
    mark.heard_before = known.heard_before;
    note_(mark);
}

// What this process took is known by its number; what a gateway before it took, the history knows.
void driver_records::note_record(const std::string& router, const vrdx::take_record& record) {
    history_entry entry = entry_of_record(router, of(router).epoch, record);
    if (entry.process == getpid() && entry.user == static_cast<std::int64_t>(geteuid())) {
        const take_caller caller = callers_.caller_of(router, record);
        entry.by = std::exchange(entry.claims, {});
        entry.through = caller.through;
        entry.address = caller.address;
    }
    note_(std::move(entry));
}

void driver_records::note_left_over(const std::string& router) {
    for (history_entry& entry : callers_.left_over(router))
        note_(std::move(entry));
}

} // namespace gateway
