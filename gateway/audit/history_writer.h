// The thread that writes history.db. Who hands entries over never waits: they stand in a bounded queue, are
// gathered for history_gather_ms and written in one transaction. What finds no room is counted, and told by a
// gap once the disk can be written again.
#pragma once

#include "history_file.h"
#include "journal.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace gateway {

class history_writer {
public:
    struct place {
        std::string state_directory;
        std::string journal_socket; // empty: no journal
    };

    // `news` is called from the thread: the problem has come or gone, or entries were lost. It lives until
    // this is destroyed.
    history_writer(const place& where, const history_share& share, std::function<void()> news);
    // Writes what waits, unless the disk cannot be written.
    ~history_writer();
    history_writer(const history_writer&) = delete;
    history_writer& operator=(const history_writer&) = delete;

    // From any thread, as all that follows. Never waits for the disk.
    void push(history_item item);
    void keep(const history_share& share);

    // All of them in this order, or nothing when there is no room. A number for is_written(), 0: no room.
    std::uint64_t push_all(std::vector<history_item> items);
    // Waits at most `ms` for it, and nothing more is gathered before it is written.
    bool is_written(std::uint64_t number, std::uint64_t ms);

    // Waits until all that was pushed before is written, or the disk cannot be written, or `ms` have passed.
    void wait_until_written(std::uint64_t ms);

    // A history is kept.
    bool keeps() const;

    // Why nothing can be written now, in one sentence; empty when it can.
    std::string problem() const;

    // nullopt: no history is kept.
    struct figures {
        bool up = false;           // it can be written
        std::uint64_t waiting = 0; // entries that are not written yet
        std::uint64_t lost = 0;    // that found no room, since the start
        std::uint64_t bytes = 0;   // of history.db, as it was a moment ago
    };
    std::optional<figures> told_figures() const;

    // True when entries were lost since the last call, and others could be written after that.
    bool has_lost_some();

private:
    void work();
    void gather(std::unique_lock<std::mutex>& held);
    std::vector<history_item> next_batch();
    bool write(const std::vector<history_item>& batch, const history_share& share, std::string* problem);
    bool trim(const history_share& share, std::string* problem);
    void enter_outcome(std::vector<history_item> batch, bool done, const std::string& problem);

    const place where_;
    const std::function<void()> news_;
    const history_file::run run_;

    mutable std::mutex lock_;
    std::condition_variable wake_, done_;
    std::deque<history_item> waiting_;
    history_share share_;
    std::uint64_t pushed_ = 0, written_ = 0; // items, since the start
    std::int64_t lost_ = 0;                  // that found no room, and are not told yet
    std::uint64_t lost_ever_ = 0, bytes_ = 0;
    std::string problem_;
    bool lost_some_ = false, hurry_ = false, ending_ = false;

    // Of the thread alone
    std::unique_ptr<history_file> file_;
    journal journal_;
    std::chrono::steady_clock::time_point trimmed_;

    std::thread thread_; // the last: it begins when all else is there
};

std::int64_t microseconds_since_1970();

} // namespace gateway
