#include "site_service.h"

#include <utility>

namespace gateway {

site_service::site_service(site_settings settings, const sites_around& around)
    : settings_(std::move(settings)), link_(around.loop, settings_, subjects_of(settings_, run_),
                                            {[this](const site_message& message) { sites_.hear(message); },
                                             [this](bool is) { sites_.connected(is); }, around.print}),
      sites_(link_, settings_, run_, around) {}

void site_service::start() {
    sites_.start();
    link_.start();
}

void site_service::stop() {
    sites_.stop();
    link_.stop();
}

} // namespace gateway
