#include "gateway/routers/router_link.h"

#include "gateway/routers/board_limits.h"
#include "gateway/routers/gathered_news.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace gateway {

namespace {

constexpr std::size_t kept_buffer_bytes = 16384; // what a large picture needed beyond it is given back

std::string doubt_about(vrdx::watch_step step) {
    switch (step) {
    case vrdx::watch_step::gap:
        return "Changes are missing in what the driver tells; its picture is read anew.";
    case vrdx::watch_step::other_epoch:
        return "The driver tells numbers of another start of itself; its picture is read anew.";
    case vrdx::watch_step::malformed:
    case vrdx::watch_step::told:
        break;
    }
    return "The driver tells what cannot be read; its picture is read anew.";
}

} // namespace

router_link::router_link(boost::asio::io_context& loop, std::string name, std::string socket_path,
                         std::uint64_t* versions, std::function<void(router_news)> tell)
    : versions_(versions), tell_(std::move(tell)), pause_us_(first_retry_us), wait_(loop, [this] { move(); }),
      retry_(loop, [this] { connect(); }) {
    shown_.name = std::move(name);
    connection_.path = std::move(socket_path);
}

router_link::~router_link() {
    stop();
}

std::string router_link::refuses_takes() const {
    const bool reachable = shown_.state != router_state::no_driver && shown_.state != router_state::stale;
    return reachable ? "" : shown_.reason;
}

// A connected driver tells its end itself; its socket may be removed before that.
bool router_link::stands_at(const router_place& place) {
    const bool other = place.socket.inode != 0 && place.socket.inode != place_.socket.inode;
    const bool touched = !(place.socket == place_.socket);
    place_ = place;
    if (connection_.fd >= 0 && !other)
        return false;
    if (place.socket.inode == 0) {
        try_again();
    } else if (touched || !retry_.is_set()) {
        pause_us_ = first_retry_us;
        leave();
        connect();
    }
    return other;
}

void router_link::look_at_clock(std::uint64_t now) {
    if (connection_.fd < 0 || silent_)
        return;
    if (now > heard_us_ + vrdx::watch_silence_limit_us) {
        silent_ = true;
        show({router_state::stale, "The driver is there and has said nothing for more than 7 seconds."});
    } else if ((whole_us_ == 0 || gathering_) && now > gathering_us_ + reading_limit_us) {
        doubt("The driver does not come to the end of its picture; it is read anew.");
    }
}

void router_link::ask_figures(figures_question::asker waiting) {
    if (is_picture_true(shown_.state) && figures_.ask(&connection_, std::move(waiting)))
        move();
}

void router_link::stop() {
    retry_.clear();
    leave();
}

void router_link::say_gone() {
    stop();
    router_news news;
    news.gone = true;
    show({router_state::no_driver, "Neither its item nor its socket is there any more."}, std::move(news));
}

// --- the connection ----------------------------------------------------------------------------------------

void router_link::connect() {
    retry_.clear();
    if (vrdx::open_connection(&connection_, std::string(connection_.path)) != 0) {
        could_not_connect();
        return;
    }
    heard_us_ = gathering_us_ = monotonic_us();
    vrdx::queue_request(&connection_, vrdx::watch_request()); // fits: nothing else waits
    show(state_now());
    move();
}

void router_link::could_not_connect() {
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
void router_link::move() {
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
    if (connection_.received.empty() && connection_.received.capacity() > kept_buffer_bytes)
        connection_.received.shrink_to_fit();
    if (!wait_.follow(connection_.fd, vrdx::poll_events(connection_)))
        doubt("The system does not let the gateway wait for what the driver tells.");
}

void router_link::connection_ended() {
    if (connection_.end == vrdx::outcome::rejected) {
        doubt("What answers on the socket " + socket_path() + " is no driver.");
        return;
    }
    leave();
    doubted_ = false;
    show({router_state::no_driver, "The driver has closed the connection."});
    try_again();
}

void router_link::doubt(std::string reason) {
    leave();
    doubted_ = true;
    show({router_state::stale, std::move(reason)});
    try_again();
}

// Without a socket: when there is one.
void router_link::try_again() {
    if (place_.socket.inode == 0) {
        retry_.clear();
        show({router_state::no_driver, "No driver runs: there is no socket " + socket_path() + "."});
        return;
    }
    retry_.set(pause_us_);
    pause_us_ = std::min(pause_us_ * 2, longest_retry_us);
}

void router_link::leave() {
    wait_.forget();
    vrdx::close_connection(&connection_);
    if (whole_us_ != 0 && monotonic_us() > whole_us_ + steady_us)
        pause_us_ = first_retry_us;
    whole_us_ = 0;
    silent_ = false;
    gathering_ = false;
    watch_ = {};
    shown_.figures.reset();
    figures_.end();
}

// --- what it tells -----------------------------------------------------------------------------------------

// False when the connection was given up for it.
bool router_link::read(const vrdx::incoming_packet& packet) {
    heard_us_ = shown_.heard_us = monotonic_us();
    silent_ = false;
    if (figures_.is_answer(packet)) {
        shown_.figures = figures_.answered(packet);
        return true;
    }
    if (packet.kind == vrdx::packet_kind::pushed)
        return read_pushed(packet.packet);
    return begin(packet.packet);
}

bool router_link::begin(const comm_socket_v4_packet& reply) {
    if (vrdx::is_error(reply)) {
        doubt(sentence_with("The driver does not let the gateway watch", vrdx::error_text(reply)));
        return false;
    }
    if (vrdx::begin_watch(&watch_, reply, heard_us_) == vrdx::watch_step::malformed) {
        doubt(doubt_about(vrdx::watch_step::malformed));
        return false;
    }
    gather(true);
    shown_.connections++;
    const vrdx::router_picture& before = shown_.picture;
    if (before.epoch == watch_.picture.epoch && before.last_take < watch_.picture.last_take)
        gathered_.takes_lost = watch_.picture.last_take - before.last_take;
    show(state_now()); // it is no longer silent
    return true;
}

// What is told in many packets is shown once it is whole.
void router_link::gather(bool anew) {
    gathering_ = true;
    gathering_us_ = heard_us_;
    anew_ = anew;
    gathered_ = {};
}

bool router_link::read_pushed(const comm_socket_v4_packet& pushed) {
    if (!gathering_ && watch_.begun && goes_on_in_further_packets(pushed)) {
        watch_.picture = shown_.picture;
        gather(false);
    }
    vrdx::watch_news told;
    if (!gathering_)
        std::swap(watch_.picture, shown_.picture);
    const vrdx::watch_step step = vrdx::add_news(&watch_, pushed, heard_us_, &told);
    if (!gathering_)
        std::swap(watch_.picture, shown_.picture);
    if (step != vrdx::watch_step::told) {
        doubt(doubt_about(step));
        return false;
    }
    router_news news;
    const bool other_picture = is_change(pushed) && add_change(told, &news);
    news.takes = std::move(told.takes);
    news.takes_lost += told.takes_lost;
    show(state_now(), std::move(news), other_picture);
    return true;
}

// True when what is shown has changed with it.
bool router_link::add_change(const vrdx::watch_news& told, router_news* news) {
    add_places(&gathered_.places, told.picture);
    if (!told.complete)
        return false;
    if (gathering_)
        shown_.picture = std::exchange(watch_.picture, {});
    *news = std::exchange(gathered_, {});
    news->whole = (gathering_ && anew_) || news->places.sizes;
    if (gathering_ && anew_) {
        whole_us_ = heard_us_;
        doubted_ = false;
    }
    gathering_ = false;
    return true;
}

state_and_reason router_link::state_now() const {
    if (whole_us_ != 0)
        return state_of(shown_.picture);
    if (doubted_)
        return {shown_.state, shown_.reason};
    return {router_state::reading, "The driver's picture is being read."};
}

void router_link::show(const state_and_reason& now, router_news news, bool other_picture) {
    news.state_changed = now.state != shown_.state || now.reason != shown_.reason;
    news.appeared = !std::exchange(announced_, true);
    const bool changed = news.state_changed || news.appeared || news.gone || other_picture;
    if (!changed && news.takes.empty() && news.takes_lost == 0)
        return;
    shown_.state = now.state;
    shown_.reason = now.reason;
    if (changed)
        shown_.version = ++*versions_;
    news.router = &shown_;
    tell_(std::move(news));
}

} // namespace gateway
