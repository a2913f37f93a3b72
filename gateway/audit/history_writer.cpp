#include "history_writer.h"

#include "gateway/settings/limits.h"
#include "history_query.h"
#include "history_schema.h"
#include "thread_without_signals.h"

#include <filesystem>
#include <unistd.h>
#include <utility>

namespace gateway {

namespace {

history_entry lost_entry(std::int64_t lost) {
    history_entry gap;
    gap.kind = entry_kind::gap;
    gap.time_us = microseconds_since_1970();
    gap.count = lost;
    gap.reason = "so many entries found no room while the disk took nothing";
    return gap;
}

// A large one takes a while.
bool has_to_be_brought_along(const std::string& state_directory) {
    std::string problem;
    std::int64_t version = 0;
    return open_history_to_read(state_directory, &version, &problem) && version > 0 &&
           version < history_schema_version;
}

// Before anything is served: this run is then written down, and a gateway that is killed a moment later has
// left word of itself. What goes wrong is told by the thread, which tries again; and it opens a history of an
// earlier version, for which nothing else waits.
std::unique_ptr<history_file> opened_at_once(const std::string& state_directory, const history_share& share,
                                             const history_file::run& run) {
    std::string problem;
    if (!is_kept(share) || has_to_be_brought_along(state_directory))
        return nullptr;
    return history_file::open(state_directory, run, &problem);
}

// 0 when there is none.
std::uint64_t file_bytes(const std::string& state_directory) {
    std::error_code failed;
    const auto bytes = std::filesystem::file_size(state_directory + "/" + history_file_name, failed);
    return failed ? 0 : bytes;
}

} // namespace

std::int64_t microseconds_since_1970() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

history_writer::history_writer(const place& where, const history_share& share, std::function<void()> news)
    : where_(where),
      news_(std::move(news)), run_{static_cast<std::int64_t>(getpid()), static_cast<std::int64_t>(geteuid()),
                                   microseconds_since_1970()},
      share_(share), file_(opened_at_once(where.state_directory, share, run_)),
      journal_(where.journal_socket), trimmed_(std::chrono::steady_clock::now()),
      thread_(thread_without_signals([this] { work(); })) {}

history_writer::~history_writer() {
    {
        const std::lock_guard held(lock_);
        ending_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void history_writer::push(history_item item) {
    if (auto* entry = std::get_if<history_entry>(&item); entry != nullptr && entry->time_us == 0)
        entry->time_us = microseconds_since_1970();
    if (auto* mark = std::get_if<record_mark>(&item); mark != nullptr && mark->time_us == 0)
        mark->time_us =
            microseconds_since_1970(); // of a gap, which else would be removed as the oldest of all
    bool first = false;
    {
        const std::lock_guard held(lock_);
        if (waiting_.size() >= history_waiting_limit) {
            ++lost_;
            ++lost_ever_;
            return;
        }
        first = waiting_.empty();
        waiting_.push_back(std::move(item));
        ++pushed_;
    }
    if (first)
        wake_.notify_all();
}

std::uint64_t history_writer::push_all(std::vector<history_item> items) {
    std::uint64_t number = 0;
    {
        const std::lock_guard held(lock_);
        if (waiting_.size() + items.size() > history_waiting_limit)
            return 0;
        for (history_item& item : items)
            waiting_.push_back(std::move(item));
        number = pushed_ += items.size();
    }
    wake_.notify_all();
    return number;
}

bool history_writer::is_written(std::uint64_t number, std::uint64_t ms) {
    std::unique_lock held(lock_);
    if (written_ < number)
        hurry_ = true;
    wake_.notify_all();
    done_.wait_for(held, std::chrono::milliseconds(ms), [&] { return written_ >= number || ending_; });
    return written_ >= number;
}

bool history_writer::keeps() const {
    const std::lock_guard held(lock_);
    return is_kept(share_);
}

void history_writer::keep(const history_share& share) {
    const std::lock_guard held(lock_);
    share_ = share;
}

void history_writer::wait_until_written(std::uint64_t ms) {
    std::unique_lock held(lock_);
    const std::uint64_t all = pushed_;
    hurry_ = true;
    wake_.notify_all();
    done_.wait_for(held, std::chrono::milliseconds(ms),
                   [&] { return written_ >= all || !problem_.empty() || ending_; });
}

std::string history_writer::problem() const {
    const std::lock_guard held(lock_);
    return problem_;
}

std::optional<history_writer::figures> history_writer::told_figures() const {
    const std::lock_guard held(lock_);
    if (!is_kept(share_))
        return std::nullopt;
    return figures{problem_.empty(), pushed_ - written_, lost_ever_, bytes_};
}

bool history_writer::has_lost_some() {
    const std::lock_guard held(lock_);
    return std::exchange(lost_some_, false);
}

// --- the thread --------------------------------------------------------------------------------------------

void history_writer::work() {
    std::unique_lock held(lock_);
    do {
        gather(held);
        std::vector<history_item> batch = next_batch();
        const history_share share = share_;
        held.unlock();
        std::string problem;
        const bool done = write(batch, share, &problem);
        if (done && problem.empty())
            trim(share, &problem);
        const std::uint64_t bytes = file_bytes(where_.state_directory);
        held.lock();
        bytes_ = bytes;
        enter_outcome(std::move(batch), done, problem);
        if (!problem_.empty() && !ending_)
            wake_.wait_for(held, std::chrono::milliseconds(history_retry_ms), [&] { return ending_; });
    } while (!ending_ || (!waiting_.empty() && problem_.empty()));
}

// Waits until there is something to do, and then a little for more of it.
void history_writer::gather(std::unique_lock<std::mutex>& held) {
    if (ending_)
        return;
    const bool opens = !file_ && is_kept(share_); // at once: a problem is known before the first entry
    wake_.wait_for(held, std::chrono::milliseconds(opens ? 0 : history_trim_period_ms),
                   [&] { return ending_ || !waiting_.empty(); });
    if (!waiting_.empty())
        wake_.wait_for(held, std::chrono::milliseconds(history_gather_ms), [&] {
            return ending_ || std::exchange(hurry_, false) || waiting_.size() >= history_batch_limit;
        });
}

std::vector<history_item> history_writer::next_batch() {
    std::vector<history_item> batch;
    while (!waiting_.empty() && batch.size() < history_batch_limit) {
        batch.push_back(std::move(waiting_.front()));
        waiting_.pop_front();
    }
    return batch;
}

// True when the batch is done with.
bool history_writer::write(const std::vector<history_item>& batch, const history_share& share,
                           std::string* problem) {
    if (!is_kept(share))
        return true;
    if (!file_)
        file_ = history_file::open(where_.state_directory, run_, problem);
    std::vector<history_entry> written;
    if (!file_ || (!batch.empty() && !file_->write(batch, &written, problem))) {
        file_.reset(); // opened anew: what went wrong may be the connection's own
        return false;
    }
    for (const history_entry& entry : written)
        journal_.tell(entry);
    return true;
}

bool history_writer::trim(const history_share& share, std::string* problem) {
    const auto now = std::chrono::steady_clock::now();
    if (!file_ || now < trimmed_ + std::chrono::milliseconds(history_trim_period_ms))
        return true;
    trimmed_ = now;
    if (!file_->number_refusals(microseconds_since_1970(), problem))
        return false;
    bool more = true;
    // Some turns of it, then those who write have theirs.
    for (int turn = 0; turn < 8 && more; ++turn)
        if (!file_->trim(share, microseconds_since_1970(), &more, problem))
            return false;
    return true;
}

void history_writer::enter_outcome(std::vector<history_item> batch, bool done, const std::string& problem) {
    bool news = problem.empty() != problem_.empty();
    problem_ = problem;
    if (done) {
        written_ += batch.size();
        if (lost_ > 0 && problem.empty()) {
            waiting_.emplace_back(lost_entry(std::exchange(lost_, 0)));
            ++pushed_;
            lost_some_ = news = true;
        }
    } else {
        for (auto item = batch.rbegin(); item != batch.rend(); ++item)
            waiting_.push_front(std::move(*item));
    }
    done_.notify_all();
    if (news)
        news_();
}

} // namespace gateway
