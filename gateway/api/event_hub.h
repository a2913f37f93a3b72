// Hears what routers tell, writes each message once, and hands it to all readers who may see the router.
#pragma once

#include "event_reader.h"
#include "lock_alarms.h"
#include "picture_shelf.h"

#include <set>

namespace gateway {

class event_hub final : public event_supply {
public:
    using router_finder = std::function<const shown_router*(std::string_view)>;
    using router_list = std::function<std::vector<const shown_router*>()>;

    // `keep`: as lock_alarms has it.
    event_hub(picture_shelf& shelf, locks_of_router locks, router_finder find, router_list all,
              lock_alarms::shown_listener keep = {});

    // A reader of what the wish says. It is told the picture of each router first, then the alarms about what
    // happened while the gateway was down: nobody could hear them before.
    std::shared_ptr<event_reader> add_reader(event_wish wish);
    std::size_t readers() const {
        return readers_.size();
    }
    std::size_t readers_of(std::int64_t token_id) const;
    // What each reader keeps of its own, in bytes.
    std::vector<std::size_t> bytes_of_readers() const;

    void hear(const router_news& news);
    // Outputs that these users took are told with their names.
    void users_named(const std::vector<std::uint64_t>& users);
    void lock_changed(const shown_router& router, int output);
    // Takes that the locks allow go to the router now, and are no reason for an alarm.
    void takes_begin(const std::string& router, const std::vector<vrdx::output_take>& takes);
    void tell_alive();
    // Ends readers whose token or session is no more.
    void end_readers(const std::vector<std::int64_t>& tokens, const std::vector<std::int64_t>& sessions);

    void end_anonymous_readers();

    const shown_router* find(const std::string& router) const override;
    shared_text picture_of(const shown_router& router) override;
    const router_locks* locks_of(const std::string& router) const override;
    void reader_ended(event_reader* reader) override;

private:
    template<typename action> void each_reader(std::string_view router, const action& act);
    void tell(told_event event);
    void tell_alarms(const shown_router& router);
    void tell_places(const shown_router& router, const vrdx::picture_news& places);

    picture_shelf& shelf_;
    locks_of_router locks_;
    router_finder find_;
    router_list all_;
    lock_alarms alarms_;
    std::set<event_reader*> readers_;
    struct kept_alarm {
        std::uint64_t until_ms; // a steady_ms() count
        std::shared_ptr<const told_event> event;
    };
    std::deque<kept_alarm> alarms_after_restart_; // the oldest first
};

} // namespace gateway
