#include "history_receiver.h"

#include "history_message.h"
#include "site_limits.h"
#include "stream_texts.h"

#include <algorithm>
#include <utility>

namespace gateway {
namespace {

constexpr std::int64_t minute_us = 60000000, day_us = 86400000000;

// Of a minute they are one entry, in the share of refusals: a peer that tells nonsense fills no history.
counted_entry not_readable(const std::string& reason) {
    counted_entry counted;
    history_entry& gap = counted.entry;
    gap.kind = entry_kind::gap;
    gap.time_us = gap.until_us = microseconds_since_1970();
    gap.reason = reason;
    counted.key = std::to_string(gap.time_us / minute_us) + " gap " + reason;
    return counted;
}

// A clock that is far ahead would keep its entries for as long here. True when it was one.
bool put_back(history_entry* entry) {
    const std::int64_t now_us = microseconds_since_1970(), latest_us = now_us + day_us;
    const bool is_ahead = entry->time_us > latest_us || entry->until_us > latest_us;
    if (entry->time_us > latest_us)
        entry->time_us = now_us;
    if (entry->until_us > latest_us)
        entry->until_us = entry->time_us;
    return is_ahead;
}

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
    stream_ = mark_of_text(place.mark);
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
    stream_state now;
    if (!ask_stream_state(ask, &now, problem))
        return false;
    if (now.said.no_stream)
        return make_stream(ask, problem);
    if (!now.said.problem.empty()) {
        *problem = now.said.problem;
        return false;
    }
    if (!is_same_stream(std::exchange(stream_, mark_of(now)), now) || now.last < place_)
        place_ = 0; // another stream than before: all of it is read, and what is here already left out
    unread_ = now.messages;
    if (place_ >= now.first)
        unread_ = now.last - place_;
    if (now.last <= place_)
        return false;
    batch read;
    read.not_read = not_read_;
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
        if (!message.said.problem.empty() && !message.said.no_message) {
            *problem = message.said.problem;
            return;
        }
        if (!message.said.no_message)
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
        far_entry told = entry_of_site(*site, std::move(message->told));
        if (put_back(&told.entry))
            print_once("the clock of site " + *site +
                       " is ahead by more than a day; entries of then are kept with the time of now");
        told.not_read = std::exchange(read->not_read[*site], 0);
        read->items.emplace_back(std::move(told));
        read->entries++;
        return;
    }
    const std::string what = message
                                 ? "is written in version " + std::to_string(message->version) +
                                       ", this gateway reads version " + std::to_string(site_message_version)
                                 : "cannot be read";
    read->items.emplace_back(not_readable("an entry of site " + *site + ' ' + what));
    read->not_read[*site]++;
    print_once("the history of site " + *site + ' ' + what);
}

void history_receiver::print_once(const std::string& line) {
    if (told_.size() < peers_told_limit && told_.insert(line).second)
        print_(line);
}

// True when it is written. Else the next step waits on.
bool history_receiver::hand_over(batch read) {
    if (read.end <= place_)
        return false;
    read.items.emplace_back(
        history_place{place_read, static_cast<std::int64_t>(read.end), mark_text(stream_)});
    place_then_ = read.end;
    entries_then_ = read.entries;
    waits_for_ = writer_.push_all(std::move(read.items)); // 0: no room; it is fetched once more
    if (waits_for_ != 0)
        not_read_ = std::move(read.not_read);
    std::string ignored;
    return waits_for_ != 0 && is_at_rest(&ignored);
}

} // namespace gateway
