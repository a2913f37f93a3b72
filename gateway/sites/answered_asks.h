// Takes and names that other sites ask this one for: within the role that their site has here, beside the
// locks that stand here.
#pragma once

#include "gateway/audit/history_keeper.h"
#include "gateway/settings/site_settings.h"
#include "gateway/takes/take_desk.h"
#include "message_way.h"
#include "site_messages.h"
#include "subjects.h"

#include <deque>
#include <set>

namespace gateway {

class answered_asks {
public:
    // All of them outlive it.
    answered_asks(message_way& way, router_board& routers, take_desk& desk, history_keeper& history,
                  const site_settings& settings, std::string run);

    void take(const router_address& address, const site_message& asked);
    void rename(const router_address& address, const site_message& asked);

private:
    // Each is answered once, also when it comes twice.
    struct remembered {
        std::set<std::string> replies;
        std::deque<std::string> oldest_first;
    };
    bool comes_again(const std::string& from, const std::string& reply);
    template<typename ask_type>
    ask_answer objection(const std::optional<ask_type>& ask, const router_address& address);
    [[nodiscard]] token token_of(const std::string& from, const std::string& by) const;
    void answer(const std::string& reply, ask_answer said);
    [[nodiscard]] history_entry entry_of_name(const router_address& address, const name_ask& ask) const;
    void note_name(history_entry entry, const take_ending& ending);

    message_way& way_;
    router_board& routers_;
    take_desk& desk_;
    history_keeper& history_;
    const site_settings& settings_;
    std::string run_;
    std::map<std::string, remembered> remembered_; // by site
};

} // namespace gateway
