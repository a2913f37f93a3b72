// What a driver tells of itself when it is asked, and not when it changes.
#pragma once

#include "packet_client.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace gateway {

// Counts begin anew with each start of the driver.
struct driver_figures {
    std::uint64_t clients = 0;        // connected now, those of the gateway among them
    std::uint64_t rollbacks = 0;      // outputs that were rolled back
    std::uint64_t backend_starts = 0; // the first one, too
    std::uint64_t uptime_ms = 0;
};

// One question on a connection that also watches. Whoever waits for its end hands a pointer over, which is
// released when the answer was read, or when none can come any more.
class figures_question {
public:
    using asker = std::shared_ptr<void>;

    // Asks, unless the answer to an earlier question is still awaited. False when nothing could be queued.
    bool ask(vrdx::driver_connection* connection, asker waiting);

    // True for the packet that answers it.
    [[nodiscard]] bool is_answer(const vrdx::incoming_packet& packet) const;

    // Ends the question with that packet. Nothing when the driver does not tell its figures.
    std::optional<driver_figures> answered(const vrdx::incoming_packet& packet);

    // The connection is gone.
    void end();

private:
    std::uint64_t request_ = 0; // its number on the connection; 0: nothing was asked
    std::vector<asker> waiting_;
};

} // namespace gateway
