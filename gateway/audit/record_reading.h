// Reads a driver's record of takes once, over a connection of its own.
#pragma once

#include "gateway/routers/descriptor_wait.h"
#include "gateway/routers/loop_timer.h"
#include "packet_client.h"

namespace gateway {

class record_reading {
public:
    // Takes from number `from` on, or from the oldest that is kept, of that epoch. `done` is called once,
    // from the loop, and may destroy this: with false when the driver cannot be asked, does not come to an
    // end within history_record_time_limit_ms, or has another epoch now.
    record_reading(boost::asio::io_context& loop, std::string socket_path, std::string epoch,
                   std::uint64_t from,
                   std::function<void(bool read, const std::vector<vrdx::take_record>&)> done);
    ~record_reading();
    record_reading(const record_reading&) = delete;
    record_reading& operator=(const record_reading&) = delete;

private:
    void begin();
    void move();
    bool read(const comm_socket_v4_packet& page);
    void end(bool whole);

    const std::string epoch_;
    std::function<void(bool, const std::vector<vrdx::take_record>&)> done_;
    vrdx::driver_connection connection_;
    std::vector<vrdx::take_record> records_;
    std::uint64_t from_;   // of the page that is asked for
    bool last_ = false;    // the last page was read
    bool started_ = false; // connected, or in vain
    descriptor_wait wait_;
    loop_timer timer_; // first the beginning, then the time limit
};

} // namespace gateway
