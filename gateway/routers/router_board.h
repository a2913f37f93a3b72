// The routers of this host: what the drivers tell of them, and takes on them. Beside them those of other
// sites, when somebody has joined them.
//
// A router is an item NAME.item of the items directory, a socket NAME.sock of the run directory, or both.
// Everything here belongs to the thread that runs the loop, and nothing waits.
#pragma once

#include "gateway/routers/shown_router.h"
#include "gateway/routers/take_ending.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace gateway {

class other_routers;

class router_board {
public:
    // Both directories without a trailing slash; neither has to exist yet. `loop` outlives the board.
    router_board(boost::asio::io_context& loop, std::string items_directory, std::string run_directory);
    // What is open then has no ending; stop() first gives each its own.
    ~router_board();
    router_board(const router_board&) = delete;
    router_board& operator=(const router_board&) = delete;

    // Reads both directories and connects to the drivers; from then on what comes and goes is noticed.
    void start();
    // Closes all connections and ends all takes: those that may have been sent as unknown, others as
    // unavailable. Routers stay as they were shown last; takes are unavailable from then on.
    void stop();

    // From now on these are found and listed as well, and takes reach them; a router of this host goes before
    // one of the same name. Null: no longer. They outlive the board, or leave it.
    void join(other_routers* others);
    // Tells the listeners of one of them. Its version is one of next_version(), when anything of it changed.
    void tell(const router_news& news);
    [[nodiscard]] std::uint64_t next_version();

    // Null: there is no such router. Valid until the router is told to be gone.
    [[nodiscard]] const shown_router* find(std::string_view name) const;
    // All of them, by name.
    [[nodiscard]] std::vector<const shown_router*> all() const;
    // True when no router is `reading` any more, as far as is known; false before start().
    [[nodiscard]] bool is_settled() const;
    // How many further routers there are that are not shown because of routers_limit.
    [[nodiscard]] std::size_t routers_beyond_limit() const;
    // What is wrong with the directories, in one line; "" when nothing is. Which routers there are may be
    // incomplete while something is.
    [[nodiscard]] std::string directory_problem() const;

    // From now on each change is told to `listener`; a number for stop_listening(), from 1. A listener may
    // call anything of this class except start(), stop() and the destructor.
    int listen(std::function<void(const router_news&)> listener);
    void stop_listening(int number);

    // `lane`: one per token. Each lane has its own connection to each driver and its own limit, and holds up
    // no other. `done` is called exactly once, from the loop, never before this returns. The order's id may
    // be anything or nothing: the board gives it one of its own towards the driver, and the answer has the
    // order's.
    //
    // A take that may have been sent when its connection broke, or that its driver does not answer within
    // `within_ms` and a moment, is answered with the word unknown for each output. Nothing is ever sent
    // again.
    //
    // `all_or_nothing` is for routers of other sites alone, whose locks are looked at there. `look`, when
    // there is one, is for those of this host: it is called from the loop, at most once, before anything is
    // sent.
    void take(std::string_view router, const std::string& lane, vrdx::take_order order, take_done done,
              bool all_or_nothing = false, last_look look = {});

    // Sets the name of an output or input, `number` from 1. Answered without `error`: the driver has handed
    // it to its backend, which decides; the picture tells when it has. One that may have been sent and was
    // not answered is answered with `error` saying so.
    void rename(std::string_view router, const std::string& lane, bool output, int number,
                const std::string& name, take_done done);
    // The same for several names, in one request: when one of them is wrong, none is sent. A router of
    // another site takes one name at a time; several are refused.
    void rename_all(std::string_view router, const std::string& lane, const std::vector<new_name>& names,
                    take_done done);

    // Asks the drivers of all routers of this host whose picture is true for their figures. `done` is called
    // once, from the loop and not before this returns: when each of them has answered, or its connection
    // ended. One that is silent may be waited for until it is shown as stale, so whoever waits sets an end of
    // its own.
    void ask_figures(std::function<void()> done);

    // Requests of all lanes that have no ending yet.
    [[nodiscard]] std::size_t open_requests() const;

    // Closes the lane's connections; its takes end as after a connection that broke.
    void drop_lane(const std::string& lane);

private:
    class parts;
    std::unique_ptr<parts> parts_;
};

} // namespace gateway
