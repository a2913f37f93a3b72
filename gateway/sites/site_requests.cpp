#include "site_requests.h"

#include <charconv>
#include <utility>
#include <vector>

namespace gateway {

bool site_requests::ask(std::string subject, std::string data, std::uint64_t deadline_ms,
                        reply_handler done) {
    const std::uint64_t number = ++newest_;
    if (!way_.send({std::move(subject), inbox_ + std::to_string(number), std::move(data), false}))
        return false;
    asked_[number] = {deadline_ms, std::move(done)};
    return true;
}

bool site_requests::hear(const site_message& message) {
    if (!message.subject.starts_with(inbox_))
        return false;
    std::uint64_t number = 0;
    const char* const begin = message.subject.data() + inbox_.size();
    std::from_chars(begin, message.subject.data() + message.subject.size(), number);
    end(number, message.nobody ? reply_kind::nobody : reply_kind::answered, message.data);
    return true;
}

void site_requests::end(std::uint64_t number, reply_kind kind, const std::string& data) {
    auto ended = asked_.extract(number);
    if (!ended.empty())
        ended.mapped().done(kind, data);
}

void site_requests::look_at_clock(std::uint64_t now_ms) {
    std::vector<std::uint64_t> overdue;
    for (const auto& [number, each] : asked_)
        if (now_ms > each.deadline_ms)
            overdue.push_back(number);
    for (const std::uint64_t number : overdue)
        end(number, reply_kind::late, {});
}

void site_requests::lose_all() {
    for (auto& [number, each] : std::exchange(asked_, {}))
        each.done(reply_kind::link_lost, {});
}

} // namespace gateway
