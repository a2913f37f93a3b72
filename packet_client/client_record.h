// The driver's record of takes that were decided.
#pragma once

#include "client_take.h"

namespace vrdx {

struct take_record {
    std::uint64_t number = 0;
    std::uint64_t time_ms = 0; // when it was decided, since 1970
    std::string way;           // `take` or `route`
    std::uint64_t user = 0;
    std::uint64_t process = 0;
    std::string by;
    int output = 0;
    bool split_levels = false; // a breakaway: the levels were switched separately
    level_sources before;
    level_sources wanted;
    take_result result;
    std::uint64_t milliseconds = 0; // from the request to the decision
};

// A request for the takes from number `from` on; 0: from the oldest that is kept.
comm_socket_v4_packet record_request(std::uint64_t from = 0);

// Appends the takes that a page of the record or a `takes` packet tells, at most
// take_records_per_packet_limit.
void read_take_records(const comm_socket_v4_packet& packet, std::vector<take_record>* records);

// Reads a page. False when `reply` is none. Sets *next to the number to ask for next, 0 after the last page.
bool add_record_page(const comm_socket_v4_packet& reply, std::vector<take_record>* records,
                     std::uint64_t* next);

// Asks for all takes from number `from` on, at most take_records_limit. Returns done, or what ask_until()
// returns; refused, with `problem`, when the driver keeps no record.
outcome record_until(driver_connection* connection, std::uint64_t from, std::vector<take_record>* records,
                     std::uint64_t deadline);

} // namespace vrdx
