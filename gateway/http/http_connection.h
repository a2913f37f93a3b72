// One connection that speaks HTTP: a request at a time is read, answered and forgotten. What a peer sends
// ahead stays in its socket until then.
#pragma once

#include "any_stream.h"
#include "server_core.h"
#include "shared_body.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

namespace gateway {

class http_connection final : public connection, public std::enable_shared_from_this<http_connection> {
public:
    http_connection(std::shared_ptr<server_core> core, any_stream stream, std::string peer);
    ~http_connection() override;

    void begin(); // once it has entered the crowd

    void look(clock::time_point now) override;
    void cut() override;
    void finish() override;

private:
    using error_code = boost::system::error_code;
    using parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    using response = boost::beast::http::response<shared_body>;
    using serializer = boost::beast::http::response_serializer<shared_body>;

    enum class step { waiting, head, answering, body, writing, lingering, over };

    void go_to(step next, http_limits::duration within);
    void wait_for_request();
    void read_more();
    void on_read(error_code error, std::size_t bytes);
    void on_bytes();
    // Head
    void look_for_head();
    void read_head(std::size_t length);
    std::string take_head_apart(std::size_t length); // what is wrong with it
    void begin_request();
    void begin_events();
    // Body
    void begin_body();
    void read_body();
    void count_body(std::size_t bytes);
    void serve();
    // Answer
    void refuse(unsigned status, const std::string& sentence); // and read no further request
    void send(reply answer);
    void send_later(reply answer);
    void write_some();
    void on_written(error_code error);
    void linger();

    std::shared_ptr<server_core> core_;
    any_stream stream_;
    std::string peer_;
    step step_ = step::waiting;
    clock::time_point deadline_ = clock::time_point::max();
    clock::time_point answer_deadline_ = clock::time_point::max(); // while writing: of all of it

    boost::beast::flat_buffer buffer_;
    bool reading_ = false;   // into the buffer
    std::size_t looked_ = 0; // bytes of the buffer in which no head ends
    std::optional<parser> parser_;
    request request_;
    accepted_request accepted_;
    std::size_t counted_body_ = 0; // of core_->bodies_bytes
    std::size_t lingered_ = 0;     // bytes that were read and dropped, so that the peer sees the answer

    bool says_go_on_ = false;                        // "100 Continue" is being written
    bool last_ = false;                              // no further request is read on this connection
    std::optional<boost::asio::steady_timer> delay_; // of an answer
    std::optional<response> response_;
    std::optional<serializer> serializer_;
};

} // namespace gateway
