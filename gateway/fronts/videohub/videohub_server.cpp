#include "gateway/fronts/videohub/videohub_server.h"

#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"

#include <array>
#include <utility>

namespace gateway {
namespace {

constexpr auto name_echo = std::chrono::milliseconds(videohub_name_echo_ms);
constexpr auto refusal_pause = std::chrono::milliseconds(videohub_refusal_pause_ms);

} // namespace

videohub_server::videohub_server(boost::asio::io_context& loop, hub_world& world, videohub_settings wish)
    : world_(world), wish_(std::move(wish)), hub_(wish_),
      listener_(std::make_shared<hub_listener>(
          loop, [this](hub_socket socket, const std::string& peer) { enter(std::move(socket), peer); },
          [this](const std::string& line) {
              world_.tell("Videohub server " + address_text(address()) + ": " + line);
          })) {}

std::string videohub_server::begin() {
    hub_.see(world_.routers.find(wish_.router));
    return listener_->begin(wish_.at);
}

void videohub_server::end() {
    listener_->end();
    each_client([](hub_client& client) { client.cut(); });
}

listen_address videohub_server::address() const {
    return {wish_.at.address, listener_->port()};
}

// Whoever is told something may leave.
template<typename action> void videohub_server::each_client(const action& act) {
    const std::vector<std::shared_ptr<hub_client>> all(clients_.begin(), clients_.end());
    for (const auto& client : all)
        act(*client);
}

// Why nobody more is let in from there; "" when there is a place.
std::string videohub_server::refusal(const std::string& peer) const {
    if (!may_connect(wish_, peer))
        return "it is not among its clients";
    if (places_.taken() >= videohub_clients_limit || world_.clients.taken() >= videohub_all_clients_limit)
        return "there are too many clients";
    const std::size_t here = places_.taken_by(peer), everywhere = world_.clients.taken_by(peer);
    if (here >= videohub_clients_per_address_limit)
        return "it has " + std::to_string(here) + " connections here already, and one address gets no more";
    if (everywhere >= videohub_all_clients_per_address_limit)
        return "it has " + std::to_string(everywhere) +
               " connections to all servers already, and one address gets no more";
    return {};
}

void videohub_server::enter(hub_socket socket, const std::string& peer) {
    if (const std::string why = refusal(peer); !why.empty()) {
        const auto now = hub_client::clock::now();
        if (now < quiet_until_)
            return;
        world_.tell("Videohub server " + address_text(address()) + ": " + peer + " is not let in, " + why);
        quiet_until_ = now + refusal_pause;
        return;
    }
    const auto client = std::make_shared<hub_client>(*this, std::move(socket), asker_of(wish_, peer));
    clients_.insert(client);
    places_.take(peer);
    world_.clients.take(peer);
    client->news.begin(hub_);
    client->begin();
}

void videohub_server::client_left(hub_client& client) {
    const auto left = client.shared_from_this(); // lives until it is counted
    if (clients_.erase(left) == 0)
        return;
    places_.give_back(left->asker().address);
    world_.clients.give_back(left->asker().address);
}

// --- what is told ------------------------------------------------------------------------------------------

std::string videohub_server::next_text(hub_client& client) {
    if (client.news.is_empty())
        return {};
    const auto letter = [&](int output) {
        const output_lock* const held = world_.locks.of(wish_.router, hub_.router_output(output));
        return held == nullptr ? 'U' : held->owner_id == client.asker().who.id ? 'O' : 'L';
    };
    return client.news.next(hub_, letter, videohub_written_bytes);
}

void videohub_server::tell(videohub_topic topic, const std::vector<int>& numbers) {
    if (numbers.empty())
        return;
    each_client([&](hub_client& client) {
        for (const int number : numbers)
            client.news.add(topic, number);
        client.wake();
    });
}

void videohub_server::hear(const router_news& news) {
    const hub_news told = hub_.hear(news);
    if (told.anew) {
        awaited_names_.clear();
        each_client([&](hub_client& client) {
            client.news.anew(hub_);
            client.wake();
        });
        return;
    }
    for (const int input : told.input_labels)
        awaited_names_.erase({videohub_topic::input_labels, input});
    for (const int output : told.output_labels)
        awaited_names_.erase({videohub_topic::output_labels, output});
    tell(videohub_topic::input_labels, told.input_labels);
    tell(videohub_topic::output_labels, told.output_labels);
    tell(videohub_topic::routing, told.routing);
}

void videohub_server::lock_changed(int router_output) {
    const int output = hub_.hub_output(router_output);
    if (output >= 0)
        tell(videohub_topic::locks, {output});
}

void videohub_server::look() {
    const auto now = hub_client::clock::now();
    each_client([&](hub_client& client) { client.look(now); });
    for (auto each = awaited_names_.begin(); each != awaited_names_.end();) {
        const auto [topic, number] = each->first;
        const bool is_due = now >= each->second;
        each = is_due ? awaited_names_.erase(each) : std::next(each);
        if (is_due)
            tell(topic, {number});
    }
}

// --- what is asked -----------------------------------------------------------------------------------------

bool videohub_server::do_block(hub_client& client, const videohub_block& block) {
    const videohub_request request = read_videohub_request(block, hub_.size());
    return request.understood && do_request(client, request);
}

bool videohub_server::do_request(hub_client& client, const videohub_request& request) {
    using topic = videohub_topic;
    const bool is_of_server =
        request.topic == topic::ping || request.topic == topic::preamble || request.topic == topic::device;
    if (!is_of_server && !hub_.is_present())
        return false;
    if (request.whole) {
        client.news.add_whole(request.topic, hub_);
        return true;
    }
    switch (request.topic) {
    case topic::routing:
        return take(client, request.takes);
    case topic::input_labels:
    case topic::output_labels:
        return name(client, request.topic, request.labels);
    case topic::locks:
        return lock(client, request.locks);
    default: // take modes: takes are done at once, and that is told
        client.news.add_whole(request.topic, hub_);
        return true;
    }
}

// The last input sent back to where it shows stays as it is: it may stand for a source that is not shown, and
// who restores what he has read must not disconnect that.
bool videohub_server::is_so_already(const hub_client& client, int output, int input) const {
    const std::array<int, 1> sources = {vrdx::source_none};
    return hub_.router_input(input) == vrdx::source_none && hub_.shows_other(output) &&
           take_problem(client.asker().who, wish_.router, hub_.router_output(output), sources).empty();
}

bool videohub_server::take(hub_client& client, const std::map<int, int>& asked) {
    std::map<int, int> takes;
    std::vector<int> as_they_are;
    for (const auto& [output, input] : asked)
        if (is_so_already(client, output, input))
            as_they_are.push_back(output);
        else
            takes.emplace(output, input);
    if (!takes.empty() && !send_takes(client, takes))
        return false;
    for (const int output : as_they_are)
        client.news.add(videohub_topic::routing, output);
    return true;
}

bool videohub_server::send_takes(hub_client& client, const std::map<int, int>& takes) {
    const std::size_t count = takes.size();
    const auto ended = [self = weak_from_this(), asker = client.weak_from_this(),
                        count](const auto& outputs) {
        if (const auto server = self.lock())
            server->tell(videohub_topic::routing, server->hub_.echo(outputs));
        if (const auto still_there = asker.lock())
            still_there->takes_end(count);
    };
    if (!take_as_asked(world_, wish_.router, hub_, client.asker(), takes, ended))
        return false;
    client.takes_begin(count);
    return true;
}

// Programs that write all labels write that of the last input, too: as it is, that is no wish.
bool videohub_server::name(hub_client& client, videohub_topic topic,
                           const std::map<int, std::string>& asked) {
    const int other = hub_.size().inputs - 1;
    std::map<int, std::string> labels = asked;
    const bool names_other = topic == videohub_topic::input_labels &&
                             std::erase_if(labels, [&](const auto& each) {
                                 return each.first == other && each.second == hub_.input_label(other);
                             }) > 0;
    if (!labels.empty() && !send_names(client, topic, labels))
        return false;
    if (names_other)
        client.news.add(topic, other);
    return true;
}

bool videohub_server::send_names(hub_client& client, videohub_topic topic,
                                 const std::map<int, std::string>& labels) {
    const auto sent = [self = weak_from_this(), asker = client.weak_from_this(), topic,
                       labels](bool problem) {
        if (const auto server = self.lock())
            server->names_sent_to_driver(topic, labels, problem);
        if (const auto still_there = asker.lock())
            still_there->takes_end(labels.size());
    };
    const bool outputs = topic == videohub_topic::output_labels;
    if (!name_as_asked(world_, wish_.router, hub_, client.asker(), outputs, labels, sent))
        return false;
    for (const auto& [number, label] : labels)
        awaited_names_[{topic, number}] = hub_client::clock::time_point::max(); // until it is handed on
    client.takes_begin(labels.size());
    return true;
}

// The router tells a new name by itself, perhaps before this; where nothing changes, nothing comes from
// there.
void videohub_server::names_sent_to_driver(videohub_topic topic, const std::map<int, std::string>& labels,
                                           bool problem) {
    const bool outputs = topic == videohub_topic::output_labels;
    std::vector<int> now;
    for (const auto& [number, label] : labels) {
        const auto awaited = awaited_names_.find({topic, number});
        if (awaited == awaited_names_.end())
            continue; // it was told, or was another device's
        const std::string& shown = outputs ? hub_.output_label(number) : hub_.input_label(number);
        if (!problem && shown != label) {
            awaited->second = hub_client::clock::now() + name_echo;
            continue;
        }
        awaited_names_.erase(awaited);
        now.push_back(number);
    }
    tell(topic, now);
}

bool videohub_server::lock(hub_client& client, const std::map<int, videohub_lock_wish>& locks) {
    if (!lock_as_asked(world_, wish_.router, hub_, client.asker(), locks))
        return false;
    for (const auto& [output, wish] : locks)
        client.news.add(videohub_topic::locks, output); // also where nothing has changed
    return true;
}

} // namespace gateway
