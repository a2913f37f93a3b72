#include "history_reader.h"

#include "gateway/settings/limits.h"
#include "thread_without_signals.h"

namespace gateway {

history_reader::history_reader(std::string state_directory, history_writer& writer,
                               std::function<void(std::uint64_t, answer)> answered)
    : state_directory_(std::move(state_directory)), writer_(writer), answered_(std::move(answered)),
      thread_(thread_without_signals([this] { work(); })) {}

history_reader::~history_reader() {
    {
        const std::lock_guard held(lock_);
        ending_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void history_reader::ask(std::uint64_t number, history_query query, format_function format) {
    {
        const std::lock_guard held(lock_);
        waiting_.push_back({number, std::move(query), std::move(format)});
    }
    wake_.notify_all();
}

void history_reader::work() {
    std::unique_lock held(lock_);
    for (;;) {
        wake_.wait(held, [&] { return ending_ || !waiting_.empty(); });
        if (ending_)
            return;
        const question asked = std::move(waiting_.front());
        waiting_.pop_front();
        held.unlock();
        answered_(asked.number, answer_to(asked));
        held.lock();
    }
}

history_reader::answer history_reader::answer_to(const question& asked) {
    answer said;
    try {
        writer_.wait_until_written(history_flush_limit_ms);
        if (!reading_)
            reading_ = history_reading::open(state_directory_, &said.problem);
        std::vector<history_entry> entries;
        if (!said.problem.empty() || (reading_ && !reading_->read(asked.query, &entries, &said.problem))) {
            reading_.reset(); // opened anew for the next one
            return said;
        }
        said.text = asked.format(entries);
    } catch (const std::exception& why) {
        said.problem = std::string("The history could not be read: ") + why.what();
    }
    return said;
}

} // namespace gateway
