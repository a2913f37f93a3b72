#include "site_service.h"

#include "gateway/audit/history_keeper.h"

#include <utility>

namespace gateway {

site_service::site_service(site_settings settings, const std::string& state_directory,
                           const sites_around& around)
    : settings_(std::move(settings)), link_(around.loop, settings_, subjects_of(settings_, run_),
                                            {[this](const site_message& message) { sites_.hear(message); },
                                             [this](bool is) { sites_.connected(is); }, around.print}),
      sites_(link_, settings_, run_, around) {
    if (settings_.exchanges_history())
        histories_ = std::make_unique<history_exchange>(
            settings_, history_exchange::place{around.loop, state_directory, around.history.writer(),
                                               [&history = around.history](const std::string& problem) {
                                                   history.note_exchange_problem(problem);
                                               },
                                               around.print});
}

std::optional<exchange_figures> site_service::history_figures() const {
    return histories_ ? std::optional(histories_->figures()) : std::nullopt;
}

void site_service::start() {
    sites_.start();
    link_.start();
    if (histories_)
        histories_->start();
}

// Each thread may have something to wait for, both for the same broker: they wait at the same time.
void site_service::stop() {
    sites_.stop();
    link_.end();
    if (histories_)
        histories_->end();
    link_.stop();
    if (histories_)
        histories_->stop();
}

} // namespace gateway
