// Messages from the client library's threads on their way to the gateway's loop.
//
// Each subscription has a queue of its own, so that one who floods loses his own messages and nobody else's.
// The loop reads a few from each queue in turn.
#pragma once

#include "message_way.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace gateway {

class incoming_messages : public std::enable_shared_from_this<incoming_messages> {
public:
    // `hear` is called from the loop, until close().
    incoming_messages(boost::asio::io_context& loop, std::size_t queues,
                      std::function<void(const site_message&)> hear);

    // From any thread. False: there was no room, and the message is lost.
    bool add(std::size_t queue, site_message message);
    // From the loop. Nothing is heard any more; add() may still be called, and does nothing.
    void close();
    // Messages that were lost since the last call. From any thread.
    std::uint64_t take_lost();

private:
    struct queue {
        std::deque<site_message> messages;
        std::size_t bytes = 0;
    };
    void hear_some();
    bool next(site_message* message);

    std::mutex mutex_;              // of all but hear_
    boost::asio::io_context* loop_; // null once closed
    std::vector<queue> queues_;
    std::size_t turn_ = 0;
    bool posted_ = false;
    std::uint64_t lost_ = 0;
    std::function<void(const site_message&)> hear_;
};

} // namespace gateway
