// Random clients, batches, moves and departures against a plain list of what was asked for.
#include "waiting_clients.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace {

constexpr std::size_t most_clients = 12;
constexpr int steps = 6000;

struct asked_batch {
    std::vector<std::string> messages; // in short; each take's source is a number of its own
    std::set<std::int32_t> places;
    std::set<std::uint64_t> clients; // whose order it keeps; the driver is 0
};

class RandomTurns : public waiting_clients {
protected:
    RandomTurns() {
        for (int i = 0; i < 4; ++i)
            users_.push_back(new_user());
        while (clients_.size() < most_clients)
            clients_.push_back(connect(pick(users_)));
    }

    std::int32_t below(std::int32_t limit) {
        return static_cast<std::int32_t>(random_() % static_cast<std::uint32_t>(limit));
    }
    template<typename item> item& pick(std::vector<item>& items) {
        return items[static_cast<std::size_t>(below(static_cast<std::int32_t>(items.size())))];
    }

    void ask_for_takes() {
        const requester client = pick(clients_);
        std::vector<std::int32_t> outputs(
            static_cast<std::size_t>(below(8) == 0 ? below(60) + 1 : below(4) + 1));
        requester_asks(client);
        for (std::int32_t& output : outputs) {
            output = below(20) - 1; // -1 is no output
            ++serial_;
            queue_route_request({serial_, serial_, output}, client);
            waiting_takes_.messages.push_back(std::to_string(serial_) + ">" + std::to_string(output));
            waiting_takes_.places.insert(output < 0 ? place_beyond_outputs : output);
            waiting_takes_.clients.insert(client.connection);
        }
        send_takes();
    }
    void send_takes() {
        plan_route_changes();
        if (!commands_reach_backend || waiting_takes_.messages.empty())
            return;
        waiting_takes_.messages.emplace_back("flush");
        asked_.push_back(std::exchange(waiting_takes_, {}));
    }
    void ask_for_property() {
        const requester client = pick(clients_);
        const std::int32_t place = below(2) == 0 ? below(19) : first_input_place + below(5);
        const std::string value = "property " + std::to_string(++serial_);
        send(client, value, place);
        asked_.push_back({{value}, {place}, {client.connection}});
    }
    void ask_as_driver() {
        const std::string value = "driver " + std::to_string(++serial_);
        router_send_message(message(value));
        asked_.push_back({{value}, {}, {0}});
    }
    void leave() {
        requester& client = pick(clients_);
        requester_gone(client.connection);
        client = connect(below(2) == 0 ? client.user : pick(users_));
    }
    void move_some(std::size_t most) {
        for (const std::string& one : move(most))
            moved_.push_back(one);
    }
    void step() {
        const int what = below(100);
        if (what < 40)
            ask_for_takes();
        else if (what < 50)
            ask_for_property();
        else if (what < 53)
            ask_as_driver();
        else if (what < 60)
            leave();
        else if (what < 62)
            commands_reach_backend = !commands_reach_backend;
        else
            move_some(static_cast<std::size_t>(below(pending_line_count() > 400 ? 80 : 8)));
        if (what % 10 == 0)
            send_takes();
    }

    // Each batch whole and without anything between; the place of each in the order in which they were sent.
    std::vector<std::size_t> order_sent() {
        std::map<std::string, std::size_t> by_first_message;
        for (std::size_t batch = 0; batch < asked_.size(); ++batch)
            by_first_message[asked_[batch].messages.front()] = batch;
        std::vector<std::size_t> place(asked_.size(), asked_.size());
        std::size_t sent = 0;
        for (std::size_t at = 0; at < moved_.size(); ++sent) {
            const auto found = by_first_message.find(moved_[at]);
            if (found == by_first_message.end()) {
                ADD_FAILURE() << "no batch begins with " << moved_[at];
                break;
            }
            place[found->second] = sent;
            for (const std::string& message : asked_[found->second].messages) {
                EXPECT_EQ(at < moved_.size() ? moved_[at] : "nothing", message);
                ++at;
            }
        }
        EXPECT_EQ(sent, asked_.size());
        return place;
    }
    // Each batch behind the ones before it of the same client, and on the same place.
    void expect_orders_kept(const std::vector<std::size_t>& place) {
        std::map<std::uint64_t, std::size_t> last_of_client;
        std::map<std::int32_t, std::size_t> last_on_place;
        const auto expect_behind = [&place](auto& last, const auto& key, std::size_t batch) {
            const auto [found, is_first] = last.try_emplace(key, batch);
            EXPECT_TRUE(is_first || place[found->second] < place[batch]) << "batch " << batch;
            found->second = batch;
        };
        for (std::size_t batch = 0; batch < asked_.size(); ++batch) {
            for (const std::uint64_t client : asked_[batch].clients)
                expect_behind(last_of_client, client, batch);
            for (const std::int32_t on : asked_[batch].places)
                expect_behind(last_on_place, on, batch);
        }
    }
    // Exactly the whole limits are free again.
    void expect_counters_zero() {
        const auto takes = static_cast<std::ptrdiff_t>(waiting_takes_per_client);
        const auto bytes = static_cast<std::ptrdiff_t>(waiting_bytes_per_client);
        for (const uid_t user : users_)
            clients_.push_back({0, user}); // what those who are gone have in common
        for (const requester client : clients_) {
            expect_free(client, client, count_waiting_takes, takes);
            expect_free(client, client, count_waiting_settings, bytes);
        }
        const auto user_takes = static_cast<std::ptrdiff_t>(waiting_takes_per_user);
        const auto user_bytes = static_cast<std::ptrdiff_t>(waiting_bytes_per_user);
        for (const uid_t user : users_) {
            const requester another = connect(user);
            expect_free({0, user}, another, count_waiting_takes, user_takes);
            expect_free({0, user}, another, count_waiting_settings, user_bytes);
        }
    }
    static void expect_free(requester who_asks, requester who_waits, void (*count)(requester, std::ptrdiff_t),
                            std::ptrdiff_t limit) {
        requester_asks(who_asks);
        count(who_asks, limit - 1);
        EXPECT_FALSE(requester_must_wait(who_waits, small_packet_bytes + 1)) << "something still counts";
        count(who_asks, 1);
        EXPECT_TRUE(requester_must_wait(who_waits, small_packet_bytes + 1)) << "less than nothing counts";
        count(who_asks, -limit);
    }

    std::mt19937 random_{20240229};
    std::vector<uid_t> users_;
    std::vector<requester> clients_;
    std::int32_t serial_ = 0;
    asked_batch waiting_takes_; // asked for, and not planned yet
    std::vector<asked_batch> asked_;
    std::vector<std::string> moved_;
};

TEST_F(RandomTurns, SendAllWholeAndInOrderAndCountBackToZero) {
    std::size_t most_waiting = 0;
    for (int i = 0; i < steps; ++i) {
        step();
        most_waiting = std::max(most_waiting, pending_line_count());
    }
    commands_reach_backend = true;
    send_takes();
    move_some(pending_line_count());
    EXPECT_EQ(pending_line_count(), 0U);
    EXPECT_EQ(pending_line(), nullptr);
    EXPECT_GT(most_waiting, 4 * turns_from_messages) << "else there were hardly any turns";
    EXPECT_GT(
        std::count_if(asked_.begin(), asked_.end(), [](const auto& one) { return one.clients.size() > 1; }),
        5);
    expect_orders_kept(order_sent());
    expect_counters_zero();
}

} // namespace
