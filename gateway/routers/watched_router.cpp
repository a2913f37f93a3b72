#include "gateway/routers/watched_router.h"

#include "gateway/routers/board_limits.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace gateway {

namespace {

constexpr std::size_t kept_buffer_bytes = 16384; // what a large picture needed beyond it is given back

} // namespace

watched_router::watched_router(boost::asio::io_context& loop, std::string name, std::string socket_path,
                               std::uint64_t* versions, std::function<void(router_news)> tell)
    : versions_(versions), tell_(std::move(tell)), pause_us_(first_retry_us), wait_(loop, [this] { move(); }),
      retry_(loop, [this] { connect(); }) {
    shown_.name = std::move(name);
    connection_.path = std::move(socket_path);
}

watched_router::~watched_router() {
    stop();
}

std::string watched_router::refuses_takes() const {
    const bool reachable = shown_.state != router_state::no_driver && shown_.state != router_state::stale;
    return reachable ? "" : shown_.reason;
}

// A connected driver tells its end itself; its socket may be removed before that. A new one may have been
// reached before its socket was noticed.
bool watched_router::stands_at(const router_place& place) {
    const bool other = place.socket.inode != 0 && place.socket.inode != place_.socket.inode;
    const bool touched = !(place.socket == place_.socket);
    place_ = place;
    if (connection_.fd >= 0 && (!other || place.socket.inode == socket_inode_))
        return other;
    if (place.socket.inode == 0) {
        try_again();
    } else if (touched || !retry_.is_set()) {
        pause_us_ = first_retry_us;
        leave();
        connect();
    }
    return other;
}

void watched_router::look_at_clock(std::uint64_t now) {
    if (connection_.fd < 0 || silent_)
        return;
    if (now > heard_us_ + vrdx::watch_silence_limit_us) {
        silent_ = true;
        show({router_state::stale, "The driver is there and has said nothing for more than 7 seconds."});
    } else if ((whole_us_ == 0 || gathering_) && now > gathering_us_ + reading_limit_us) {
        doubt("The driver does not come to the end of its picture; it is read anew.");
    } else {
        move(); // asks what is due
    }
}

void watched_router::ask_figures(figures_question::asker waiting) {
    if (is_picture_true(shown_.state) && figures_.ask(&connection_, std::move(waiting)))
        move();
}

void watched_router::stop() {
    retry_.clear();
    leave();
}

void watched_router::say_gone() {
    stop();
    router_news news;
    news.gone = true;
    show({router_state::no_driver, "Neither its item nor its socket is there any more."}, std::move(news));
}

// --- the connection ----------------------------------------------------------------------------------------

void watched_router::connect() {
    retry_.clear();
    socket_inode_ = socket_inode_at(connection_.path);
    if (vrdx::open_connection(&connection_, std::string(connection_.path)) != 0) {
        could_not_connect();
        return;
    }
    heard_us_ = gathering_us_ = monotonic_us();
    vrdx::queue_request(&connection_, vrdx::watch_request()); // fits: nothing else waits
    show(state_now());
    move();
}

void watched_router::could_not_connect() {
    doubted_ = false;
    if (connection_.error == EAGAIN)
        show({router_state::stale, "The driver is busy: too many clients wait to be connected."});
    else if (connection_.error == ECONNREFUSED)
        show({router_state::no_driver, "No driver runs: nobody serves the socket " + socket_path() + "."});
    else
        show({router_state::no_driver,
              sentence_with("Cannot connect to " + socket_path(), std::strerror(connection_.error))});
    try_again();
}

// Once the connection has ended its descriptor's number may be another's, so that nobody waits for it then.
void watched_router::move() {
    if (!vrdx::move_bytes(&connection_))
        wait_.forget();
    vrdx::incoming_packet packet;
    while (vrdx::next_packet(&connection_, &packet))
        if (!read(packet))
            return;
    if (connection_.fd < 0) {
        connection_ended();
        return;
    }
    ask_further();
    if (connection_.received.empty() && connection_.received.capacity() > kept_buffer_bytes)
        connection_.received.shrink_to_fit();
    if (!wait_.follow(connection_.fd, vrdx::poll_events(connection_)))
        doubt("The system does not let the gateway wait for what the driver tells.");
}

// Written when there is room for it.
void watched_router::ask_further() {
    if (whole_us_ != 0 && !gathering_)
        questions_.ask(&connection_, monotonic_us());
}

void watched_router::connection_ended() {
    if (connection_.end == vrdx::outcome::rejected) {
        doubt("What answers on the socket " + socket_path() + " is no driver.");
        return;
    }
    leave();
    doubted_ = false;
    show({router_state::no_driver, "The driver has closed the connection."});
    try_again();
}

void watched_router::doubt(std::string reason) {
    leave();
    doubted_ = true;
    show({router_state::stale, std::move(reason)});
    try_again();
}

// Without a socket: when there is one.
void watched_router::try_again() {
    if (place_.socket.inode == 0) {
        retry_.clear();
        show({router_state::no_driver, "No driver runs: there is no socket " + socket_path() + "."});
        return;
    }
    retry_.set(pause_us_);
    pause_us_ = std::min(pause_us_ * 2, longest_retry_us);
}

void watched_router::leave() {
    wait_.forget();
    vrdx::close_connection(&connection_);
    if (whole_us_ != 0 && monotonic_us() > whole_us_ + steady_us)
        pause_us_ = first_retry_us;
    whole_us_ = 0;
    silent_ = false;
    gathering_ = false;
    watch_ = {};
    questions_.connection_ended();
    shown_.figures.reset();
    figures_.end();
}

} // namespace gateway
