// Sites at work: the connection to the broker, and what is said over it.
#pragma once

#include "broker_link.h"
#include "history_exchange.h"
#include "sites.h"

namespace gateway {

class site_service {
public:
    // All that `around` names outlives it. settings.has_broker().
    site_service(site_settings settings, const std::string& state_directory, const sites_around& around);

    void start();
    void stop();

    [[nodiscard]] const output_locks* locks_of(std::string_view router) const {
        return sites_.locks_of(router);
    }

    // Nothing: no history goes to other sites, and none comes.
    [[nodiscard]] std::optional<exchange_figures> history_figures() const;

private:
    site_settings settings_;
    std::string run_ = new_run();
    broker_link link_;
    sites sites_;
    std::unique_ptr<history_exchange> histories_;
};

} // namespace gateway
