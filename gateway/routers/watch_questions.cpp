#include "gateway/routers/watch_questions.h"

#include "gateway/routers/board_limits.h"
#include "plain_text.h"
#include "text.h"

#include <string_view>
#include <utility>

namespace gateway {

namespace {

// The newest stands last. "TIME TEXT".
std::optional<vrdx::driver_message> last_error_in(const comm_socket_v4_packet& page) {
    std::optional<vrdx::driver_message> last;
    for (const std::uint32_t index : page.entries) {
        if (comm_socket_v4_packet_item_name(&page, page.items[index]) != "error")
            continue;
        const std::string_view value = comm_socket_v4_packet_item_value(&page, page.items[index]);
        const std::size_t blank = value.find(' ');
        const auto time = number_of_digits<std::uint64_t>(value.substr(0, blank));
        if (time && blank != std::string_view::npos)
            last = {*time, std::string(text_head(value.substr(blank + 1), error_text_limit))};
    }
    return last;
}

bool is_unknown_command(const comm_socket_v4_packet& reply) {
    return vrdx::is_error(reply) && vrdx::error_text(reply).starts_with("unknown command");
}

} // namespace

void watch_questions::connection_ended() {
    error_request_ = error_asked_us_ = record_request_ = record_from_ = 0;
    soon_ = refused_ = false;
    record_pages_ = 0;
    records_.clear();
}

void watch_questions::ask(vrdx::driver_connection* connection, std::uint64_t now) {
    if (!record_read_ && record_request_ == 0)
        record_request_ = vrdx::queue_request(connection, vrdx::record_request(record_from_));
    if (refused_ || error_request_ != 0)
        return;
    const std::uint64_t pause = soon_ ? last_error_pause_us : last_error_period_us;
    if (error_asked_us_ != 0 && now < error_asked_us_ + pause)
        return;
    soon_ = false;
    error_asked_us_ = now;
    error_request_ = vrdx::queue_request(connection, vrdx::describe_request());
}

std::optional<watch_answer> watch_questions::read(const vrdx::incoming_packet& packet) {
    if (packet.request == 0 || packet.kind != vrdx::packet_kind::reply)
        return std::nullopt;
    watch_answer answer;
    const bool refused = is_unknown_command(packet.packet);
    if (vrdx::is_error(packet.packet) && !refused)
        return std::nullopt; // about the connection, not about the question
    if (packet.request == error_request_) {
        error_request_ = 0;
        refused_ = refused;
        answer.has_last_error = !refused;
        if (!refused)
            answer.last_error = last_error_in(packet.packet);
        return answer;
    }
    if (packet.request != record_request_)
        return std::nullopt;
    record_request_ = 0;
    if (refused)
        record_read_ = true;
    else
        read_record_page(packet.packet, &answer);
    return answer;
}

// A page that leads back, or one too many, is the last.
void watch_questions::read_record_page(const comm_socket_v4_packet& page, watch_answer* answer) {
    std::uint64_t next = 0;
    const bool goes_on = vrdx::add_record_page(page, &records_, &next) && next > record_from_ &&
                         ++record_pages_ < record_pages_limit && records_.size() < vrdx::take_records_limit;
    record_from_ = next;
    if (goes_on)
        return;
    record_read_ = true;
    answer->has_records = true;
    answer->records = std::exchange(records_, {});
}

} // namespace gateway
