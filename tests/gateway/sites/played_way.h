// A way that the test itself is: it keeps what was sent, and says what comes. With a clock that it sets.
#pragma once

#include "gateway/sites/far_site.h"

#include <deque>

class played_way : public gateway::message_way {
public:
    [[nodiscard]] bool is_connected() const override {
        return connected;
    }
    [[nodiscard]] bool has_room_for_page() const override {
        return takes_pages;
    }
    bool send(gateway::site_message message) override {
        if (connected)
            sent.push_back(std::move(message));
        return connected;
    }
    // The oldest that was not looked at; an empty one when there is none.
    gateway::site_message next() {
        if (sent.empty())
            return {};
        gateway::site_message message = std::move(sent.front());
        sent.pop_front();
        return message;
    }

    bool connected = true, takes_pages = true;
    std::deque<gateway::site_message> sent;
};

// One site as another one sees it.
struct seen_site {
    played_way way;
    std::uint64_t now_ms = 10000, versions = 0;
    std::vector<std::string> told;    // NAME STATE, NAME gone, NAME lock OUTPUT
    std::vector<std::uint64_t> takes; // numbers of those that were told
    std::uint64_t takes_lost = 0;
    gateway::site_requests requests{way, "vi.control.run."};
    gateway::far_surroundings around{
        requests,
        [this](const gateway::router_news& news) {
            told.push_back(news.router->name + ' ' +
                           (news.gone ? "gone" : gateway::router_state_word(news.router->state)));
            for (const vrdx::take_record& each : news.takes)
                takes.push_back(each.number);
            takes_lost += news.takes_lost;
        },
        [this] { return ++versions; },
        [this](const gateway::shown_router& router, int output) {
            told.push_back(router.name + " lock " + std::to_string(output));
        },
        [this] { return now_ms; }};
    gateway::far_site site{around, "north"};

    void hear_alive(std::uint64_t at = 1, const std::string& run = "run") {
        site.hear_alive(gateway::alive_text({0, {run, 5}, {{"studio", gateway::router_state::up, at}}}));
    }
    // Answers the oldest request for a page; false when there is none.
    bool answer_page(const vrdx::router_picture& picture, std::uint64_t at = 1,
                     const std::string& run = "run", const gateway::output_locks* locks = nullptr) {
        const gateway::site_message asked = way.next();
        const auto begin = gateway::read_page_request(asked.data);
        if (!begin)
            return false;
        requests.hear({asked.reply, "", gateway::page_text(run, at, {up, picture, locks}, *begin), false});
        return true;
    }
    void hear_change(const vrdx::router_picture& picture, std::uint64_t from, std::vector<int> outputs = {},
                     const std::string& run = "run", const gateway::output_locks* locks = nullptr,
                     bool anew = false) {
        gateway::change_message change;
        change.run = run;
        change.from = from;
        change.to = from + 1;
        change.anew = anew;
        vrdx::picture_news places;
        places.outputs = std::move(outputs);
        site.hear_change("studio", gateway::change_text(change, {up, picture, locks}, places));
    }
    // Takes of these numbers were decided, of the picture's driver.
    void hear_takes(vrdx::router_picture picture, std::uint64_t from,
                    const std::vector<std::uint64_t>& numbers) {
        gateway::change_message change;
        change.run = "run";
        change.from = from;
        change.to = from + 1;
        for (const std::uint64_t number : numbers)
            change.takes.emplace_back().number = picture.last_take = number;
        site.hear_change("studio", gateway::change_text(change, {up, picture, nullptr}, {}));
    }
    [[nodiscard]] const gateway::shown_router& shown() const {
        return site.find("studio")->shown();
    }

    const gateway::state_and_reason up{gateway::router_state::up, {}};
};
