// A router of another site, as its owner tells of it.
//
//  what happens                        | what is done
//  ------------------------------------|---------------------------------------------------------------
//  the site has it, and it is not read | its pages are read, one after the other; what changes meanwhile
//                                      | is kept, and put on top of them
//  a change that follows the last one  | shown
//  a change is missing, or of another  | all is read anew; what is shown stays, it was true a moment ago
//  run of the owner's gateway          |
//  takes that were decided             | told at once, also while it is read
//  it is read, and knows of more takes | so many are told to be missing
//  than were told                      |
//  the site is not heard               | stale; read anew when it is heard again
#pragma once

#include "gateway/routers/shown_router.h"
#include "site_messages.h"
#include "site_requests.h"

#include <memory>
#include <optional>

namespace gateway {

// What a far router needs of those around it. All of it outlives the router.
struct far_surroundings {
    site_requests& requests;
    std::function<void(const router_news&)> tell;
    std::function<std::uint64_t()> next_version;
    std::function<void(const shown_router&, int output)> lock_changed;
    std::function<std::uint64_t()> now_ms; // steady
};

// A picture while its pages come.
struct picture_reading {
    std::uint64_t number = 0; // tells this reading from those before
    std::string run;
    std::uint64_t at = 0; // of the first page
    vrdx::router_picture picture;
    output_locks locks;
    std::vector<change_message> later;
};

class far_router {
public:
    far_router(far_surroundings& around, std::string site, std::string router);

    [[nodiscard]] const shown_router& shown() const {
        return shown_;
    }
    [[nodiscard]] const output_locks& locks() const {
        return locks_;
    }
    // Why takes cannot be sent to it, in one sentence; "" when they can.
    [[nodiscard]] std::string refuses_takes() const;
    // A page is waited for.
    [[nodiscard]] bool is_reading() const {
        return reading_.has_value();
    }
    // It has to be read, and can be now.
    [[nodiscard]] bool wants_reading() const;

    // The owner's site lists it.
    void hear_row(const std::string& run, const router_row& row);
    void hear_change(const change_message& change);
    // Asks for the first page.
    void read();
    // Its site is not heard, or cannot be understood: `reason` is shown until all was read anew.
    void become_stale(const std::string& reason);
    // Its site does not list it any more.
    void say_gone();

private:
    void ask_page(std::size_t begin);
    void hear_page(std::uint64_t number, reply_kind kind, const std::string& data);
    void end_reading(const told_router& last, std::uint64_t last_at);
    void keep_for_later(change_message change);
    void enter_takes(const change_message& change, router_news* news);
    [[nodiscard]] std::uint64_t takes_missing(const vrdx::router_picture& picture);
    void read_again(std::uint64_t pause_ms);
    void show(const state_and_reason& state, router_news news);

    far_surroundings& around_;
    std::string site_, router_; // as the owner calls it
    shown_router shown_;
    output_locks locks_;
    bool announced_ = false;
    bool whole_ = false; // what is shown is the picture of run_ and at_
    std::string run_;
    std::uint64_t at_ = 0;
    unsigned behind_ = 0;          // times in a row that the site told of a change that has not come
    std::string takes_epoch_;      // of the driver whose takes were told last; "" before the first picture
    std::uint64_t takes_told_ = 0; // number of the newest take there that was told, or told to be missing
    std::optional<picture_reading> reading_;
    std::uint64_t newest_reading_ = 0;
    std::uint64_t read_after_ms_ = 0;
    std::shared_ptr<bool> lives_ = std::make_shared<bool>(true); // answers may come after this is gone
};

} // namespace gateway
