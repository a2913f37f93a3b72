#include "sites.h"

#include "gateway/routers/lane_request.h"
#include "site_limits.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace gateway {
std::vector<heard_subject> subjects_of(const site_settings& settings, const std::string& run) {
    std::vector<heard_subject> subjects = {{inbox_of(settings.site, run) + '*'},
                                           {router_subject(settings.site, "*", "get"), pages_per_turn}};
    for (const peer_site& peer : settings.peers) {
        subjects.push_back({alive_subject(peer.site)});
        subjects.push_back({router_subject(peer.site, "*", "evt")});
        subjects.push_back({router_subject(settings.site, "*", "take", peer.site)});
        subjects.push_back({router_subject(settings.site, "*", "name", peer.site)});
    }
    return subjects;
}

sites::sites(message_way& way, const site_settings& settings, const std::string& run, sites_around around)
    : way_(way), settings_(settings), around_(std::move(around)),
      requests_(way, inbox_of(settings.site, run)), far_{requests_,
                                                         [this](const router_news& news) {
                                                             around_.routers.tell(news);
                                                         },
                                                         [this] { return around_.routers.next_version(); },
                                                         around_.lock_changed, around_.now_ms},
      asked_(around_.loop, far_, settings.site),
      told_(way, around_.routers, around_.locks, settings.site, run),
      answered_(way, around_.routers, around_.desk, around_.history, settings, run),
      beat_(around_.loop, alive_period_ms, [this] { told_.beat(); }),
      look_(around_.loop, site_look_period_ms, [this] { look_at_clock(); }) {
    for (const peer_site& peer : settings.peers)
        peers_[peer.site] = std::make_unique<far_site>(far_, peer.site);
    around_.routers.join(this);
    listener_ = around_.routers.listen([this](const router_news& news) { told_.hear(news); });
}

sites::~sites() {
    around_.routers.stop_listening(listener_);
    around_.routers.join(nullptr);
}

void sites::start() {
    beat_.begin();
    look_.begin();
}

void sites::stop() {
    beat_.end();
    look_.end();
    requests_.lose_all();
}

void sites::connected(bool is) {
    if (is)
        told_.beat(); // so that nobody waits for the next one
    else
        requests_.lose_all();
}

void sites::look_at_clock() {
    requests_.look_at_clock(around_.now_ms());
    for (const auto& [name, site] : peers_)
        site->look_at_clock();
}

// The broker lets an answer through to wherever it was asked to go: into the histories, or to its own
// service. So only what a gateway listens to for answers gets one.
void sites::hear(const site_message& message) {
    if (requests_.hear(message))
        return;
    for (const auto& [name, site] : peers_)
        if (message.subject == alive_subject(name)) {
            if (const std::string line = site->hear_alive(message.data); !line.empty())
                around_.print(line);
            return;
        }
    const auto address = router_address_of(message.subject);
    if (!address)
        return;
    const auto from = peers_.find(address->what == "evt" ? address->site : address->from);
    if (address->what == "get") {
        if (is_inbox(message.reply))
            told_.answer(address->router, message);
    } else if (from == peers_.end())
        return;
    else if (address->what == "evt")
        from->second->hear_change(address->router, message.data);
    else if (!is_in_inbox_of(message.reply, address->from))
        return;
    else if (address->what == "take")
        answered_.take(*address, message);
    else
        answered_.rename(*address, message);
}

// --- what the board asks -----------------------------------------------------------------------------------

std::optional<sites::far_name_parts> sites::parts_of(std::string_view name) const {
    const auto colon = name.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const auto site = peers_.find(name.substr(0, colon));
    if (site == peers_.end())
        return std::nullopt;
    return far_name_parts{site->second.get(), std::string(name.substr(colon + 1))};
}

const shown_router* sites::find(std::string_view name) const {
    const auto parts = parts_of(name);
    const far_router* router = parts ? parts->site->find(parts->router) : nullptr;
    return router == nullptr ? nullptr : &router->shown();
}

const output_locks* sites::locks_of(std::string_view name) const {
    const auto parts = parts_of(name);
    const far_router* router = parts ? parts->site->find(parts->router) : nullptr;
    return router == nullptr || router->locks().empty() ? nullptr : &router->locks();
}

std::vector<const shown_router*> sites::all() const {
    std::vector<const shown_router*> routers;
    for (const auto& [name, site] : peers_)
        site->add_to(&routers);
    return routers;
}

void sites::take(std::string_view router, const std::string& lane, vrdx::take_order order,
                 bool all_or_nothing, take_done done) {
    if (const auto parts = parts_of(router))
        asked_.take(*parts->site, parts->router, lane, order, all_or_nothing, std::move(done));
}

void sites::rename(std::string_view router, const std::string& lane, bool output, int number,
                   const std::string& name, take_done done) {
    name_ask wish;
    wish.output = output;
    wish.number = number;
    wish.name = name;
    if (const auto parts = parts_of(router))
        asked_.rename(*parts->site, parts->router, lane, wish, std::move(done));
}

void sites::drop_lane(const std::string& lane) {
    asked_.drop_lane(lane);
}

} // namespace gateway
