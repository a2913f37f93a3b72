#include "record_reading.h"

#include "gateway/settings/limits.h"

#include <algorithm>

namespace gateway {

namespace {

bool has_epoch(const comm_socket_v4_packet& packet, const std::string& epoch) {
    return std::any_of(packet.entries.begin(), packet.entries.end(), [&](std::uint32_t index) {
        const comm_socket_v4_packet_item& entry = packet.items[index];
        return comm_socket_v4_packet_item_name(&packet, entry) == "epoch" &&
               comm_socket_v4_packet_item_value(&packet, entry) == epoch;
    });
}

} // namespace

record_reading::record_reading(boost::asio::io_context& loop, std::string socket_path, std::string epoch,
                               std::uint64_t from,
                               std::function<void(bool, const std::vector<vrdx::take_record>&)> done)
    : epoch_(std::move(epoch)), done_(std::move(done)), from_(from), wait_(loop, [this] { move(); }),
      timer_(loop, [this] { started_ ? end(false) : begin(); }) {
    connection_.path = std::move(socket_path);
    timer_.set(0); // `done` is never called before this is made
}

record_reading::~record_reading() {
    wait_.forget();
    vrdx::close_connection(&connection_);
}

void record_reading::begin() {
    started_ = true;
    timer_.set(history_record_time_limit_ms * 1000);
    if (vrdx::open_connection(&connection_, std::string(connection_.path)) != 0 ||
        vrdx::queue_request(&connection_, vrdx::record_request(from_)) == 0)
        return end(false);
    move();
}

void record_reading::move() {
    if (!vrdx::move_bytes(&connection_))
        wait_.forget();
    vrdx::incoming_packet packet;
    while (!last_ && vrdx::next_packet(&connection_, &packet))
        if (!read(packet.packet))
            return end(false);
    if (last_ || connection_.fd < 0)
        return end(last_);
    if (!wait_.follow(connection_.fd, vrdx::poll_events(connection_)))
        end(false);
}

bool record_reading::read(const comm_socket_v4_packet& page) {
    std::uint64_t next = 0;
    if (!has_epoch(page, epoch_) || !vrdx::add_record_page(page, &records_, &next) ||
        (next != 0 && next <= from_) || records_.size() > vrdx::take_records_limit)
        return false;
    last_ = next == 0;
    from_ = next;
    return last_ || vrdx::queue_request(&connection_, vrdx::record_request(next)) != 0;
}

void record_reading::end(bool whole) {
    timer_.clear();
    wait_.forget();
    vrdx::close_connection(&connection_);
    const auto done = std::move(done_);
    const std::vector<vrdx::take_record> records = std::move(records_);
    done(whole, records);
}

} // namespace gateway
