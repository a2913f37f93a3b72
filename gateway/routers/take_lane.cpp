#include "gateway/routers/take_lane.h"

#include "gateway/routers/board_limits.h"
#include "gateway/routers/router_places.h"
#include "gateway/routers/router_state.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <utility>
#include <vector>

namespace gateway {

take_lane::take_lane(boost::asio::io_context& loop, std::string socket_path)
    : loop_(loop), used_us_(monotonic_us()), wait_(loop, [this] { turn(); }),
      retry_(loop, [this] { turn(); }) {
    connection_.path = std::move(socket_path);
}

take_lane::~take_lane() {
    wait_.forget();
    vrdx::close_connection(&connection_);
}

std::size_t take_lane::open_requests() const {
    return waiting_.size() + sent_.size();
}

bool take_lane::is_idle() const {
    return waiting_.empty() && sent_.empty();
}

bool take_lane::is_idle_since(std::uint64_t us) const {
    return is_idle() && used_us_ < us;
}

std::uint64_t take_lane::used_us() const {
    return used_us_;
}

void take_lane::ask(lane_request request) {
    const std::size_t requests = open_requests();
    const std::size_t outputs = open_outputs_ + request.outputs.size();
    open_outputs_ = outputs; // end() takes them off again
    used_us_ = monotonic_us();
    if (requests >= lane_requests_limit) {
        end(std::move(request),
            too_many(
                "There are " + std::to_string(requests) +
                " requests to this router without an answer; the next one is possible after one of them."));
        return;
    }
    if (outputs > lane_outputs_limit) {
        end(std::move(request),
            too_many("Takes on more than " + std::to_string(lane_outputs_limit) +
                     " outputs of this router would wait at once; further ones are possible "
                     "when these are answered."));
        return;
    }
    waiting_.push_back(std::move(request));
    if (!retry_.is_set())
        turn();
}

// --- the connection ----------------------------------------------------------------------------------------

// Reads before it writes: so a connection that has ended meanwhile is noticed before anything is lost on it.
void take_lane::turn() {
    for (;;) {
        if (connection_.fd < 0 && (waiting_.empty() || !open()))
            return;
        if (!vrdx::move_bytes(&connection_))
            wait_.forget(); // its number may be another descriptor's soon
        read_answers();
        if (connection_.fd < 0) {
            connection_ended();
            continue;
        }
        const bool busy = connection_.sent < connection_.outgoing.size() || !turned_away_.empty();
        if (waiting_.empty() || busy || features_request_ != 0)
            break;
        hand_over();
    }
    lived_ = features_request_ == 0;
    if (!wait_.follow(connection_.fd, vrdx::poll_events(connection_)))
        end_all("the system does not let the gateway wait for the driver");
}

// False: tried again later, or what waited has ended.
bool take_lane::open() {
    retry_.clear();
    lived_ = false;
    features_ = {};
    turned_away_.clear();
    socket_inode_ = socket_inode_at(connection_.path);
    if (vrdx::open_connection(&connection_, std::string(connection_.path)) == 0) {
        features_request_ =
            vrdx::queue_request(&connection_, vrdx::features_request()); // fits: it is the first
        return true;
    }
    if (connection_.error == EAGAIN)
        retry_.set(vrdx::connect_pause_us); // until the deadlines of what waits
    else
        end_waiting(sentence_with("It was not sent", connection_.problem));
    return false;
}

void take_lane::hand_over() {
    lane_request request = std::move(waiting_.front());
    waiting_.pop_front();
    const std::size_t outputs_before = request.outputs.size();
    const bool is_wanted = write_packet(&request, features_);
    open_outputs_ -= outputs_before - request.outputs.size();
    if (!is_wanted) {
        take_ending ending = nothing_left(request);
        end(std::move(request), std::move(ending));
        return;
    }
    const std::uint64_t number = vrdx::queue_request(&connection_, request.packet);
    if (number == 0)
        end(std::move(request), unavailable(sentence_with("It was not sent", connection_.problem)));
    else
        sent_.emplace(number, std::move(request));
}

void take_lane::read_answers() {
    vrdx::incoming_packet packet;
    while (vrdx::next_packet(&connection_, &packet))
        if (packet.kind != vrdx::packet_kind::pushed)
            answer(packet);
    if (connection_.fd < 0)
        wait_.forget();
}

// A driver without a place says so and closes; it has read nothing then.
bool take_lane::turn_away(const vrdx::incoming_packet& packet) {
    const std::string text = vrdx::is_error(packet.packet) ? vrdx::error_text(packet.packet) : "";
    if (!text.starts_with("too many clients"))
        return false;
    turned_away_ = sentence_with("The driver has no place for a further connection", text);
    for (auto& [number, request] : std::exchange(sent_, {}))
        end(std::move(request), unavailable(turned_away_));
    return true;
}

void take_lane::answer(const vrdx::incoming_packet& packet) {
    if (turn_away(packet))
        return;
    if (features_request_ != 0 && packet.request == features_request_) {
        features_request_ = 0;
        features_ = vrdx::features_in(packet.packet);
        return;
    }
    const auto found = sent_.find(packet.request);
    if (found == sent_.end())
        return; // its asker was told already that nobody knows
    lane_request request = std::move(found->second);
    sent_.erase(found);
    take_ending ending = answered(request, packet.packet);
    end(std::move(request), std::move(ending));
}

// What waits on a connection that ended before it was used may go to the driver that comes; once.
void take_lane::connection_ended() {
    end_sent("the connection to the driver broke");
    if (!turned_away_.empty())
        end_waiting(turned_away_);
    else if (!lived_)
        end_waiting("It was not sent: the driver closed the connection.");
    lived_ = false;
    vrdx::close_connection(&connection_);
}

// A new driver may have been reached before its socket was noticed.
void take_lane::driver_exchanged(std::uint64_t socket_inode) {
    if (connection_.fd >= 0 && socket_inode_ == socket_inode)
        return;
    wait_.forget();
    vrdx::close_connection(&connection_);
    end_sent("another driver has taken the router over");
    turn();
}

// --- endings -----------------------------------------------------------------------------------------------

void take_lane::look_at_clock(std::uint64_t now) {
    std::vector<std::uint64_t> overdue;
    for (const auto& [number, request] : sent_)
        if (now > request.deadline)
            overdue.push_back(number);
    for (const std::uint64_t number : overdue) {
        auto late = sent_.extract(number);
        take_ending ending = unknown(late.mapped(), "the driver has not answered in time");
        end(std::move(late.mapped()), std::move(ending));
    }
    std::deque<lane_request> kept;
    for (lane_request& each : std::exchange(waiting_, {}))
        if (now > each.deadline)
            end(std::move(each), unavailable("It was not sent: the driver did not take it in time."));
        else
            kept.push_back(std::move(each));
    waiting_ = std::move(kept);
}

void take_lane::end_all(const std::string& why) {
    retry_.clear();
    wait_.forget();
    vrdx::close_connection(&connection_);
    end_sent(why);
    end_waiting(sentence_with("It was not sent", why));
}

void take_lane::end_sent(const std::string& why) {
    for (auto& [number, request] : std::exchange(sent_, {})) {
        take_ending ending = unknown(request, why);
        end(std::move(request), std::move(ending));
    }
}

void take_lane::end_waiting(const std::string& reason) {
    for (lane_request& each : std::exchange(waiting_, {}))
        end(std::move(each), unavailable(reason));
}

// From the loop and not from here: whoever is told may ask for the next thing at once.
void take_lane::end(lane_request request, take_ending ending) {
    open_outputs_ -= request.outputs.size();
    used_us_ = monotonic_us();
    boost::asio::post(loop_, [done = std::move(request.done), told = std::move(ending)]() mutable {
        done(std::move(told));
    });
}

} // namespace gateway
