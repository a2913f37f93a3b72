// Follows the drivers' records of takes: what they tell while the gateway listens, and what they have kept
// from the time when it did not.
#pragma once

#include "gateway/routers/shown_router.h"
#include "history_entry.h"
#include "record_reading.h"
#include "take_callers.h"

namespace gateway {

class driver_records {
public:
    // `note` gets the entries; what comes twice it has to leave out. All outlives this.
    driver_records(boost::asio::io_context& loop, std::string run_directory, take_callers& callers,
                   std::function<void(history_item)> note);

    // From the board. Routers of other sites are left out: their driver's record is read there.
    void hear(const router_news& news);

    // Entries were lost: all that the drivers have kept is noted once more.
    void read_again();

    // Readings that are under way, or wait for another attempt.
    std::size_t readings() const;

private:
    struct followed {
        followed(boost::asio::io_context& loop, std::function<void()> due) : retry(loop, std::move(due)) {}
        std::string epoch;
        std::uint64_t newest = 0;   // number of the last take that was told
        std::uint64_t wanted = 0;   // the record is to be read from here on; 0: it need not
        bool again = false;         // once more, when the reading under way has ended
        bool heard_before = false;  // the epoch before was listened to until its end
        std::uint64_t pause_ms = 0; // before the next attempt
        std::unique_ptr<record_reading> reading;
        loop_timer retry;
    };
    followed& of(const std::string& router);
    void begin(const std::string& router, const std::string& epoch, std::uint64_t last);
    void want(const std::string& router, std::uint64_t from);
    void read(const std::string& router);
    void enter(const std::string& router, bool whole, const std::vector<vrdx::take_record>& records);
    void note_mark(const std::string& router, std::uint64_t first, std::uint64_t time_ms);
    void note_record(const std::string& router, const vrdx::take_record& record);
    void note_left_over(const std::string& router);

    boost::asio::io_context& loop_;
    const std::string run_directory_;
    take_callers& callers_;
    const std::function<void(history_item)> note_;
    std::map<std::string, std::unique_ptr<followed>> routers_;
};

// A take as the history has it. Who it was is not in it yet.
history_entry entry_of_record(const std::string& router, const std::string& epoch,
                              const vrdx::take_record& record);

} // namespace gateway
