// Messages from the client library's threads on their way to the gateway's loop.
//
// Each subscription has a queue of its own, so that one who floods loses his own messages and nobody else's.
// The loop reads a few from each queue in turn.
#pragma once

#include "message_way.h"
#include "site_limits.h"

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

// Something to listen to, in a queue of its own.
struct heard_subject {
    std::string subject;
    int per_turn = messages_per_turn; // of the loop; fewer of what costs much
};

class incoming_messages : public std::enable_shared_from_this<incoming_messages> {
public:
    // `hear` is called from the loop, until close().
    incoming_messages(boost::asio::io_context& loop, std::size_t queues,
                      std::function<void(const site_message&)> hear);

    // No more than so many messages of this queue are heard in one turn of the loop, because each of them
    // costs much. To be called before anything is added.
    void pace(std::size_t queue, int per_turn);

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
        int per_turn = messages_per_turn, heard = 0; // in this turn
    };
    void begin_turn();
    void end_turn();
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
