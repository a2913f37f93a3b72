#include "history_receiver.h"

#include "history_message.h"
#include "site_limits.h"
#include "stream_texts.h"

#include <algorithm>
#include <utility>

namespace gateway {
namespace {

history_entry gap_of(std::uint64_t missing, const std::string& reason) {
    history_entry gap;
    gap.kind = entry_kind::gap;
    gap.time_us = microseconds_since_1970();
    gap.count = static_cast<std::int64_t>(missing);
    gap.reason = reason;
    return gap;
}

constexpr const char* no_longer_there =
    "so many entries of other sites were no longer at the broker when they were to be read";

} // namespace

history_receiver::history_receiver(const site_settings& settings, std::string state_directory,
                                   history_writer& writer, std::function<void(const std::string&)> print)
    : settings_(settings), state_directory_(std::move(state_directory)), writer_(writer),
      print_(std::move(print)) {}

// True when all that was read is written, and the place is known.
bool history_receiver::is_at_rest(std::string* problem) {
    if (waits_for_ != 0) {
        if (!writer_.is_written(waits_for_, history_written_limit_ms))
            return false;
        waits_for_ = 0;
        place_ = place_then_;
        read_ += entries_then_;
    }
    if (knows_place_)
        return true;
    history_place place;
    const auto outbox = history_outbox::open(state_directory_, problem);
    if (!outbox || !outbox->find(place_read, &place, problem))
        return false;
    place_ = static_cast<std::uint64_t>(place.number);
    stream_ = place.mark;
    knows_place_ = true;
    return true;
}

bool history_receiver::make_stream(const ask_broker& ask, std::string* problem) {
    const broker_answer answer = ask({{stream_create_subject(), stream_create_text(), {}}}).front();
    if (!answer.came)
        *problem = std::string("there is no stream ") + history_stream_name +
                   " at the broker, which does not let this site make it";
    else if (stream_answer said = read_stream_state(answer.data).said; !said.problem.empty())
        *problem = std::string("the stream ") + history_stream_name + " cannot be made: " + said.problem;
    return problem->empty();
}

bool history_receiver::step(const ask_broker& ask, std::string* problem) {
    if (!is_at_rest(problem))
        return false;
    const broker_answer asked = ask({{stream_info_subject(), {}, {}}}).front();
    if (!asked.came) {
        *problem = asked.nobody ? "the broker keeps no streams: its JetStream is off"
                                : "the broker does not answer a question about its stream";
        return false;
    }
    const stream_state now = read_stream_state(asked.data);
    if (now.said.no_stream)
        return make_stream(ask, problem);
    if (!now.said.problem.empty()) {
        *problem = now.said.problem;
        return false;
    }
    if (std::exchange(stream_, now.created) != now.created || now.last < place_)
        place_ = 0; // another stream than before: all of it is read, and what is here already left out
    unread_ = now.messages;
    if (place_ >= now.first)
        unread_ = now.last - place_;
    if (now.last <= place_)
        return false;
    batch read;
    if (place_ > 0 && now.first > place_ + 1)
        read.missing = now.first - place_ - 1;
    fetch(ask, std::max(place_ + 1, now.first), now.last, &read, problem);
    return hand_over(std::move(read)) && problem->empty();
}

void history_receiver::fetch(const ask_broker& ask, std::uint64_t begin, std::uint64_t last, batch* read,
                             std::string* problem) {
    read->end = begin - 1;
    std::vector<broker_question> questions;
    questions.reserve(history_exchange_batch);
    for (std::uint64_t each = begin; each <= last && questions.size() < history_exchange_batch; each++)
        questions.push_back({stream_message_subject(), stream_message_request(each), {}});
    for (const broker_answer& answer : ask(questions)) {
        if (!answer.came) {
            *problem = "the broker does not hand out entries";
            return;
        }
        const stream_message message = read_stream_message(answer.data);
        if (message.said.no_message)
            read->missing++;
        else if (!message.said.problem.empty()) {
            *problem = message.said.problem;
            return;
        } else
            add(message.subject, message.data, read);
        read->end++;
    }
}

void history_receiver::add(const std::string& subject, const std::string& data, batch* read) {
    const auto site = site_of_history_subject(subject);
    const peer_site* const peer = site ? settings_.peer(*site) : nullptr;
    if (peer == nullptr || !peer->history)
        return;
    auto message = read_history_message(data);
    if (message && message->version == site_message_version) {
        read->items.emplace_back(entry_of_site(*site, std::move(message->told)));
        read->entries++;
        return;
    }
    const std::string what = message
                                 ? "is written in version " + std::to_string(message->version) +
                                       ", this gateway reads version " + std::to_string(site_message_version)
                                 : "cannot be read";
    read->items.emplace_back(gap_of(1, "an entry of site " + *site + ' ' + what));
    if (told_.size() < peers_told_limit && told_.insert(*site + what).second)
        print_("the history of site " + *site + ' ' + what);
}

// True when it is written. Else the next step waits on.
bool history_receiver::hand_over(batch read) {
    if (read.missing > 0)
        read.items.emplace_back(gap_of(read.missing, no_longer_there));
    if (read.end <= place_)
        return false;
    read.items.emplace_back(history_place{place_read, static_cast<std::int64_t>(read.end), stream_});
    place_then_ = read.end;
    entries_then_ = read.entries;
    waits_for_ = writer_.push_all(std::move(read.items)); // 0: no room; it is fetched once more
    std::string ignored;
    return waits_for_ != 0 && is_at_rest(&ignored);
}

} // namespace gateway
