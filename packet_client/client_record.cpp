#include "client_record.h"

#include "client_limits.h"
#include "client_texts.h"
#include "text.h"

#include <limits>

namespace vrdx {

namespace {

int output_in(std::string_view text) {
    const std::uint64_t number = number_or_0(text);
    return number <= static_cast<std::uint64_t>(std::numeric_limits<int>::max()) ? static_cast<int>(number)
                                                                                 : 0;
}

void enter(take_record* record, std::string_view name, std::string_view value) {
    if (name == "time")
        record->time_ms = number_or_0(value);
    else if (name == "way")
        record->way = text_head(value, take_by_limit);
    else if (name == "user")
        record->user = number_or_0(value);
    else if (name == "pid")
        record->process = number_or_0(value);
    else if (name == "by")
        record->by = text_head(value, take_by_limit);
    else if (name == "output")
        record->output = output_in(value);
    else if (name == "level")
        record->split_levels = value == "video,audio";
    else if (name == "from")
        record->before = sources_in(value).value_or(level_sources{});
    else if (name == "to")
        record->wanted = sources_in(value).value_or(level_sources{});
    else if (name == "result")
        record->result = take_result_in(value);
    else if (name == "milliseconds")
        record->milliseconds = number_or_0(value);
}

} // namespace

comm_socket_v4_packet record_request(std::uint64_t from) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "describe", "takes");
    comm_socket_v4_packet_write_argv_end(&request);
    if (from != 0)
        comm_socket_v4_packet_write_nv_pair(&request, "from", std::to_string(from));
    comm_socket_v4_packet_write_end(&request);
    return request;
}

void read_take_records(const comm_socket_v4_packet& packet, std::vector<take_record>* records) {
    std::size_t groups = 0;
    bool inside = false;
    each_entry(packet, [&](std::string_view name, std::string_view value) {
        if (name == "take") {
            const std::uint64_t number = number_or_0(value);
            inside = number != 0 && groups < take_records_per_packet_limit;
            if (!inside)
                return; // nor is anything of its group
            ++groups;
            records->emplace_back();
            records->back().number = number;
        } else if (inside) {
            enter(&records->back(), name, value);
        }
    });
}

bool add_record_page(const comm_socket_v4_packet& reply, std::vector<take_record>* records,
                     std::uint64_t* next) {
    if (command_of(reply) != "describe" || !has_entry(reply, "epoch"))
        return false;
    read_take_records(reply, records);
    *next = number_or_0(entry_value(reply, "next"));
    return true;
}

outcome record_until(driver_connection* connection, std::uint64_t from, std::vector<take_record>* records,
                     std::uint64_t deadline) {
    records->clear();
    for (std::size_t page = 0; page < pages_limit; ++page) {
        comm_socket_v4_packet reply;
        const outcome asked = ask_until(connection, record_request(from), &reply, deadline);
        if (asked != outcome::done)
            return asked;
        if (is_error(reply)) {
            connection->problem = error_text(reply);
            return outcome::refused;
        }
        std::uint64_t next = 0;
        if (!add_record_page(reply, records, &next) || (next != 0 && next <= from))
            break;
        if (records->size() > take_records_limit)
            break;
        if (next == 0)
            return outcome::done;
        from = next;
    }
    connection->problem = "the driver's answer is no record of takes";
    return outcome::rejected;
}

} // namespace vrdx
