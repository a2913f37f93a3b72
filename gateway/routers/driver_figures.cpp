#include "gateway/routers/driver_figures.h"

#include <utility>

namespace gateway {

bool figures_question::ask(vrdx::driver_connection* connection, asker waiting) {
    if (request_ == 0)
        request_ = vrdx::queue_request(connection, vrdx::describe_request());
    if (request_ == 0)
        return false;
    waiting_.push_back(std::move(waiting));
    return true;
}

bool figures_question::is_answer(const vrdx::incoming_packet& packet) const {
    return request_ != 0 && packet.kind == vrdx::packet_kind::reply && packet.request == request_;
}

// All figures stand on the first page.
std::optional<driver_figures> figures_question::answered(const vrdx::incoming_packet& packet) {
    end();
    vrdx::router_picture page;
    std::string next;
    if (vrdx::is_error(packet.packet) || !vrdx::add_page(&page, packet.packet, &next))
        return std::nullopt;
    return driver_figures{page.clients, page.rolled_back.since_start, page.backend_starts.since_start,
                          page.uptime_ms};
}

void figures_question::end() {
    request_ = 0;
    const std::vector<asker> told = std::exchange(waiting_, {});
}

} // namespace gateway
