// What a client sends: framing, decoding, and everything that can be asked of a decoded packet.
#include "comm_socket_v4_limits.h"
#include "comm_socket_v4_packet.h"
#include "target.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

// Nothing is read beyond a text, and a C string ends where its text does, or earlier.
void check_texts(const comm_socket_v4_packet& packet) {
    FUZZ_CHECK(*comm_socket_v4_packet_get_command(&packet) != '\0' ||
               comm_socket_v4_packet_item_value(&packet, packet.items.front()).front() == '\0');
    for (unsigned i = 0; i < comm_socket_v4_packet_get_argc(&packet); ++i) {
        const char* text = comm_socket_v4_packet_get_argv(&packet, i);
        FUZZ_CHECK(std::strlen(text) <= packet.items[packet.arguments[i]].value_length);
    }
    FUZZ_CHECK(comm_socket_v4_packet_get_argv(&packet, comm_socket_v4_packet_get_argc(&packet)) == nullptr);
    for (unsigned i = 0; i < comm_socket_v4_packet_nv_entries(&packet); ++i) {
        const auto* entry = comm_socket_v4_packet_get_nv_entry(&packet, i);
        const char* name = comm_socket_v4_packet_get_nv_pair_name(&packet, entry);
        const char* value = comm_socket_v4_packet_get_nv_pair_value_text(&packet, entry);
        FUZZ_CHECK(std::strlen(name) <= entry->name_length && std::strlen(value) <= entry->value_length);
    }
    const unsigned beyond = comm_socket_v4_packet_nv_entries(&packet);
    FUZZ_CHECK(comm_socket_v4_packet_get_nv_entry(&packet, beyond) == nullptr);
}

// What was read can be written again, to the same bytes.
void check_rewriting(const comm_socket_v4_packet& packet, std::string_view wire) {
    const std::string command(comm_socket_v4_packet_item_value(&packet, packet.items.front()));
    if (command.find('\0') != std::string::npos)
        return; // a C string is all that the writer uses as a command
    const auto flags = static_cast<unsigned>(static_cast<unsigned char>(wire[6]) << 8U |
                                             static_cast<unsigned char>(wire[7]));
    comm_socket_v4_packet written;
    written.result = packet.result;
    FUZZ_CHECK(comm_socket_v4_packet_begin_writing(&written, flags, command.c_str(), nullptr) == 0);
    for (auto item = packet.items.begin() + 1; item != packet.items.end(); ++item) {
        const std::string_view value = comm_socket_v4_packet_item_value(&packet, *item);
        if (item->kind == comm_packet_item_kind::argument)
            comm_socket_v4_packet_write_arg(&written, value);
        else if (item->kind == comm_packet_item_kind::end_of_arguments)
            comm_socket_v4_packet_write_argv_end(&written);
        else
            comm_socket_v4_packet_write_nv_pair(&written, comm_socket_v4_packet_item_name(&packet, *item),
                                                value);
    }
    FUZZ_CHECK(comm_socket_v4_packet_write_end(&written) == 0);
    FUZZ_CHECK(!written.too_large && written.bytes == wire);
}

// A packet that arrives in two pieces is judged like one that arrives whole.
void check_first_part(const std::uint8_t* data, std::size_t size, comm_packet_frame whole) {
    for (const std::size_t part :
         {std::min<std::size_t>(size, 3), std::min<std::size_t>(size, 11), size / 2}) {
        std::size_t packet_size = 0;
        const comm_packet_frame seen = comm_socket_v4_packet_frame(data, part, &packet_size);
        FUZZ_CHECK(seen == whole || seen == comm_packet_frame::incomplete);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static comm_socket_v4_packet packet; // used again and again, as the server does
    while (size > 0) {
        std::size_t packet_size = 0;
        const comm_packet_frame frame = comm_socket_v4_packet_frame(data, size, &packet_size);
        check_first_part(data, size, frame);
        if (frame != comm_packet_frame::complete)
            return 0;
        FUZZ_CHECK(packet_size > comm_packet_header_bytes && packet_size <= size);
        FUZZ_CHECK(packet_size <= comm_packet_header_bytes + comm_max_packet_bytes);
        if (!comm_socket_v4_packet_decode(&packet, data, packet_size))
            return 0;
        check_texts(packet);
        check_rewriting(packet, as_text(data, packet_size));
        data += packet_size;
        size -= packet_size;
    }
    return 0;
}
