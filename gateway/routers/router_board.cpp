#include "gateway/routers/router_board.h"

#include "gateway/routers/board_limits.h"
#include "gateway/routers/directories_watch.h"
#include "gateway/routers/lane_table.h"
#include "gateway/routers/other_routers.h"
#include "gateway/routers/watched_router.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <map>
#include <utility>

namespace gateway {

namespace {

// A tick that comes so late says that this program stood still, not the drivers.
constexpr std::uint64_t late_tick_us = 4 * tick_us;

// Where nobody can say which sockets there are, each item may have its own.
constexpr socket_identity perhaps_a_socket{1, 0};

std::string number_problem(const shown_router& router, bool output, int number) {
    const std::size_t count = output ? router.picture.outputs.size() : router.picture.inputs.size();
    if (number >= 1 && static_cast<std::size_t>(number) <= count)
        return {};
    const std::string what = output ? "output " : "input ";
    return "There is no " + what + std::to_string(number) + "; " + router.name + " has " + what + "1 to " +
           std::to_string(count) + ".";
}

} // namespace

class router_board::parts {
public:
    parts(boost::asio::io_context& loop, std::string items_directory, std::string run_directory)
        : loop_(loop), items_directory_(std::move(items_directory)), run_directory_(std::move(run_directory)),
          lanes_(loop),
          directories_(loop, {items_directory_, run_directory_}, [this] { read_directories(); }),
          clock_(loop, [this] { tick(); }) {}

    void start() {
        runs_ = true;
        ticked_us_ = monotonic_us();
        clock_.set(tick_us);
        directories_.start();
    }

    void stop() {
        runs_ = false;
        directories_.stop();
        clock_.clear();
        for (const auto& [name, watched] : watched_)
            watched->stop();
        lanes_.drop_all("the gateway ends");
    }

    void read_directories();
    void tick();
    void tell(const router_news& news);
    void take(const watched_router* watched, const std::string& lane, vrdx::take_order order, take_done done,
              last_look look);
    void rename(const watched_router* watched, const std::string& lane, const std::vector<new_name>& names,
                take_done done);
    void send(const watched_router& watched, const std::string& lane, lane_request request);
    void end(take_done done, take_ending ending);

    [[nodiscard]] const watched_router* watched(std::string_view name) const {
        const auto found = watched_.find(name);
        return found == watched_.end() ? nullptr : found->second.get();
    }

    [[nodiscard]] bool is_other(std::string_view name) const {
        return others_ != nullptr && watched(name) == nullptr && others_->find(name) != nullptr;
    }

    // Why nothing can be sent to it; "" when it can.
    [[nodiscard]] std::string refusal(const watched_router* watched) const {
        if (!runs_)
            return "The gateway does not serve routers now.";
        return watched == nullptr ? "There is no such router." : watched->refuses_takes();
    }

    boost::asio::io_context& loop_;
    std::string items_directory_;
    std::string run_directory_;
    std::map<std::string, std::unique_ptr<watched_router>, std::less<>> watched_;
    lane_table lanes_;
    directories_watch directories_;
    loop_timer clock_;
    std::map<int, std::shared_ptr<std::function<void(const router_news&)>>> listeners_;
    other_routers* others_ = nullptr;  // of other sites
    std::string problem_;              // of the directories
    std::size_t beyond_limit_ = 0;     // routers that are not shown
    std::uint64_t newest_version_ = 0; // of all routers
    std::uint64_t newest_id_ = 0;      // of the orders
    std::uint64_t ticked_us_ = 0;
    int newest_listener_ = 0;
    bool runs_ = false;
};

// --- which routers there are -------------------------------------------------------------------------------

// Those that are shown stay; of new ones the first by name, up to the limit.
void router_board::parts::read_directories() {
    places_reading reading = read_places(items_directory_, run_directory_);
    for (const auto& [name, watched] : watched_) {
        if (!reading.items_known && watched->place().has_item)
            reading.places[name].has_item = true;
        if (!reading.sockets_known)
            reading.places[name].socket = watched->place().socket;
    }
    if (!reading.sockets_known)
        for (auto& [name, place] : reading.places)
            if (place.socket.inode == 0)
                place.socket = perhaps_a_socket;
    problem_ = std::move(reading.problem);
    for (auto each = watched_.begin(); each != watched_.end();) {
        const auto next = std::next(each);
        if (reading.places.count(each->first) == 0) {
            const auto gone = watched_.extract(each); // found by nobody while it is told
            gone.mapped()->say_gone();
        }
        each = next;
    }
    beyond_limit_ = 0;
    for (const auto& [name, place] : reading.places) {
        auto found = watched_.find(name);
        if (found == watched_.end()) {
            if (watched_.size() >= routers_limit) {
                ++beyond_limit_;
                continue;
            }
            found = watched_
                        .emplace(name, std::make_unique<watched_router>(
                                           loop_, name, run_directory_ + '/' + name + ".sock",
                                           &newest_version_, [this](const router_news& news) { tell(news); }))
                        .first;
        }
        if (found->second->stands_at(place))
            lanes_.driver_exchanged(name, place.socket.inode);
    }
}

void router_board::parts::tick() {
    clock_.set(tick_us);
    const std::uint64_t now = monotonic_us();
    const bool stood_still = now > ticked_us_ + late_tick_us;
    ticked_us_ = now;
    if (stood_still)
        return;
    for (const auto& [name, watched] : watched_)
        watched->look_at_clock(now);
    lanes_.look_at_clock(now);
}

// A listener may stop itself and others, and begin new ones, which are told from the next news on.
void router_board::parts::tell(const router_news& news) {
    const int newest = newest_listener_;
    for (auto each = listeners_.begin(); each != listeners_.end() && each->first <= newest;) {
        const int number = each->first;
        const auto listener = each->second; // lives during its own call
        (*listener)(news);
        each = listeners_.upper_bound(number);
    }
}

// --- takes -------------------------------------------------------------------------------------------------

void router_board::parts::end(take_done done, take_ending ending) {
    boost::asio::post(
        loop_, [called = std::move(done), told = std::move(ending)]() mutable { called(std::move(told)); });
}

void router_board::parts::take(const watched_router* watched, const std::string& lane, vrdx::take_order order,
                               take_done done, last_look look) {
    const std::string id = std::exchange(order.id, std::to_string(++newest_id_));
    const std::string problem = vrdx::order_problem(order);
    const std::string refused = refusal(watched);
    if (!problem.empty()) {
        end(std::move(done), wrong(problem));
    } else if (!refused.empty()) {
        end(std::move(done), unavailable(refused));
    } else {
        lane_request request = take_lane_request(std::move(order), std::move(done));
        request.id = id;
        request.look = std::move(look);
        send(*watched, lane, std::move(request));
    }
}

void router_board::parts::rename(const watched_router* watched, const std::string& lane,
                                 const std::vector<new_name>& names, take_done done) {
    const std::string refused = refusal(watched);
    if (!refused.empty()) {
        end(std::move(done), unavailable(refused));
        return;
    }
    std::string problem;
    for (const new_name& each : names) {
        if (problem.empty())
            problem = number_problem(watched->shown(), each.output, each.number);
        if (problem.empty() &&
            (each.name.size() > vrdx::picture_name_limit || each.name.find('\0') != std::string::npos))
            problem = "A name has at most " + std::to_string(vrdx::picture_name_limit) +
                      " bytes, none of them zero.";
    }
    if (problem.empty())
        send(*watched, lane, rename_lane_request(names, std::move(done)));
    else
        end(std::move(done), wrong(problem));
}

void router_board::parts::send(const watched_router& watched, const std::string& lane, lane_request request) {
    take_lane* way = lanes_.way(watched.shown().name, lane, watched.socket_path());
    if (way != nullptr)
        way->ask(std::move(request));
    else
        end(std::move(request.done),
            too_many("Requests to so many routers wait for an answer that no further one can be asked; try "
                     "again when some are answered."));
}

// --- what others call --------------------------------------------------------------------------------------

router_board::router_board(boost::asio::io_context& loop, std::string items_directory,
                           std::string run_directory)
    : parts_(std::make_unique<parts>(loop, std::move(items_directory), std::move(run_directory))) {}

router_board::~router_board() = default;

void router_board::start() {
    parts_->start();
}

void router_board::stop() {
    parts_->stop();
}

const shown_router* router_board::find(std::string_view name) const {
    if (const watched_router* watched = parts_->watched(name))
        return &watched->shown();
    return parts_->others_ == nullptr ? nullptr : parts_->others_->find(name);
}

std::vector<const shown_router*> router_board::all() const {
    std::vector<const shown_router*> routers;
    for (const auto& [name, watched] : parts_->watched_)
        routers.push_back(&watched->shown());
    if (parts_->others_ != nullptr) {
        for (const shown_router* other : parts_->others_->all())
            if (parts_->watched(other->name) == nullptr)
                routers.push_back(other);
        std::sort(routers.begin(), routers.end(),
                  [](const auto* one, const auto* two) { return one->name < two->name; });
    }
    return routers;
}

bool router_board::is_settled() const {
    return parts_->runs_ &&
           std::none_of(parts_->watched_.begin(), parts_->watched_.end(),
                        [](const auto& each) { return each.second->shown().state == router_state::reading; });
}

std::size_t router_board::routers_beyond_limit() const {
    return parts_->beyond_limit_;
}

std::string router_board::directory_problem() const {
    return parts_->problem_;
}

int router_board::listen(std::function<void(const router_news&)> listener) {
    const int number = ++parts_->newest_listener_;
    parts_->listeners_[number] =
        std::make_shared<std::function<void(const router_news&)>>(std::move(listener));
    return number;
}

void router_board::stop_listening(int number) {
    parts_->listeners_.erase(number);
}

void router_board::join(other_routers* others) {
    parts_->others_ = others;
}

void router_board::tell(const router_news& news) {
    if (parts_->watched(news.router->name) == nullptr)
        parts_->tell(news);
}

std::uint64_t router_board::next_version() {
    return ++parts_->newest_version_;
}

void router_board::take(std::string_view router, const std::string& lane, vrdx::take_order order,
                        take_done done, bool all_or_nothing, last_look look) {
    if (parts_->is_other(router))
        parts_->others_->take(router, lane, std::move(order), all_or_nothing, std::move(done));
    else
        parts_->take(parts_->watched(router), lane, std::move(order), std::move(done), std::move(look));
}

void router_board::rename(std::string_view router, const std::string& lane, bool output, int number,
                          const std::string& name, take_done done) {
    rename_all(router, lane, {{output, number, name}}, std::move(done));
}

void router_board::rename_all(std::string_view router, const std::string& lane,
                              const std::vector<new_name>& names, take_done done) {
    if (!parts_->is_other(router))
        parts_->rename(parts_->watched(router), lane, names, std::move(done));
    else if (names.size() == 1)
        parts_->others_->rename(router, lane, names[0].output, names[0].number, names[0].name,
                                std::move(done));
    else
        parts_->end(std::move(done), wrong("Names of another site's router are set one at a time."));
}

// Each router holds a share of `all`; the last one that lets go of its own ends the question.
void router_board::ask_figures(std::function<void()> done) {
    boost::asio::io_context& loop = parts_->loop_;
    const std::shared_ptr<void> all(
        nullptr, [&loop, called = std::move(done)](void*) { boost::asio::post(loop, called); });
    for (const auto& [name, watched] : parts_->watched_)
        watched->ask_figures(all);
}

std::size_t router_board::open_requests() const {
    return parts_->lanes_.open_requests();
}

void router_board::drop_lane(const std::string& lane) {
    parts_->lanes_.drop_lane(lane, "who asked may not any more");
    if (parts_->others_ != nullptr)
        parts_->others_->drop_lane(lane);
}

} // namespace gateway
