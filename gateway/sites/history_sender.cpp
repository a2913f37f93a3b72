#include "history_sender.h"

#include "history_message.h"
#include "site_limits.h"

#include <algorithm>
#include <utility>

namespace gateway {

history_sender::history_sender(std::string site, std::string state_directory, history_writer& writer)
    : site_(std::move(site)), state_directory_(std::move(state_directory)), writer_(writer) {}

bool history_sender::cannot_read(std::string* problem) {
    if (!problem->empty())
        *problem = "the history cannot be read: " + *problem;
    outbox_.reset();
    return false;
}

// False without a problem: there is no history yet.
bool history_sender::open(std::string* problem) {
    if (!outbox_)
        outbox_ = history_outbox::open(state_directory_, problem);
    if (!outbox_)
        return cannot_read(problem);
    if (knows_places_)
        return true;
    history_place sent, stored;
    if (!outbox_->find(place_sent, &sent, problem) || !outbox_->find(place_stored, &stored, problem))
        return cannot_read(problem);
    place_ = sent.number;
    stored_ = static_cast<std::uint64_t>(stored.number);
    stream_ = mark_of_text(sent.mark);
    knows_places_ = true;
    return true;
}

// When the stream has not what it acknowledged, all begins anew.
void history_sender::compare(const stream_state& now) {
    const bool has_lost = !is_same_stream(stream_, now) || now.last < stored_;
    const bool was_empty = std::exchange(stream_, mark_of(now)).first_time.empty();
    if (has_lost) {
        again_to_ = std::max(again_to_, place_);
        place_ = 0;
        stored_ = 0;
    }
    if (has_lost || (was_empty && !stream_.first_time.empty()))
        keep_places();
}

// What is to be sent next.
bool history_sender::read_on(std::vector<far_entry>* entries, std::string* problem) {
    constexpr std::int64_t us_per_s = 1000000;
    const std::int64_t since_us = microseconds_since_1970() - stream_longest_s * us_per_s;
    history_place numbered;
    if (!outbox_->find(place_numbered, &numbered, problem) ||
        !outbox_->read({place_, again_to_, since_us}, history_exchange_batch, entries, problem))
        return cannot_read(problem);
    if (entries->empty()) {
        place_ = std::max(place_, again_to_); // the rest was sent before, and is too old to be sent once more
        unsent_ = 0;
        return true;
    }
    const std::int64_t left = numbered.number - entries->front().entry.site_number + 1;
    unsent_ = static_cast<std::uint64_t>(std::max<std::int64_t>(left, 1));
    return true;
}

// No room for it: some entries are sent twice then.
void history_sender::keep_places() {
    writer_.push_all({history_place{place_sent, place_, mark_text(stream_)},
                      history_place{place_stored, static_cast<std::int64_t>(stored_), {}}});
}

// How many of them, from the first on, the broker has acknowledged.
std::size_t history_sender::send(const ask_broker& ask, const std::vector<far_entry>& entries,
                                 std::string* problem) {
    std::vector<broker_question> questions;
    questions.reserve(entries.size());
    for (const far_entry& each : entries)
        questions.push_back(
            {history_subject(site_), history_text(each), history_message_id(site_, each.entry)});
    const std::vector<broker_answer> answers = ask(questions);
    for (std::size_t done = 0; done < entries.size(); done++) {
        const broker_answer& answer = answers[done];
        const stored_entry stored = answer.came ? read_stored(answer.data) : stored_entry{};
        *problem = stored.said.problem;
        if (answer.nobody)
            *problem = std::string("the broker has no stream ") + history_stream_name;
        else if (!answer.came)
            *problem = "the broker does not acknowledge entries";
        if (!problem->empty())
            return done;
        if (stored.sequence < stored_ && !stored.was_there)
            stream_ = {}; // it was made anew a moment ago: the next step begins once more
        stored_ = std::max(stored_, stored.sequence);
        place_ = entries[done].entry.site_number;
    }
    return entries.size();
}

bool history_sender::step(const ask_broker& ask, std::string* problem) {
    stream_state now;
    std::vector<far_entry> entries;
    if (!open(problem) || !ask_stream_state(ask, &now, problem))
        return false;
    if (now.said.problem.empty())
        compare(now);
    if (!read_on(&entries, problem))
        return false;
    if (!now.said.no_stream)
        *problem = now.said.problem;
    else if (!entries.empty())
        *problem = std::string("the broker has no stream ") + history_stream_name;
    if (now.said.no_stream || !problem->empty() || entries.empty())
        return false;
    const std::size_t done = send(ask, entries, problem);
    if (done == 0)
        return false;
    sent_ += done;
    unsent_ -= std::min<std::uint64_t>(unsent_, done);
    keep_places();
    return problem->empty();
}

} // namespace gateway
