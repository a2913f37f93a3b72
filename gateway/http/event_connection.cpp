#include "event_connection.h"

#include "http_text.h"

#include <utility>

namespace gateway {

namespace websocket = boost::beast::websocket;

namespace {

constexpr int looks_in_silence = 8; // for life, in the time that a silent peer has
constexpr int pings_in_silence = 3;

} // namespace

event_connection::event_connection(std::shared_ptr<server_core> core, any_stream stream,
                                   std::shared_ptr<event_source> source)
    : core_(std::move(core)), stream_(std::move(stream)), source_(std::move(source)) {}

event_connection::~event_connection() = default;

void event_connection::begin(const boost::beast::http::request<boost::beast::http::string_body>& head) {
    websocket::stream_base::timeout times{};
    times.handshake_timeout = core_->limits.handshake;
    times.idle_timeout = websocket::stream_base::none(); // look_for_life() knows better who reads
    times.keep_alive_pings = false;
    stream_.set_option(times);
    stream_.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
        response.set(boost::beast::http::field::server, server_name);
    }));
    stream_.read_message_max(core_->limits.client_message_bytes);
    stream_.auto_fragment(false);
    stream_.text(true);
    limit_unsent_bytes(socket(), event_unsent_bytes_limit);
    deadline_ = clock::now() + core_->limits.handshake;
    // From before the answer: what follows it may be here before the handler runs, and counts.
    window_begin_bytes_ = facts_of(socket()).received;
    stream_.async_accept(head, [self = shared_from_this()](error_code error) {
        if (self->step_ != step::handshake)
            return;
        if (error) {
            self->cut();
            return;
        }
        self->step_ = step::open;
        self->deadline_ = clock::time_point::max();
        self->lived_ = self->next_look_ = clock::now();
        self->next_ping_ = self->lived_ + self->core_->limits.silence / pings_in_silence;
        self->window_end_ = self->lived_ + self->core_->limits.client_window;
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
    if (step_ == step::open && now >= next_look_)
        look_for_life(now);
}

// What comes from it, pongs above all, is life; so is room that it makes by reading while something waits for
// it: then its pong may be long on its way, and it is slow, not gone.
void event_connection::look_for_life(clock::time_point now) {
    next_look_ = now + core_->limits.silence / looks_in_silence;
    const tcp_facts before = std::exchange(seen_, facts_of(socket()));
    const bool waited = before.waits || seen_.waits;
    if (seen_.received != before.received || (waited && seen_.taken != before.taken) ||
        seen_.room > before.room)
        lived_ = now;
    if (now >= lived_ + core_->limits.silence)
        cut();
    else if (now >= next_ping_ && !pings_)
        ping();
}

void event_connection::ping() {
    pings_ = true;
    stream_.async_ping({}, [self = shared_from_this()](error_code) {
        self->pings_ = false;
        self->next_ping_ = clock::now() + self->core_->limits.silence / pings_in_silence;
    });
}

// Messages, fragments without an end, pings without need: whatever it is, it is no use, and bounded.
void event_connection::look_at_what_it_sends(clock::time_point now) {
    const std::uint64_t bytes = facts_of(socket()).received;
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
    stream_.async_write(boost::asio::buffer(*text_),
                        [self = shared_from_this()](error_code error, std::size_t) {
                            self->text_.reset();
                            if (self->step_ != step::open)
                                return;
                            if (error)
                                self->cut();
                            else
                                self->write();
                        });
}

} // namespace gateway
