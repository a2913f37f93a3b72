// Routers of other sites, shown beside those of this host.
#pragma once

#include "gateway/routers/shown_router.h"
#include "gateway/routers/take_ending.h"

#include <string>
#include <string_view>
#include <vector>

namespace gateway {

class other_routers {
public:
    virtual ~other_routers() = default;

    // As router_board has them: null when there is none, valid until the router is told to be gone.
    [[nodiscard]] virtual const shown_router* find(std::string_view name) const = 0;
    [[nodiscard]] virtual std::vector<const shown_router*> all() const = 0;

    // `done` is called exactly once, from the loop, never before this returns. `all_or_nothing`: nothing is
    // done when the owner's locks hold one of the outputs.
    virtual void take(std::string_view router, const std::string& lane, vrdx::take_order order,
                      bool all_or_nothing, take_done done) = 0;
    // `number` from 1; answered as router_board does.
    virtual void rename(std::string_view router, const std::string& lane, bool output, int number,
                        const std::string& name, take_done done) = 0;
    // What is under way for it ends as unknown.
    virtual void drop_lane(const std::string& lane) = 0;
};

} // namespace gateway
