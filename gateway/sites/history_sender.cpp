#include "history_sender.h"

#include "history_message.h"
#include "site_limits.h"
#include "stream_texts.h"

#include <algorithm>
#include <utility>

namespace gateway {

history_sender::history_sender(std::string site, std::string state_directory, history_writer& writer)
    : site_(std::move(site)), state_directory_(std::move(state_directory)), writer_(writer) {}

// What is to be sent next. False: the history cannot be read now.
bool history_sender::look(std::vector<far_entry>* entries, std::string* problem) {
    history_place place, numbered;
    if (!outbox_)
        outbox_ = history_outbox::open(state_directory_, problem);
    if (!outbox_)
        return problem->empty();
    if (!place_) {
        if (!outbox_->find(place_sent, &place, problem))
            return false;
        place_ = place.number;
    }
    if (!outbox_->find(place_numbered, &numbered, problem) ||
        !outbox_->read(*place_, history_exchange_batch, entries, problem))
        return false;
    unsent_ = entries->empty()
                  ? 0
                  : static_cast<std::uint64_t>(std::max<std::int64_t>(numbered.number - *place_, 1));
    return true;
}

bool history_sender::step(const ask_broker& ask, std::string* problem) {
    std::vector<far_entry> entries;
    if (!look(&entries, problem)) {
        *problem = "the history cannot be read: " + *problem;
        outbox_.reset();
        return false;
    }
    if (entries.empty())
        return false;
    std::vector<broker_question> questions;
    questions.reserve(entries.size());
    for (const far_entry& each : entries)
        questions.push_back(
            {history_subject(site_), history_text(each), history_message_id(site_, each.entry)});
    const std::vector<broker_answer> answers = ask(questions);
    std::size_t done = 0;
    for (; done < entries.size() && problem->empty(); done++) {
        const broker_answer& answer = answers[done];
        if (answer.nobody)
            *problem = std::string("the broker has no stream ") + history_stream_name;
        else if (!answer.came)
            *problem = "the broker does not acknowledge entries";
        else
            *problem = read_stored(answer.data).problem;
        if (!problem->empty())
            break;
        place_ = entries[done].entry.site_number;
    }
    if (done == 0)
        return false;
    sent_ += done;
    unsent_ -= std::min<std::uint64_t>(unsent_, done);
    writer_.push_all({history_place{place_sent, *place_, {}}}); // no room for it: they are sent twice then
    return problem->empty();
}

} // namespace gateway
