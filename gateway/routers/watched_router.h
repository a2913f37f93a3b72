// The watch connection to one driver: keeps what is shown of its router.
//
// clang-format off
//  what happens                  | shown then
//  ------------------------------|---------------------------------------------------------------------------
//  no socket, nobody serves it   | no driver; tried again when a new socket appears, else after a growing pause
//  connected                     | reading; `stale` stays until the picture is whole
//  the picture is whole          | up, link down, no backend: what it says
//  a change of it                | the same, with the new picture; one in many packets once it is whole
//  silence                       | stale; the connection stays, and what comes then makes it true again
//  a packet that does not fit    | stale; the connection is closed, all is read anew after a growing pause
//  the connection ends           | no driver; tried again at once, then after a growing pause
// clang-format on
#pragma once

#include "gateway/routers/descriptor_wait.h"
#include "gateway/routers/loop_timer.h"
#include "gateway/routers/router_places.h"
#include "gateway/routers/shown_router.h"
#include "gateway/routers/watch_questions.h"

#include <functional>
#include <string>

namespace gateway {

class watched_router {
public:
    // Each change is told to `tell`, with the version set; `*versions` is the newest version of all routers.
    watched_router(boost::asio::io_context& loop, std::string name, std::string socket_path,
                   std::uint64_t* versions, std::function<void(router_news)> tell);
    ~watched_router();
    watched_router(const watched_router&) = delete;
    watched_router& operator=(const watched_router&) = delete;

    [[nodiscard]] const shown_router& shown() const {
        return shown_;
    }
    [[nodiscard]] const std::string& socket_path() const {
        return connection_.path;
    }
    [[nodiscard]] const router_place& place() const {
        return place_;
    }
    // Why takes cannot be sent now, in one sentence; "" when they can.
    [[nodiscard]] std::string refuses_takes() const;

    // What the directories have of it now. True when another driver than before stands at the socket's path.
    bool stands_at(const router_place& place);
    // Looks for silence, at `now`.
    void look_at_clock(std::uint64_t now);
    // Asks for `figures` when the picture is true. `waiting` is released when they are there, or never
    // will be.
    void ask_figures(figures_question::asker waiting);
    // Closes the connection and goes on no more.
    void stop();
    // Neither item nor socket is left: tells so.
    void say_gone();

private:
    void connect();
    void move();
    bool read(const vrdx::incoming_packet& packet);
    bool begin(const comm_socket_v4_packet& reply);
    bool read_pushed(const comm_socket_v4_packet& pushed);
    void read_answer(const watch_answer& answer);
    void ask_further();
    void gather(bool anew);
    bool add_change(const vrdx::watch_news& told, router_news* news);
    void could_not_connect();
    void connection_ended();
    void doubt(std::string reason);
    void try_again();
    void leave();
    [[nodiscard]] state_and_reason state_now() const;
    void show(const state_and_reason& now, router_news news = {}, bool other_picture = false);

    shown_router shown_;
    router_place place_;
    std::uint64_t* versions_;
    std::function<void(router_news)> tell_;
    bool announced_ = false; // its first news was told

    vrdx::driver_connection connection_;
    std::uint64_t socket_inode_ = 0; // at the path just before it was opened
    // Its picture is being filled while `gathering_`; else it is in shown_.
    vrdx::router_watch watch_;
    bool gathering_ = false;
    bool anew_ = false; // what is gathered is the whole picture, not a change in many packets
    router_news gathered_;
    std::uint64_t gathering_us_ = 0; // when that began
    figures_question figures_;

    watch_questions questions_;
    bool doubted_ = false; // what it told did not fit; trusted again when the picture is whole
    bool silent_ = false;
    std::uint64_t heard_us_ = 0; // when something came last
    std::uint64_t whole_us_ = 0; // when the picture of this connection became whole; 0: not yet
    std::uint64_t pause_us_;     // before the next attempt
    descriptor_wait wait_;
    loop_timer retry_;
};

} // namespace gateway
