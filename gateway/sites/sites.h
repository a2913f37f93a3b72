// Other sites, as the gateway sees them, and this one, as they see it.
#pragma once

#include "answered_asks.h"
#include "asked_takes.h"
#include "gateway/repeating.h"
#include "gateway/routers/other_routers.h"
#include "incoming_messages.h"
#include "told_routers.h"

namespace gateway {

// What this site listens to: its peers alone, each on subscriptions of its own.
std::vector<heard_subject> subjects_of(const site_settings& settings, const std::string& run);

struct sites_around {
    boost::asio::io_context& loop;
    router_board& routers;
    take_desk& desk;
    const lock_table& locks;
    history_keeper& history;
    // A lock of another site's router has changed.
    std::function<void(const shown_router&, int output)> lock_changed;
    std::function<void(const std::string&)> print;
    std::function<std::uint64_t()> now_ms; // steady
};

class sites final : public other_routers {
public:
    // All of it outlives it; `way` listens to subjects_of(settings, run). From now on the board has the
    // routers of the other sites.
    sites(message_way& way, const site_settings& settings, const std::string& run, sites_around around);
    ~sites() override;
    sites(const sites&) = delete;
    sites& operator=(const sites&) = delete;

    void start();
    // What is under way ends as unknown.
    void stop();

    // From the way.
    void hear(const site_message& message);
    void connected(bool is);

    // The locks that the owner of this router has told of; null when there are none, or it is of this site.
    [[nodiscard]] const output_locks* locks_of(std::string_view router) const;

    [[nodiscard]] const shown_router* find(std::string_view name) const override;
    [[nodiscard]] std::vector<const shown_router*> all() const override;
    void take(std::string_view router, const std::string& lane, vrdx::take_order order, bool all_or_nothing,
              take_done done) override;
    void rename(std::string_view router, const std::string& lane, bool output, int number,
                const std::string& name, take_done done) override;
    void drop_lane(const std::string& lane) override;

private:
    struct far_name_parts {
        far_site* site;
        std::string router;
    };
    [[nodiscard]] std::optional<far_name_parts> parts_of(std::string_view name) const;
    void look_at_clock();

    message_way& way_;
    const site_settings& settings_;
    sites_around around_;
    site_requests requests_;
    far_surroundings far_;
    asked_takes asked_;
    told_routers told_;
    answered_asks answered_;
    std::map<std::string, std::unique_ptr<far_site>, std::less<>> peers_;
    int listener_ = 0; // of the board
    repeating beat_, look_;
};

} // namespace gateway
