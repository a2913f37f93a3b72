#include "http_connection.h"

#include "event_connection.h"
#include "http_text.h"
#include "request_head.h"
#include "request_target.h"

#include <algorithm>

namespace gateway {

namespace http = boost::beast::http;

namespace {

constexpr std::size_t first_read_bytes = 2048; // most requests are smaller, and many connections only wait
constexpr std::size_t body_read_bytes = 16384;

std::string_view view(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

std::string_view view(const boost::beast::flat_buffer& buffer) {
    return {static_cast<const char*>(buffer.data().data()), buffer.size()};
}

} // namespace

http_connection::http_connection(std::shared_ptr<server_core> core, any_stream stream, std::string peer)
    : core_(std::move(core)), stream_(std::move(stream)), peer_(std::move(peer)) {}

http_connection::~http_connection() {
    count_body(0);
}

void http_connection::begin() {
    if (!stream_.is_tls()) {
        wait_for_request();
        return;
    }
    go_to(step::waiting, core_->limits.handshake);
    stream_.async_handshake([self = shared_from_this()](error_code error) {
        if (error)
            self->cut();
        else if (self->step_ != step::over)
            self->wait_for_request();
    });
}

void http_connection::go_to(step next, http_limits::duration within) {
    step_ = next;
    deadline_ = clock::now() + within;
}

void http_connection::look(clock::time_point now) {
    if (now < std::min(deadline_, answer_deadline_))
        return;
    if (step_ == step::head)
        refuse(408, "The request's headers did not come in time.");
    else if (step_ == step::body)
        refuse(408, "The request's body did not come in time.");
    else
        cut();
}

void http_connection::cut() {
    if (step_ == step::over)
        return;
    step_ = step::over;
    stream_.close();
    core_->crowd.leave(this);
}

void http_connection::finish() {
    last_ = true;
    if (step_ == step::waiting || step_ == step::head || step_ == step::lingering)
        cut();
}

// --- reading ---

void http_connection::wait_for_request() {
    parser_.reset();
    response_.reset();
    serializer_.reset();
    looked_ = 0;
    answer_deadline_ = clock::time_point::max();
    go_to(step::waiting, core_->limits.idle);
    core_->crowd.waits(this);
    if (buffer_.size() > 0)
        on_bytes();
    else
        read_more();
}

void http_connection::read_more() {
    reading_ = true;
    const std::size_t bytes =
        step_ == step::body || step_ == step::lingering ? body_read_bytes : first_read_bytes;
    stream_.async_read_some(
        buffer_.prepare(bytes),
        [self = shared_from_this()](error_code error, std::size_t got) { self->on_read(error, got); });
}

void http_connection::on_read(error_code error, std::size_t bytes) {
    reading_ = false;
    buffer_.commit(bytes);
    if (step_ == step::over || step_ == step::writing) // a request that came too slowly is being refused
        return;
    if (error)
        cut();
    else
        on_bytes();
}

void http_connection::on_bytes() {
    if (step_ == step::lingering)
        linger();
    else if (step_ == step::body)
        read_body();
    else
        look_for_head();
}

// --- the head ---

void http_connection::look_for_head() {
    if (step_ == step::waiting) {
        buffer_.consume(empty_lines(view(buffer_)));
        if (buffer_.size() == 0) {
            read_more();
            return;
        }
        go_to(step::head, core_->limits.head);
    }
    const std::size_t length = head_length(view(buffer_), &looked_);
    if (length > core_->limits.head_bytes || (length == 0 && buffer_.size() > core_->limits.head_bytes))
        refuse(431, "The request's headers are too large; possible are " +
                        std::to_string(core_->limits.head_bytes) + " bytes.");
    else if (length > 0)
        read_head(length);
    else
        read_more();
}

void http_connection::read_head(std::size_t length) {
    const std::string problem = take_head_apart(length);
    if (!problem.empty()) {
        refuse(400, problem);
        return;
    }
    last_ = last_ || core_->stopping || !parser_->get().keep_alive();
    if (request_.upgrade)
        begin_events();
    else
        begin_request();
}

std::string http_connection::take_head_apart(std::size_t length) {
    std::string problem = head_problem(view(buffer_).substr(0, length));
    if (!problem.empty())
        return problem;
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(core_->limits.head_bytes));
    parser_->body_limit(boost::none); // each request has its own, which is not known yet
    error_code error;
    buffer_.consume(parser_->put(boost::asio::buffer(buffer_.data(), length), error));
    if (error || !parser_->is_header_done())
        return "The request's head is not HTTP/1.1: " + error.message() + ".";

    const auto& head = parser_->get();
    request_ = {};
    request_target target;
    std::string wrong_target = read_target(view(head.target()), &target);
    if (!wrong_target.empty())
        return wrong_target;
    request_.method = view(head.method_string());
    request_.path = std::move(target.path);
    request_.query = std::move(target.query);
    for (const auto& field : head)
        request_.headers.emplace_back(small_letters(view(field.name_string())), view(field.value()));
    if (!target.authority.empty() &&
        small_letters(target.authority) != small_letters(request_.header("host").value_or("")))
        return "The target names another host than the Host header.";
    request_.peer = peer_;
    request_.over_tls = stream_.is_tls();
    if (const auto announced = parser_->content_length())
        request_.body_bytes = *announced;
    request_.has_body = parser_->chunked() || request_.body_bytes.value_or(0) > 0;
    request_.upgrade = boost::beast::websocket::is_upgrade(head) && !request_.has_body &&
                       request_.header("sec-websocket-version") == "13" &&
                       request_.header("sec-websocket-key");
    return "";
}

void http_connection::begin_request() {
    core_->crowd.works(this);
    go_to(step::answering, core_->limits.answering);
    request_verdict verdict = core_->handlers.begin(request_);
    if (reply* refusal = std::get_if<reply>(&verdict)) {
        last_ = last_ || request_.has_body; // it is not read
        send(std::move(*refusal));
        return;
    }
    accepted_ = std::move(std::get<accepted_request>(verdict));
    if (!request_.has_body)
        serve();
    else if (request_.body_bytes.value_or(0) > accepted_.body_limit)
        refuse(413, "The body is too large; possible are " + std::to_string(accepted_.body_limit) +
                        " bytes here.");
    else
        begin_body();
}

void http_connection::begin_events() {
    auto verdict = core_->handlers.accept(request_);
    if (reply* refusal = std::get_if<reply>(&verdict)) {
        core_->crowd.works(this);
        send(std::move(*refusal));
        return;
    }
    if (buffer_.size() > 0) {
        refuse(400, "Frames can only be sent once the WebSocket is open.");
        return;
    }
    const auto events = std::make_shared<event_connection>(core_, std::move(stream_),
                                                           std::get<std::shared_ptr<event_source>>(verdict));
    step_ = step::over;
    core_->crowd.replace(this, events);
    events->begin(parser_->get());
}

} // namespace gateway
