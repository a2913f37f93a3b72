#include "outgoing_messages.h"

#include "site_limits.h"

#include <utility>

namespace gateway {

bool outgoing_messages::has_room_for_page() const {
    return page_bytes_ < outgoing_page_bytes_limit && is_room_left(page_bytes_aim);
}

bool outgoing_messages::is_room_left(std::size_t bytes) const {
    return first_.size() + pages_.size() < outgoing_messages_limit &&
           first_bytes_ + page_bytes_ + bytes <= outgoing_message_bytes_limit;
}

bool outgoing_messages::add(site_message message) {
    const std::size_t bytes = message.data.size();
    if (!is_room_left(bytes) || (message.is_page && page_bytes_ + bytes > outgoing_page_bytes_limit))
        return false;
    (message.is_page ? page_bytes_ : first_bytes_) += bytes;
    (message.is_page ? pages_ : first_).push_back(std::move(message));
    return true;
}

bool outgoing_messages::is_empty() const {
    return first_.empty() && pages_.empty();
}

std::deque<site_message> outgoing_messages::next() {
    std::deque<site_message> batch = std::exchange(first_, {});
    first_bytes_ = 0;
    for (int count = 0; count < pages_per_turn && !pages_.empty(); count++) {
        page_bytes_ -= pages_.front().data.size();
        batch.push_back(std::move(pages_.front()));
        pages_.pop_front();
    }
    return batch;
}

void outgoing_messages::clear() {
    *this = {};
}

} // namespace gateway
