// What clients of a Videohub server ask for: judged whole, and then done whole or not at all.
#pragma once

#include "gateway/access/lock_table.h"
#include "gateway/access/write_rates.h"
#include "gateway/fronts/videohub/hub_asker.h"
#include "gateway/fronts/videohub/hub_places.h"
#include "gateway/fronts/videohub/shown_hub.h"
#include "gateway/takes/take_desk.h"

#include <functional>

namespace gateway {

// What the servers work with. Outlives them.
struct hub_world {
    router_board& routers;
    take_desk& takes;
    lock_table& locks;
    write_rates& writes; // of tokens and clients
    history_keeper& history;
    std::function<void(const std::string& line)> tell;
    hub_places clients = {}; // of all servers
};

// The outputs of the hub whose takes ended without a word of the router.
using takes_ended = std::function<void(const std::vector<int>& outputs)>;
// `problem`: nothing of it was done, or nobody knows.
using names_sent = std::function<void(bool problem)>;

// Each returns false when the request goes beyond what the asker may, or is not possible: then nothing of it
// is done. `ended` and `sent` are called once, later, after true alone.
bool take_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const hub_asker& asker,
                   const std::map<int, int>& takes, takes_ended ended);
bool name_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const hub_asker& asker,
                   bool outputs, const std::map<int, std::string>& labels, names_sent sent);
// Its changes are told by the lock table. Also false when the asker has changed locks too often.
bool lock_as_asked(hub_world& world, const std::string& router, const shown_hub& hub, const hub_asker& asker,
                   const std::map<int, videohub_lock_wish>& locks);

} // namespace gateway
