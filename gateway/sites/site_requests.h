// What was asked of other sites, and waits for its answer.
#pragma once

#include "message_way.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace gateway {

enum class reply_kind {
    answered,
    nobody,   // nobody listened: it was certainly not heard
    late,     // perhaps it was heard
    link_lost // perhaps it was heard
};

class site_requests {
public:
    using reply_handler = std::function<void(reply_kind kind, const std::string& data)>;

    // Both outlive it. Answers come to subjects below `inbox`, which the way has to listen to.
    site_requests(message_way& way, std::string inbox) : way_(way), inbox_(std::move(inbox)) {}

    // `done` is called once, from hear(), look_at_clock() or lose_all(). False: it was not sent, and `done`
    // is not called.
    bool ask(std::string subject, std::string data, std::uint64_t deadline_ms, reply_handler done);

    // True when it was an answer to something asked here, also when nobody waits for it any more.
    bool hear(const site_message& message);
    void look_at_clock(std::uint64_t now_ms); // steady, as the deadlines
    void lose_all();

private:
    struct asked {
        std::uint64_t deadline_ms;
        reply_handler done;
    };
    void end(std::uint64_t number, reply_kind kind, const std::string& data);

    message_way& way_;
    std::string inbox_; // without the number
    std::uint64_t newest_ = 0;
    std::map<std::uint64_t, asked> asked_;
};

} // namespace gateway
