// Body and answer of a request.
#include "http_connection.h"

#include "http_text.h"

#include <boost/asio/write.hpp>

namespace gateway {

namespace http = boost::beast::http;

namespace {

constexpr std::size_t chunks_waiting_bytes =
    20480; // read and not understood yet: what stands between chunks is short
constexpr std::size_t lingering_bytes = 262144;

} // namespace

// --- the body ---

void http_connection::begin_body() {
    const auto expected = request_.header("expect");
    if (expected && small_letters(*expected) != "100-continue") {
        refuse(417, "The only expectation possible is 100-continue.");
        return;
    }
    go_to(step::body, core_->limits.body);
    parser_->body_limit(accepted_.body_limit);
    parser_->eager(true);
    if (!expected || buffer_.size() > 0) {
        read_body();
        return;
    }
    static constexpr std::string_view go_on = "HTTP/1.1 100 Continue\r\n\r\n";
    says_go_on_ = true;
    boost::asio::async_write(stream_, boost::asio::buffer(go_on),
                             [self = shared_from_this()](error_code error, std::size_t) {
                                 self->says_go_on_ = false;
                                 if (self->step_ != step::body)
                                     return;
                                 if (error)
                                     self->cut();
                                 else
                                     self->read_more();
                             });
}

void http_connection::read_body() {
    error_code error;
    while (!error && buffer_.size() > 0 && !parser_->is_done()) {
        const std::size_t used = parser_->put(buffer_.data(), error);
        buffer_.consume(used);
        if (used == 0)
            break;
    }
    count_body(parser_->get().body().size());
    if (error == http::error::body_limit)
        refuse(413, "The body is too large; possible are " + std::to_string(accepted_.body_limit) +
                        " bytes here.");
    else if ((error && error != http::error::need_more) || buffer_.size() > chunks_waiting_bytes)
        refuse(400, "The body's chunks are malformed.");
    else if (parser_->is_done())
        serve();
    else if (core_->bodies_bytes > core_->limits.bodies_bytes)
        refuse(503, "Too many bodies are being sent at once; try again in a moment.");
    else
        read_more();
}

void http_connection::count_body(std::size_t bytes) {
    core_->bodies_bytes += bytes - counted_body_;
    counted_body_ = bytes;
}

void http_connection::serve() {
    core_->crowd.works(this);
    go_to(step::answering, core_->limits.answering);
    std::string body = std::move(parser_->get().body());
    count_body(0);
    const accepted_request accepted = std::move(accepted_);
    accepted_ = {};
    accepted.serve(std::move(body), [self = shared_from_this()](reply answer) {
        if (self->step_ == step::answering)
            self->send(std::move(answer));
    });
}

// --- the answer ---

void http_connection::refuse(unsigned status, const std::string& sentence) {
    core_->crowd.works(this);
    count_body(0);
    last_ = true;
    send(core_->handlers.problem(status, sentence));
}

// Who is made to wait gives way to others.
void http_connection::send_later(reply answer) {
    core_->crowd.waits(this);
    go_to(step::answering, answer.delay + core_->limits.answering);
    delay_.emplace(stream_.get_executor(), answer.delay);
    answer.delay = {};
    delay_->async_wait([self = shared_from_this(), answer = std::move(answer)](error_code) {
        if (self->step_ != step::answering)
            return;
        self->core_->crowd.works(self.get());
        self->send(answer);
    });
}

void http_connection::send(reply answer) {
    if (answer.delay.count() > 0) {
        send_later(std::move(answer));
        return;
    }
    const unsigned version = parser_ && parser_->is_header_done() ? parser_->get().version() : 11;
    response_.emplace(static_cast<http::status>(answer.status), version);
    response_->set(http::field::server, server_name);
    response_->set(http::field::date, core_->date());
    const bool has_no_body = answer.status == 204 || answer.status == 304;
    for (const auto& [name, value] : answer.headers)
        response_->insert(name, value);
    if (!answer.content_type.empty())
        response_->set(http::field::content_type, answer.content_type);
    if (!has_no_body)
        response_->content_length(shared_body::size(answer.body));
    if (!has_no_body && request_.method != "HEAD")
        response_->body() = std::move(answer.body);
    last_ = last_ || core_->stopping;
    response_->keep_alive(!last_);
    serializer_.emplace(*response_);
    answer_deadline_ = clock::now() + core_->limits.write;
    write_some();
}

void http_connection::write_some() {
    go_to(step::writing, core_->limits.write_pause);
    http::async_write_some(stream_, *serializer_, [self = shared_from_this()](error_code error, std::size_t) {
        self->on_written(error);
    });
}

void http_connection::on_written(error_code error) {
    if (step_ == step::over)
        return;
    if (error)
        cut();
    else if (!serializer_->is_done())
        write_some();
    else if (!last_)
        wait_for_request();
    else if (parser_ && parser_->is_done() && buffer_.size() == 0)
        cut();
    else {
        // Closed with unread bytes in it, the socket would take back the answer that is on its way.
        stream_.end_writing();
        answer_deadline_ = clock::time_point::max();
        go_to(step::lingering, core_->limits.linger);
        linger();
    }
}

void http_connection::linger() {
    lingered_ += buffer_.size();
    buffer_.consume(buffer_.size());
    if (lingered_ > lingering_bytes)
        cut();
    else if (!reading_)
        read_more();
}

} // namespace gateway
