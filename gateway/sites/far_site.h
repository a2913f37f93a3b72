// Another site: whether it is there, its newest beat, and its routers.
#pragma once

#include "far_router.h"

#include <memory>
#include <string_view>

namespace gateway {

class far_site {
public:
    // `around` outlives it.
    far_site(far_surroundings& around, std::string name);

    [[nodiscard]] const std::string& name() const {
        return name_;
    }
    // By its name there; null when there is none.
    [[nodiscard]] const far_router* find(std::string_view router) const;
    void add_to(std::vector<const shown_router*>* all) const;

    // Why nothing can be asked of it now, in one sentence; "" when it can.
    [[nodiscard]] std::string refuses() const;
    // The newest one that was heard.
    [[nodiscard]] const site_beat& beat() const {
        return beat_;
    }

    // What came from it. Returns what there is to log, "" for nothing.
    std::string hear_alive(const std::string& data);
    void hear_change(std::string_view router, const std::string& data);
    void look_at_clock();

private:
    [[nodiscard]] bool is_silent() const;
    void become_stale(const std::string& reason);
    std::string tell_version(int version);
    void read_what_wants();

    far_surroundings& around_;
    std::string name_;
    site_beat beat_;
    std::uint64_t heard_ms_ = 0; // steady; 0: never
    std::int64_t heard_s_ = 0;   // since 1970, for people
    int other_version_ = 0;      // that it speaks, when we do not understand it; else 0
    bool stale_ = true;          // its routers were told to be
    std::map<std::string, std::unique_ptr<far_router>, std::less<>> routers_;
};

} // namespace gateway
