// A connection to a Videohub server: blocks come in, answers and news go out.
//
// An answer goes out before the news that its block has caused. A client that does not read its answers, or
// has much at work, is not read any further; what it has not been told is kept as numbers. One that reads
// nothing at all is cut.
#pragma once

#include "gateway/fronts/videohub/hub_asker.h"
#include "gateway/fronts/videohub/untold.h"
#include "videohub_blocks.h"

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <deque>
#include <memory>

namespace gateway {

class hub_client;

// Who has clients. Outlives them.
class hub_client_owner {
public:
    virtual ~hub_client_owner() = default;
    // True: acknowledged; false: refused, and nothing of it is done. May tell clients news.
    virtual bool do_block(hub_client& client, const videohub_block& block) = 0;
    virtual std::string next_text(hub_client& client) = 0;
    // It is closed; its owner forgets it.
    virtual void client_left(hub_client& client) = 0;
};

using hub_socket =
    boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;

class hub_client : public std::enable_shared_from_this<hub_client> {
public:
    using clock = std::chrono::steady_clock;

    hub_client(hub_client_owner& owner, hub_socket socket, hub_asker asker);

    void begin();
    // Writes when something is untold.
    void wake();
    // Ends at once.
    void cut();
    // Cuts itself when the client has read nothing, or has left a block without its end, for too long.
    void look(clock::time_point now);

    untold news;
    [[nodiscard]] const hub_asker& asker() const {
        return asker_;
    }

    // Takes of so many outputs are at work for it, and then no longer.
    void takes_begin(std::size_t outputs);
    void takes_end(std::size_t outputs);

private:
    void read();
    // False: it is cut.
    bool enter(std::string_view bytes);
    void work();
    void write(std::size_t from);
    void written();
    [[nodiscard]] bool may_go_on() const;

    hub_client_owner* owner_; // null: it is closed
    hub_socket socket_;
    hub_asker asker_;
    std::array<char, 4096> bytes_{};
    videohub_reader reader_;
    std::deque<videohub_block> blocks_;                          // read, not done
    std::string answers_;                                        // not on their way
    std::string text_;                                           // on its way
    clock::time_point deadline_ = clock::time_point::max();      // of the next byte that the client reads
    clock::time_point half_deadline_ = clock::time_point::max(); // of the end of the block in reader_
    std::size_t takes_ = 0, outputs_ = 0;                        // at work
    bool reading_ = false, writing_ = false, working_ = false;
    bool ended_ = false; // nothing more comes from it
};

} // namespace gateway
