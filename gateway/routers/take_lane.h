// One lane's own connection to one driver: its takes go there, and hold up nobody else's.
//
// A request is handed to the connection only when all before it are written. So what was handed over may have
// been sent, and what still waits here certainly was not. What has waited is looked at once more before that.
//
// The first thing on each connection is the question what its driver knows: takes wait for the answer, since
// only then it is known whether they can be told until when they may be done. A driver that stands still from
// the beginning is handed none.
#pragma once

#include "gateway/routers/descriptor_wait.h"
#include "gateway/routers/lane_request.h"
#include "gateway/routers/loop_timer.h"

#include <deque>
#include <map>
#include <string>

namespace gateway {

class take_lane {
public:
    take_lane(boost::asio::io_context& loop, std::string socket_path);
    // Requests that are open then have no ending: end_all() first.
    ~take_lane();
    take_lane(const take_lane&) = delete;
    take_lane& operator=(const take_lane&) = delete;

    // Sends the request, and ends it once; or ends it as too_many. `done` is called from the loop, later.
    void ask(lane_request request);

    // Ends what is overdue, at `now`.
    void look_at_clock(std::uint64_t now);

    // Closes the connection: what may have been sent ends as unknown, the rest as unavailable. `why` is told
    // in a few words.
    void end_all(const std::string& why);
    // The same, because another driver stands at the path, at a socket with this inode. What was not sent
    // goes to that one; a connection that leads there already stays.
    void driver_exchanged(std::uint64_t socket_inode);

    [[nodiscard]] std::size_t open_requests() const;
    [[nodiscard]] bool is_idle() const;
    // True when nothing was open since then.
    [[nodiscard]] bool is_idle_since(std::uint64_t us) const;
    [[nodiscard]] std::uint64_t used_us() const;

private:
    void turn();
    bool open();
    void hand_over();
    void read_answers();
    void answer(const vrdx::incoming_packet& packet);
    bool turn_away(const vrdx::incoming_packet& packet);
    void connection_ended();
    void end_sent(const std::string& why);
    void end_waiting(const std::string& reason);
    void end(lane_request request, take_ending ending);

    boost::asio::io_context& loop_;
    vrdx::driver_connection connection_;
    std::deque<lane_request> waiting_;           // not handed over
    std::map<std::uint64_t, lane_request> sent_; // handed over, by their numbers on the connection
    std::size_t open_outputs_ = 0;               // of both
    std::uint64_t features_request_ = 0;         // number of the question on the connection; 0: answered
    vrdx::driver_features features_;             // of the driver of the connection
    std::uint64_t socket_inode_ = 0;             // at the path just before the connection was opened
    bool lived_ = false;        // the connection has served something, or waited for something to do
    std::string turned_away_;   // why the driver took no request of this connection
    std::uint64_t used_us_ = 0; // when something was open last
    descriptor_wait wait_;
    loop_timer retry_;
};

} // namespace gateway
