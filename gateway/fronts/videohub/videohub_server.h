// A Videohub server of the configuration, with its clients.
#pragma once

#include "gateway/fronts/videohub/hub_listener.h"
#include "gateway/fronts/videohub/hub_orders.h"

#include <map>
#include <set>

namespace gateway {

class videohub_server final : public hub_client_owner, public std::enable_shared_from_this<videohub_server> {
public:
    videohub_server(boost::asio::io_context& loop, hub_world& world, videohub_settings wish);

    // What went wrong; "" when it serves.
    std::string begin();
    // Cuts all clients; takes under way go on.
    void end();

    [[nodiscard]] const videohub_settings& wish() const {
        return wish_;
    }
    // With the port that the kernel chose.
    [[nodiscard]] listen_address address() const;

    // Of its router alone.
    void hear(const router_news& news);
    void lock_changed(int router_output);
    void look();

    bool do_block(hub_client& client, const videohub_block& block) override;
    std::string next_text(hub_client& client) override;
    void client_left(hub_client& client) override;

private:
    using place = std::pair<videohub_topic, int>; // of labels, by the hub's numbers

    void enter(hub_socket socket, const std::string& peer);
    [[nodiscard]] std::string refusal(const std::string& peer) const;
    bool do_request(hub_client& client, const videohub_request& request);
    bool is_so_already(const hub_client& client, int output, int input) const;
    bool take(hub_client& client, const std::map<int, int>& asked);
    bool send_takes(hub_client& client, const std::map<int, int>& takes);
    bool name(hub_client& client, videohub_topic topic, const std::map<int, std::string>& asked);
    bool send_names(hub_client& client, videohub_topic topic, const std::map<int, std::string>& labels);
    bool lock(hub_client& client, const std::map<int, videohub_lock_wish>& locks);
    void names_sent_to_driver(videohub_topic topic, const std::map<int, std::string>& labels, bool problem);
    void tell(videohub_topic topic, const std::vector<int>& numbers);
    template<typename action> void each_client(const action& act);

    hub_world& world_;
    videohub_settings wish_;
    shown_hub hub_;
    std::shared_ptr<hub_listener> listener_;
    std::set<std::shared_ptr<hub_client>> clients_;
    hub_places places_; // of these clients
    // Names that were asked for and that the router has not told: told as they are when it has not by then.
    std::map<place, hub_client::clock::time_point> awaited_names_;
    hub_client::clock::time_point quiet_until_; // about connections that are refused
};

} // namespace gateway
