// One WebSocket: writes what its source has to tell, one text at a time, and reads only what
// shows that the peer is alive.
#pragma once

#include "any_stream.h"
#include "server_core.h"
#include "tcp_facts.h"

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <array>

namespace gateway {

class event_connection final : public connection,
                               public event_sink,
                               public std::enable_shared_from_this<event_connection> {
public:
    event_connection(std::shared_ptr<server_core> core, any_stream stream,
                     std::shared_ptr<event_source> source);
    ~event_connection() override;

    void begin(const boost::beast::http::request<boost::beast::http::string_body>& head);

    void look(clock::time_point now) override;
    void cut() override;
    void finish() override;
    void wake() override;
    void close(unsigned code, const std::string& reason) override;

private:
    using error_code = boost::system::error_code;
    enum class step { handshake, open, closing, over };

    void read();
    void write();
    void look_for_life(clock::time_point now);
    void ping();
    void look_at_what_it_sends(clock::time_point now);
    int socket() {
        return stream_.next_layer().raw().native_handle();
    }

    std::shared_ptr<server_core> core_;
    boost::beast::websocket::stream<any_stream, false> stream_; // false: never compressed
    std::shared_ptr<event_source> source_;
    step step_ = step::handshake;
    bool begun_ = false;                                    // the source was told
    std::shared_ptr<const std::string> text_;               // being written; null: none
    clock::time_point deadline_ = clock::time_point::max(); // of the handshake, the close
    tcp_facts seen_;                                        // at the last look for life
    clock::time_point next_look_, lived_, next_ping_;
    bool pings_ = false;               // one is on its way out
    std::array<char, 128> unwanted_{}; // what the peer says
    clock::time_point window_end_;
    std::uint64_t window_begin_bytes_ = 0;
};

} // namespace gateway
