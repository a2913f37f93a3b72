#include "comm_socket_v4_packet.h"

#include "comm_socket_v4_limits.h"
#include "comm_socket_v4_packet_bytes.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr std::size_t kept_items = 16384;

void put_number(char* data, std::size_t size, std::uint64_t number) {
    for (std::size_t i = size; i > 0; --i) {
        data[i - 1] = static_cast<char>(number & 0xffU);
        number >>= 8U;
    }
}

// Puts length and text at `at`; gives what is behind them.
char* put_text(char* at, std::string_view text) {
    put_number(at, comm_packet_text_length_bytes, text.size());
    at += comm_packet_text_length_bytes;
    return at + text.copy(at, text.size());
}

// Where an item of none, one or two texts is to be put, behind its kind; null when nothing more may be added.
char* add_item(comm_socket_v4_packet* packet, comm_packet_item_kind kind, std::size_t texts,
               std::size_t first, std::size_t second) {
    if (!packet->writing || packet->too_large)
        return nullptr;
    const std::size_t room = comm_socket_v4_packet_room(packet);
    const std::size_t fixed = 1 + texts * comm_packet_text_length_bytes;
    if (fixed > room || first > room - fixed || second > room - fixed - first) {
        packet->too_large = true;
        packet->bytes.clear();
        return nullptr;
    }
    const std::size_t at = packet->bytes.size();
    packet->bytes.resize(at + fixed + first + second);
    packet->bytes[at] = static_cast<char>(kind);
    return packet->bytes.data() + at + 1;
}

void append_item(comm_socket_v4_packet* packet, comm_packet_item_kind kind, std::string_view text) {
    if (char* at = add_item(packet, kind, 1, text.size(), 0))
        put_text(at, text);
}

} // namespace

void comm_packet_empty(comm_socket_v4_packet* packet) {
    packet->bytes.clear();
    packet->items.clear();
    packet->arguments.clear();
    packet->entries.clear();
    // A packet of nothing but empty arguments has hundreds of thousands of items; their room is not kept.
    if (packet->items.capacity() > kept_items) {
        packet->items.shrink_to_fit();
        packet->arguments.shrink_to_fit();
        packet->entries.shrink_to_fit();
    }
    packet->writing = false;
    packet->too_large = false;
}

int comm_socket_v4_packet_begin_writing(comm_socket_v4_packet* packet, unsigned flags, const char* command,
                                        const char* first_arg) {
    if (command == nullptr || *command == '\0')
        return -1;
    comm_packet_empty(packet);
    packet->bytes.assign(reinterpret_cast<const char*>(comm_packet_magic.data()), comm_packet_magic.size());
    packet->bytes.resize(comm_packet_header_bytes); // length and result are filled in by write_end
    put_number(packet->bytes.data() + comm_packet_version_at, 2, comm_packet_version);
    put_number(packet->bytes.data() + comm_packet_flags_at, 2, flags);
    packet->writing = true;
    append_item(packet, comm_packet_item_kind::command, command);
    if (first_arg != nullptr)
        comm_socket_v4_packet_write_arg(packet, first_arg);
    return 0;
}

void comm_socket_v4_packet_write_arg(comm_socket_v4_packet* packet, std::string_view value) {
    append_item(packet, comm_packet_item_kind::argument, value);
}

void comm_socket_v4_packet_write_argv_end(comm_socket_v4_packet* packet) {
    add_item(packet, comm_packet_item_kind::end_of_arguments, 0, 0, 0);
}

void comm_socket_v4_packet_write_nv_pair(comm_socket_v4_packet* packet, std::string_view name,
                                         std::string_view value) {
    if (char* at = add_item(packet, comm_packet_item_kind::name_value, 2, name.size(), value.size()))
        put_text(put_text(at, name), value);
}

void comm_socket_v4_packet_write_nv_pairf(comm_socket_v4_packet* packet, std::string_view name,
                                          const char* format, ...) {
    std::array<char, 512> local; // not initialised: this runs for every output of every status reply
    va_list values;
    va_start(values, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is, in the line before
    const int formatted = std::vsnprintf(local.data(), local.size(), format, values);
    va_end(values);
    const auto length = static_cast<std::size_t>(std::max(formatted, 0)); // unformattable: an empty value
    if (length < local.size()) {
        comm_socket_v4_packet_write_nv_pair(packet, name, {local.data(), length});
        return;
    }
    std::string text(length, '\0');
    va_start(values, format);
    std::vsnprintf(text.data(), length + 1, format, values);
    va_end(values);
    comm_socket_v4_packet_write_nv_pair(packet, name, text);
}

void comm_socket_v4_packet_append_items(comm_socket_v4_packet* packet, const comm_socket_v4_packet& other,
                                        std::size_t from) {
    if (!packet->writing || packet->too_large || other.too_large || from > other.bytes.size())
        return;
    const std::size_t size = other.bytes.size() - from;
    packet->too_large = size > comm_socket_v4_packet_room(packet);
    if (packet->too_large)
        packet->bytes.clear();
    else
        packet->bytes.append(other.bytes, from, size);
}

std::size_t comm_socket_v4_packet_room(const comm_socket_v4_packet* packet) {
    return packet->too_large ? 0 : comm_packet_header_bytes + comm_max_packet_bytes - packet->bytes.size();
}

int comm_socket_v4_packet_write_end(comm_socket_v4_packet* packet) {
    if (!packet->writing)
        return -1;
    packet->writing = false;
    if (packet->too_large)
        return 0;
    put_number(packet->bytes.data() + comm_packet_length_at, 4,
               packet->bytes.size() - comm_packet_header_bytes);
    put_number(packet->bytes.data() + comm_packet_result_at, 8, packet->result);
    return 0;
}
