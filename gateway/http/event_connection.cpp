#include "event_connection.h"

#include "tcp_facts.h"

namespace gateway {

namespace websocket = boost::beast::websocket;

event_connection::event_connection(std::shared_ptr<server_core> core, any_stream stream,
                                   std::shared_ptr<event_source> source)
    : core_(std::move(core)), stream_(std::move(stream)), source_(std::move(source)) {}

event_connection::~event_connection() = default;

void event_connection::begin(const boost::beast::http::request<boost::beast::http::string_body>& head) {
    websocket::stream_base::timeout times{};
    times.handshake_timeout = core_->limits.handshake;
    times.idle_timeout = core_->limits.silence;
    times.keep_alive_pings = true;
    stream_.set_option(times);
    stream_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type& response) { response.set(boost::beast::http::field::server, "vrdx"); }));
    stream_.read_message_max(core_->limits.client_message_bytes);
    stream_.auto_fragment(false);
    stream_.text(true);
    limit_unsent_bytes(stream_.next_layer().raw().native_handle(), event_unsent_bytes_limit);
    deadline_ = clock::now() + core_->limits.handshake;
    // From before the answer: what follows it may be here before the handler runs, and counts.
    window_begin_bytes_ = received_bytes(stream_.next_layer().raw().native_handle());
    stream_.async_accept(head, [self = shared_from_this()](error_code error) {
        if (self->step_ != step::handshake)
            return;
        if (error) {
            self->cut();
            return;
        }
        self->step_ = step::open;
        self->deadline_ = clock::time_point::max();
        self->window_end_ = clock::now() + self->core_->limits.client_window;
        self->begun_ = true;
        self->source_->begun(self.get());
        self->read();
        self->wake();
    });
}

void event_connection::look(clock::time_point now) {
    if (now >= deadline_)
        cut();
    else if (step_ == step::open && now >= window_end_)
        look_at_what_it_sends(now);
}

// Messages, fragments without an end, pings without need: whatever it is, it is no use, and bounded.
void event_connection::look_at_what_it_sends(clock::time_point now) {
    const std::uint64_t bytes = received_bytes(stream_.next_layer().raw().native_handle());
    if (bytes - window_begin_bytes_ > core_->limits.client_bytes_per_window)
        close(close_policy, "too much was sent; there is nothing to say here");
    window_begin_bytes_ = bytes;
    window_end_ = now + core_->limits.client_window;
}

void event_connection::cut() {
    if (step_ == step::over)
        return;
    const auto self = shared_from_this();
    step_ = step::over;
    stream_.next_layer().close();
    core_->crowd.leave(this);
    if (begun_)
        source_->ended();
    source_.reset();
}

void event_connection::finish() {
    if (step_ == step::handshake)
        cut();
    else
        close(close_going_away, "the gateway ends");
}

void event_connection::wake() {
    if (step_ == step::open && !text_)
        write();
}

void event_connection::close(unsigned code, const std::string& reason) {
    if (step_ != step::open)
        return;
    step_ = step::closing;
    deadline_ = clock::now() + core_->limits.closing;
    stream_.async_close(websocket::close_reason(static_cast<websocket::close_code>(code), reason),
                        [self = shared_from_this()](error_code) { self->cut(); });
}

void event_connection::read() {
    stream_.async_read_some(boost::asio::buffer(unwanted_),
                            [self = shared_from_this()](error_code error, std::size_t) {
                                if (error)
                                    self->cut();
                                else if (self->step_ != step::over)
                                    self->read();
                            });
}

void event_connection::write() {
    text_ = source_->next();
    if (!text_)
        return;
    deadline_ = clock::now() + core_->limits.write;
    stream_.async_write(boost::asio::buffer(*text_),
                        [self = shared_from_this()](error_code error, std::size_t) {
                            self->text_.reset();
                            if (self->step_ != step::open)
                                return;
                            self->deadline_ = clock::time_point::max();
                            if (error)
                                self->cut();
                            else
                                self->write();
                        });
}

} // namespace gateway
