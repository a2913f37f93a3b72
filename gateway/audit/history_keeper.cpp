#include "history_keeper.h"

#include "gateway/settings/limits.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace gateway {

// Handlers that are still posted when the keeper ends find it gone.
struct history_keeper::from_threads {
    history_keeper* keeper;
};

history_keeper::history_keeper(boost::asio::io_context& loop, const place& where, const history_share& share,
                               std::function<void(const std::string&)> tell)
    : loop_(loop), tell_(std::move(tell)), threads_(std::make_shared<from_threads>(from_threads{this})),
      counts_due_(loop, [this] { hand_on_counts(); }),
      writer_({where.state_directory, where.journal_socket}, share,
              [this] {
                  boost::asio::post(loop_, [to = threads_] {
                      if (to->keeper != nullptr)
                          to->keeper->hear_writer();
                  });
              }),
      reader_(where.state_directory, writer_,
              [this](std::uint64_t number, history_reader::answer said) {
                  boost::asio::post(loop_, [to = threads_, number, said = std::move(said)]() mutable {
                      if (to->keeper != nullptr)
                          to->keeper->hear_answer(number, std::move(said));
                  });
              }),
      records_(loop, where.run_directory, callers_,
               [this](history_item item) { writer_.push(std::move(item)); }) {}

history_keeper::~history_keeper() {
    threads_->keeper = nullptr;
    hand_on_counts();
}

void history_keeper::note(history_entry entry) {
    writer_.push(std::move(entry));
}

void history_keeper::refused(history_entry entry) {
    if (entry.time_us == 0)
        entry.time_us = microseconds_since_1970();
    refusals_.add(std::move(entry));
    if (!counts_due_.is_set())
        counts_due_.set(history_counted_period_ms * 1000);
}

void history_keeper::hand_on_counts() {
    counts_due_.clear();
    for (counted_entry& counted : refusals_.take())
        writer_.push(std::move(counted));
}

void history_keeper::hear(const router_news& news) {
    records_.hear(news);
}

void history_keeper::keep(const history_share& share) {
    writer_.keep(share);
}

bool history_keeper::ask(std::int64_t asker, const history_query& query,
                         history_reader::format_function format, answer_function done) {
    const auto of_asker = std::count_if(questions_.begin(), questions_.end(),
                                        [asker](const auto& each) { return each.second.asker == asker; });
    if (questions_.size() >= history_questions_limit ||
        static_cast<std::size_t>(of_asker) >= history_questions_per_token_limit)
        return false;
    hand_on_counts();
    questions_[++newest_question_] = {asker, std::move(done)};
    reader_.ask(newest_question_, query, std::move(format));
    return true;
}

void history_keeper::hear_answer(std::uint64_t number, history_reader::answer said) {
    const auto found = questions_.find(number);
    const answer_function done = std::move(found->second.done);
    questions_.erase(found);
    done(std::move(said));
}

void history_keeper::hear_writer() {
    const std::string now = writer_.problem();
    if (now.empty() != told_problem_.empty())
        tell_(now.empty() ? "the history is written again" : "the history cannot be written: " + now);
    told_problem_ = now;
    if (writer_.has_lost_some())
        records_.read_again();
}

std::string history_keeper::problem() const {
    return writer_.problem();
}

} // namespace gateway
