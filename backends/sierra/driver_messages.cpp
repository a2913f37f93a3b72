#include "locks.h"
#include "session.h"
#include "shown.h"
#include "take_commands.h"

namespace {

void switch_takes(session& session, const endpoint_takes& takes, std::uint64_t expires_us,
                  std::uint64_t now) {
    std::vector<crosspoint_take> planned;
    for (const endpoint_take& take : takes) {
        plan_take(take, session.groups, planned);
    }
    queue_takes(session, std::move(planned), expires_us, now);
}

changed_part on_setting(session& session, const std::string& name, const std::string& value) {
    const changed_part part = change_sierra_setting(session.settings, name, value, session.driver.log);
    if (part == changed_part::levels && size_known(session.picture)) {
        regroup_levels(session);
    } else if (part == changed_part::names) {
        show_names(session);
    }
    return part;
}

} // namespace

changed_part handle_driver_message(session& session, const TavrixAPIRouterMessage& message,
                                   std::uint64_t now) {
    changed_part part = changed_part::nothing;
    protocol_requests requests;
    requests.switch_takes = [&](const endpoint_takes& takes, std::uint64_t expires_us) {
        switch_takes(session, takes, expires_us, now);
    };
    requests.set_properties = [&](const auto& properties) { set_properties(session, properties); };
    requests.change_setting = [&](const std::string& name, const std::string& value) {
        part = on_setting(session, name, value);
    };
    requests.why_not_ready = [&] {
        return session.driver.state == router_state::away ? "not connected to the router"
                                                          : "the router's state is still being read";
    };
    hear_driver(session.driver, message, now, requests);
    return part;
}
