// The routers of this site, as other sites are told of them.
#pragma once

#include "gateway/routers/router_board.h"
#include "message_way.h"
#include "site_messages.h"

namespace gateway {

class told_routers {
public:
    // All of them outlive it.
    told_routers(message_way& way, const router_board& routers, const lock_table& locks, std::string site,
                 std::string run);

    // News of the board; those about routers of other sites are passed over.
    void hear(const router_news& news);
    // Tells that this site is there, and locks that have changed since the last time.
    void beat();
    // Somebody asks for a page. Gets none while too many others wait to be sent, and asks again.
    void answer(const std::string& router, const site_message& asked);

private:
    struct told {
        std::uint64_t at = 0;
        output_locks locks; // as they were told last
    };
    [[nodiscard]] const output_locks* locks_of(const std::string& router) const;
    void tell(const shown_router& router, change_message change, const vrdx::picture_news& places);
    void look_at_locks();

    message_way& way_;
    const router_board& routers_;
    const lock_table& locks_;
    std::string site_, run_;
    std::uint64_t locks_version_ = 0;
    std::map<std::string, told> told_; // by router
};

} // namespace gateway
