#include "gateway/fronts/videohub/hub_client.h"

#include "gateway/http/tcp_facts.h"
#include "gateway/settings/limits.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <utility>

namespace gateway {
namespace {

using boost::system::error_code;

constexpr auto write_limit = std::chrono::milliseconds(videohub_write_limit_ms);
constexpr auto half_block_limit = std::chrono::milliseconds(videohub_half_block_limit_ms);
constexpr int unsent_bytes = 65536; // that the system takes from us for a client without room

// Panels may be silent for days; one that was switched off is noticed after a minute.
void keep_alive(int socket) {
    const int on = 1, idle_s = 30, interval_s = 10, probes = 3;
    setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &idle_s, sizeof idle_s);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &interval_s, sizeof interval_s);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

// A browser, which any web page can make send a body that reads as blocks.
bool is_http_request(const std::string& header) {
    return header.find(" HTTP/") != std::string::npos;
}

} // namespace

hub_client::hub_client(hub_client_owner& owner, hub_socket socket, hub_asker asker)
    : owner_(&owner), socket_(std::move(socket)), asker_(std::move(asker)) {
    static_assert(sizeof bytes_ == videohub_read_bytes);
    reader_.most_bytes = videohub_block_bytes_limit;
}

void hub_client::begin() {
    error_code ignored;
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
    keep_alive(socket_.native_handle());
    limit_unsent_bytes(socket_.native_handle(), unsent_bytes);
    wake();
    read();
}

void hub_client::cut() {
    if (owner_ == nullptr)
        return;
    const auto self = shared_from_this();
    hub_client_owner* const owner = std::exchange(owner_, nullptr);
    error_code ignored;
    socket_.close(ignored);
    owner->client_left(*this);
}

void hub_client::look(clock::time_point now) {
    if (half_deadline_ != clock::time_point::max() && !reading_)
        half_deadline_ = now + half_block_limit; // it is we who do not read on
    if (now >= deadline_ || now >= half_deadline_)
        cut();
}

bool hub_client::may_go_on() const {
    return takes_ < videohub_orders_at_work && outputs_ < videohub_outputs_at_work &&
           answers_.size() < videohub_unread_answers;
}

void hub_client::takes_begin(std::size_t outputs) {
    ++takes_;
    outputs_ += outputs;
}

void hub_client::takes_end(std::size_t outputs) {
    --takes_;
    outputs_ -= outputs;
    work();
}

void hub_client::read() {
    if (owner_ == nullptr || ended_ || std::exchange(reading_, true))
        return;
    socket_.async_read_some(boost::asio::buffer(bytes_),
                            [self = shared_from_this()](error_code error, std::size_t count) {
                                self->reading_ = false;
                                if (self->owner_ == nullptr)
                                    return;
                                if (error == boost::asio::error::eof)
                                    self->ended_ = true;
                                else if (error)
                                    return self->cut();
                                else if (!self->enter({self->bytes_.data(), count}))
                                    return;
                                self->work();
                            });
}

bool hub_client::enter(std::string_view bytes) {
    std::vector<videohub_block> blocks;
    const bool was_read = read_videohub_bytes(reader_, bytes, blocks);
    const bool is_http = is_http_request(reader_.block.header) ||
                         std::any_of(blocks.begin(), blocks.end(), [](const videohub_block& block) {
                             return is_http_request(block.header);
                         });
    if (!was_read || is_http) {
        cut();
        return false;
    }
    const bool has_half = !reader_.line.empty() || !reader_.block.header.empty();
    if (!has_half)
        half_deadline_ = clock::time_point::max();
    else if (half_deadline_ == clock::time_point::max() || !blocks.empty())
        half_deadline_ = clock::now() + half_block_limit;
    for (videohub_block& block : blocks)
        blocks_.push_back(std::move(block));
    return true;
}

// Some blocks, then others have their turn; a client that has to wait is not read.
void hub_client::work() {
    if (owner_ == nullptr || std::exchange(working_, true))
        return;
    const auto self = shared_from_this();
    for (std::size_t done = 0; owner_ != nullptr && !blocks_.empty() && done < videohub_blocks_per_turn;
         ++done) {
        if (!may_go_on())
            break;
        const videohub_block block = std::move(blocks_.front());
        blocks_.pop_front();
        answers_ += owner_->do_block(*this, block) ? videohub_acknowledged : videohub_refused;
    }
    working_ = false;
    wake();
    if (owner_ == nullptr)
        return;
    if (blocks_.empty())
        read();
    else if (may_go_on())
        boost::asio::post(socket_.get_executor(), [self] { self->work(); });
}

void hub_client::wake() {
    if (owner_ == nullptr || writing_ || working_)
        return;
    text_ = std::exchange(answers_, {});
    if (text_.size() < videohub_written_bytes)
        text_ += owner_->next_text(*this);
    if (!text_.empty()) {
        writing_ = true;
        deadline_ = clock::now() + write_limit;
        write(0);
    } else if (ended_ && blocks_.empty() && takes_ == 0) {
        cut(); // all is said
    }
}

void hub_client::write(std::size_t from) {
    socket_.async_write_some(boost::asio::buffer(text_.data() + from, text_.size() - from),
                             [self = shared_from_this(), from](error_code error, std::size_t count) {
                                 if (self->owner_ == nullptr)
                                     return;
                                 if (error)
                                     return self->cut();
                                 self->deadline_ = clock::now() + write_limit;
                                 if (from + count < self->text_.size())
                                     self->write(from + count);
                                 else
                                     self->written();
                             });
}

void hub_client::written() {
    writing_ = false;
    deadline_ = clock::time_point::max();
    std::string().swap(text_); // hundreds of clients wait for most of their time
    wake();
    if (owner_ != nullptr && !blocks_.empty() && may_go_on())
        work();
}

} // namespace gateway
