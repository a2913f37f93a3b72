#include "told_picture.h"

#include "monotonic_us.h"
#include "text.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <random>
#include <unistd.h>

namespace {

std::string new_epoch() {
    // Time and process number would be enough; a random number helps when the clock was set back.
    std::random_device chance;
    const auto started = static_cast<std::uint64_t>(std::time(nullptr));
    char digits[17];
    std::snprintf(digits, sizeof(digits), "%08llx%08x",
                  static_cast<unsigned long long>(started & 0xffffffffU),
                  chance() ^ static_cast<unsigned>(getpid()));
    return digits;
}

std::string numbered(std::string_view what, std::int32_t place) {
    return std::string(what) + std::to_string(place + 1);
}

void write_properties(comm_socket_v4_packet* packet, const std::string& place,
                      const port_properties& properties) {
    if (properties.empty())
        return; // as nearly always: no text is made for it
    const std::string property = place + " property ";
    for (const auto& [name, value] : properties)
        comm_socket_v4_packet_write_nv_pair(packet, property + name, value);
}

// 0: it is not rolled back by itself.
std::uint64_t milliseconds_left(const router_output& output) {
    if (output.confirm_deadline == 0)
        return 0;
    if (output.confirm_deadline == no_deadline_yet)
        return assume_timeout / 1000; // it begins when the take was sent
    const std::uint64_t now = monotonic_us();
    return output.confirm_deadline > now ? (output.confirm_deadline - now + 999) / 1000
                                         : 1; // the next pass does it
}

void write_output(comm_socket_v4_packet* packet, std::int32_t place) {
    const router_output& output = router_outputs[static_cast<std::size_t>(place)];
    const std::string name = numbered("output ", place);
    comm_socket_v4_packet_write_nv_pair(packet, name, text_head(output.name, told_name_bytes));
    comm_socket_v4_packet_write_nv_pair(packet, name + " sources", told_text(told_sources_of(output)));
    if (!output.confirmed)
        write_told_number(packet, name + " waits", milliseconds_left(output));
    if (output.taken_by.connection != 0)
        comm_socket_v4_packet_write_nv_pair(packet, name + " taken",
                                            told_text(output.taken_by, output.taken_by_name));
    write_properties(packet, name, output.properties);
}

void write_input(comm_socket_v4_packet* packet, std::int32_t place) {
    const auto index = static_cast<std::size_t>(place);
    const std::string name = numbered("input ", place);
    comm_socket_v4_packet_write_nv_pair(packet, name, text_head(input_names[index], told_name_bytes));
    write_properties(packet, name, router_inputs[index].properties);
}

} // namespace

const std::string& driver_epoch() {
    static const std::string epoch = new_epoch();
    return epoch;
}

void begin_told_packet(comm_socket_v4_packet* packet, const char* command) {
    packet->result = 0;
    comm_socket_v4_packet_begin_writing(packet, 0, command, nullptr);
    comm_socket_v4_packet_write_argv_end(packet);
    comm_socket_v4_packet_write_nv_pair(packet, "epoch", driver_epoch());
}

void write_told_number(comm_socket_v4_packet* packet, std::string_view name, std::uint64_t number) {
    std::array<char, 20> digits{};
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    comm_socket_v4_packet_write_nv_pair(packet, name,
                                        {digits.data(), static_cast<std::size_t>(end - digits.data())});
}

void write_told_state(comm_socket_v4_packet* packet) {
    constexpr std::string_view backend_words[] = {"none", "starting", "running"};
    constexpr std::string_view link_words[] = {"unknown", "up", "down"};
    write_told_number(packet, "inputs", static_cast<std::uint64_t>(input_count));
    write_told_number(packet, "outputs", static_cast<std::uint64_t>(output_count));
    comm_socket_v4_packet_write_nv_pair(packet, "levels", split_levels ? "video,audio" : "");
    comm_socket_v4_packet_write_nv_pair(packet, "backend",
                                        backend_words[static_cast<std::size_t>(router_backend)]);
    comm_socket_v4_packet_write_nv_pair(packet, "backend text", router_backend_text);
    comm_socket_v4_packet_write_nv_pair(packet, "link", link_words[static_cast<std::size_t>(router_link)]);
    comm_socket_v4_packet_write_nv_pair(packet, "link text", router_link_text);
}

void write_told_place(comm_socket_v4_packet* packet, std::int32_t place) {
    if (place < input_count)
        write_input(packet, place);
    else
        write_output(packet, place - input_count);
}

std::int32_t told_places() {
    return input_count + output_count;
}

std::uint64_t told_place_changed(std::int32_t place) {
    return place < input_count ? router_inputs[static_cast<std::size_t>(place)].changed
                               : router_outputs[static_cast<std::size_t>(place - input_count)].changed;
}

std::size_t told_place_bytes(std::int32_t place) {
    constexpr std::size_t entries_beside = 512; // names of entries, sources, who took last
    const port_properties& properties =
        place < input_count ? router_inputs[static_cast<std::size_t>(place)].properties
                            : router_outputs[static_cast<std::size_t>(place - input_count)].properties;
    const std::string& name = place < input_count
                                  ? input_names[static_cast<std::size_t>(place)]
                                  : router_outputs[static_cast<std::size_t>(place - input_count)].name;
    std::size_t bytes = entries_beside + std::min(name.size(), told_name_bytes);
    for (const auto& [property, value] : properties)
        bytes += comm_packet_entry_bytes + sizeof("output 1024 property ") + property.size() + value.size();
    return bytes;
}

void write_told_take(comm_socket_v4_packet* packet, const decided_take& take) {
    std::string result(take_result_word(take.result));
    if (!take.detail.empty())
        result.append(1, ' ').append(take.detail);
    write_told_number(packet, "take", take.record);
    write_told_number(packet, "time", take.wall_ms);
    comm_socket_v4_packet_write_nv_pair(packet, "way", take.accountable ? "take" : "route");
    write_told_number(packet, "user", take.whose.user);
    write_told_number(packet, "pid", static_cast<std::uint64_t>(take.whose.process));
    if (!take.by.empty())
        comm_socket_v4_packet_write_nv_pair(packet, "by", take.by);
    write_told_number(packet, "output", static_cast<std::uint64_t>(take.output) + 1);
    comm_socket_v4_packet_write_nv_pair(packet, "level", take.breakaway ? "video,audio" : "all");
    comm_socket_v4_packet_write_nv_pair(packet, "from", told_text(take.from));
    comm_socket_v4_packet_write_nv_pair(packet, "to", told_text({take.to, true, true}));
    comm_socket_v4_packet_write_nv_pair(packet, "result", result);
    write_told_number(packet, "milliseconds", take.took_ms);
}
