#include "incoming_messages.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <utility>

namespace gateway {

incoming_messages::incoming_messages(boost::asio::io_context& loop, std::size_t queues,
                                     std::function<void(const site_message&)> hear)
    : loop_(&loop), queues_(queues), hear_(std::move(hear)) {}

void incoming_messages::pace(std::size_t number, int per_turn) {
    queues_.at(number).per_turn = per_turn;
}

bool incoming_messages::add(std::size_t number, site_message message) {
    const std::scoped_lock lock(mutex_);
    if (loop_ == nullptr)
        return false;
    queue& into = queues_.at(number);
    const std::size_t bytes = message.data.size();
    if (into.messages.size() >= incoming_messages_limit || into.bytes + bytes > incoming_bytes_limit) {
        lost_++;
        return false;
    }
    into.bytes += bytes;
    into.messages.push_back(std::move(message));
    if (!std::exchange(posted_, true))
        boost::asio::post(*loop_, [self = shared_from_this()] { self->hear_some(); });
    return true;
}

void incoming_messages::close() {
    const std::scoped_lock lock(mutex_);
    loop_ = nullptr;
    queues_.clear();
    hear_ = nullptr;
}

std::uint64_t incoming_messages::take_lost() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(lost_, 0);
}

void incoming_messages::begin_turn() {
    const std::scoped_lock lock(mutex_);
    for (queue& each : queues_)
        each.heard = 0;
}

// What is left is heard when others had their turn.
void incoming_messages::end_turn() {
    const std::scoped_lock lock(mutex_);
    posted_ =
        std::any_of(queues_.begin(), queues_.end(), [](const queue& each) { return !each.messages.empty(); });
    if (posted_)
        boost::asio::post(*loop_, [self = shared_from_this()] { self->hear_some(); });
}

// The next one, of each queue in turn.
bool incoming_messages::next(site_message* message) {
    const std::scoped_lock lock(mutex_);
    for (std::size_t looked = 0; looked < queues_.size(); looked++) {
        queue& from = queues_[turn_++ % queues_.size()];
        if (from.messages.empty() || from.heard >= from.per_turn)
            continue;
        from.heard++;
        *message = std::move(from.messages.front());
        from.messages.pop_front();
        from.bytes -= message->data.size();
        return true;
    }
    return false;
}

void incoming_messages::hear_some() {
    begin_turn();
    site_message message;
    for (int heard = 0; heard < messages_per_turn && next(&message); heard++) {
        const auto hear = hear_; // it may close this
        hear(message);
    }
    end_turn();
}

} // namespace gateway
