#include "gateway/fronts/videohub/videohub_servers.h"

#include "gateway/settings/limits.h"

#include <algorithm>

namespace gateway {

videohub_servers::videohub_servers(boost::asio::io_context& loop, hub_world& world)
    : loop_(loop), world_(world), look_(loop, videohub_look_period_ms, [this] {
          for (const auto& server : servers_)
              server->look();
      }) {
    look_.begin();
}

std::vector<std::string> videohub_servers::serve(const std::vector<videohub_settings>& wished) {
    const auto serves = [this](const videohub_settings& wish) {
        return std::any_of(servers_.begin(), servers_.end(),
                           [&](const auto& one) { return one->wish() == wish; });
    };
    // Addresses of those that end may be those of new ones.
    std::erase_if(servers_, [&](const auto& server) {
        const bool stays = std::find(wished.begin(), wished.end(), server->wish()) != wished.end();
        if (!stays)
            server->end();
        return !stays;
    });
    std::vector<std::string> problems;
    for (const videohub_settings& wish : wished) {
        if (serves(wish))
            continue;
        const auto server = std::make_shared<videohub_server>(loop_, world_, wish);
        const std::string problem = server->begin();
        if (!problem.empty()) {
            problems.push_back("cannot listen on " + address_text(wish.at) + " as a Videohub: " + problem);
            continue;
        }
        servers_.push_back(server);
        world_.tell("serves " + wish.router + " as a Videohub on " + address_text(server->address()));
    }
    return problems;
}

void videohub_servers::end() {
    look_.end();
    for (const auto& server : servers_)
        server->end();
    servers_.clear();
}

void videohub_servers::hear(const router_news& news) {
    for (const auto& server : servers_)
        if (server->wish().router == news.router->name)
            server->hear(news);
}

void videohub_servers::lock_changed(const std::string& router, int output) {
    for (const auto& server : servers_)
        if (server->wish().router == router)
            server->lock_changed(output);
}

} // namespace gateway
