// What a watch does not tell, asked on the watch connection itself: the driver's last error, again and again,
// and once its record of takes.
#pragma once

#include "packet_client.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace gateway {

// What an answer says; nothing of it when there is no news.
struct watch_answer {
    bool has_last_error = false;
    std::optional<vrdx::driver_message> last_error; // none: the driver has noted none
    bool has_records = false;
    std::vector<vrdx::take_record> records; // all there are, in their order
};

class watch_questions {
public:
    // What was asked has no answer any more, and is asked anew on the next connection.
    void connection_ended();

    // Something happened of which drivers note an error: it is asked for soon.
    void expect_error() {
        soon_ = true;
    }

    // Queues what is due at `now`. The connection is open, and its picture whole.
    void ask(vrdx::driver_connection* connection, std::uint64_t now);

    // Nothing when the packet answers none of these questions.
    std::optional<watch_answer> read(const vrdx::incoming_packet& packet);

private:
    void read_record_page(const comm_socket_v4_packet& page, watch_answer* answer);

    std::uint64_t error_request_ = 0; // number of what is not answered yet; 0: none
    std::uint64_t error_asked_us_ = 0;
    bool soon_ = false;
    bool refused_ = false; // the driver does not know the question

    std::uint64_t record_request_ = 0; // as above
    std::uint64_t record_from_ = 0;
    std::size_t record_pages_ = 0;
    std::vector<vrdx::take_record> records_; // of the pages so far
    bool record_read_ = false;               // or cannot be; kept when the connection ends
};

} // namespace gateway
