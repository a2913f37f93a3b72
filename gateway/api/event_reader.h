// One reader of events. One that keeps up gets each message as all others do; one that does not gets the
// newest state of what has changed meanwhile.
#pragma once

#include "event_texts.h"
#include "gateway/access/token.h"
#include "gateway/http/event_source.h"

#include <deque>

namespace gateway {

// A message on its way to all readers, and what has to be told anew when it is left out.
struct told_event {
    enum class kind { change, state, once /* a take, an alarm: what it tells stands nowhere else */ };
    kind what = kind::change;
    std::string router;
    shared_text text;
    std::vector<int> inputs, outputs; // of a change
};

// What a reader asks the hub for.
class event_supply {
public:
    virtual ~event_supply() = default;
    virtual const shown_router* find(const std::string& router) const = 0; // null: gone
    virtual shared_text picture_of(const shown_router& router) = 0;
    virtual const router_locks* locks_of(const std::string& router) const = 0;
    virtual void reader_ended(class event_reader* reader) = 0;
};

// Who reads, and what.
struct event_wish {
    std::shared_ptr<const token> who;
    std::int64_t session = 0;         // 0: came without one
    std::vector<std::string> routers; // empty: all that `who` may see
};

class event_reader final : public event_source {
public:
    event_reader(event_supply* supply, event_wish wish) : supply_(supply), wish_(std::move(wish)) {}
    ~event_reader() override {
        supply_->reader_ended(this); // also when its WebSocket never opened
    }
    event_reader(const event_reader&) = delete;
    event_reader& operator=(const event_reader&) = delete;

    const event_wish& wish() const {
        return wish_;
    }
    bool sees(std::string_view router) const;

    // Of a router that it sees. Shared with other readers.
    void push(const std::shared_ptr<const told_event>& event);
    void push_picture(const std::string& router); // the whole picture has to be told anew
    // The same once the pictures that wait now are told.
    void push_behind_pictures(const std::shared_ptr<const told_event>& event);
    void push_alive(const shared_text& text);
    void push_lost(const std::string& router, std::uint64_t takes);
    void end(const std::string& why);

    // Bytes that this reader alone may keep: texts that wait, the last one merged for it, numbers.
    std::size_t own_bytes() const;

    void begun(event_sink* sink) override;
    shared_text next() override;
    void ended() override;

private:
    struct untold { // of one router
        bool picture = false, state = false;
        std::vector<int> inputs, outputs;
    };
    void wake();
    void fold(const told_event& event);
    void fold_queue();
    void push_once(const std::shared_ptr<const told_event>& event);
    shared_text next_once();
    shared_text next_untold();

    event_supply* supply_;
    event_wish wish_;
    event_sink* sink_ = nullptr;                          // null: not begun, or ended
    std::deque<std::shared_ptr<const told_event>> queue_; // changes and states, in order
    std::size_t queue_bytes_ = 0;
    std::deque<std::shared_ptr<const told_event>> once_;
    std::size_t once_bytes_ = 0;
    std::deque<std::shared_ptr<const told_event>> behind_pictures_; // texts that others share
    bool once_first_ = false;                                       // they and the rest are told by turns
    std::map<std::string, std::uint64_t> lost_;                     // takes, by router
    std::map<std::string, untold, std::less<>> untold_;             // by router
    std::string told_last_; // routers in untold_ are told by turns, too
    std::size_t untold_numbers_ = 0;
    std::size_t merged_bytes_ = 0; // of the text that was merged last
    shared_text alive_;
};

} // namespace gateway
