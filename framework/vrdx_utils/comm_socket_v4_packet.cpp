#include "comm_socket_v4_packet.h"

#include "comm_socket_v4_limits.h"
#include "comm_socket_v4_packet_bytes.h"

#include <algorithm>

namespace {

std::uint64_t get_number(const unsigned char* data, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i)
        number = number << 8U | data[i];
    return number;
}

struct body_reader {
    const std::string& bytes;
    std::size_t at;
};

// Reads the length of a text and steps over the text. False when either is cut short.
bool read_text(body_reader* reader, std::size_t* text_at, std::size_t* text_length) {
    const std::size_t left = reader->bytes.size() - reader->at;
    if (left < comm_packet_text_length_bytes)
        return false;
    const auto* data = reinterpret_cast<const unsigned char*>(reader->bytes.data()) + reader->at;
    const std::uint64_t length = get_number(data, comm_packet_text_length_bytes);
    if (length > left - comm_packet_text_length_bytes)
        return false;
    *text_at = reader->at + comm_packet_text_length_bytes;
    *text_length = static_cast<std::size_t>(length);
    reader->at = *text_at + *text_length;
    return true;
}

// Reads the item at the reader's position. False for an unknown kind and for an item cut short.
bool read_item(body_reader* reader, comm_socket_v4_packet_item* item) {
    *item = {static_cast<comm_packet_item_kind>(reader->bytes[reader->at++]), 0, 0, 0, 0};
    switch (item->kind) {
    case comm_packet_item_kind::command:
    case comm_packet_item_kind::argument:
        return read_text(reader, &item->value_at, &item->value_length);
    case comm_packet_item_kind::end_of_arguments:
        item->value_at = reader->bytes.size(); // no text of its own: the NUL behind the body
        return true;
    case comm_packet_item_kind::name_value:
        return read_text(reader, &item->name_at, &item->name_length) &&
               read_text(reader, &item->value_at, &item->value_length);
    }
    return false;
}

// Adds an item that may stand here; false when it may not.
bool append_item(comm_socket_v4_packet* packet, const comm_socket_v4_packet_item& item,
                 bool* arguments_ended) {
    const auto index = static_cast<std::uint32_t>(packet->items.size());
    const bool is_command = item.kind == comm_packet_item_kind::command;
    if (is_command != (index == 0))
        return false;
    if (is_command && item.value_length == 0)
        return false;
    if (item.kind == comm_packet_item_kind::end_of_arguments ||
        item.kind == comm_packet_item_kind::argument) {
        if (*arguments_ended)
            return false;
    }
    if (item.kind == comm_packet_item_kind::end_of_arguments)
        *arguments_ended = true;
    if (item.kind == comm_packet_item_kind::argument)
        packet->arguments.push_back(index);
    if (item.kind == comm_packet_item_kind::name_value)
        packet->entries.push_back(index);
    packet->items.push_back(item);
    return true;
}

bool decode_items(comm_socket_v4_packet* packet) {
    body_reader reader{packet->bytes, 0};
    bool arguments_ended = false;
    while (reader.at < packet->bytes.size()) {
        comm_socket_v4_packet_item item{};
        if (!read_item(&reader, &item) || !append_item(packet, item, &arguments_ended))
            return false;
    }
    return !packet->items.empty();
}

// The byte behind a text is a kind or a length that has been read, or the NUL that ends every std::string.
void terminate_texts(comm_socket_v4_packet* packet) {
    const auto terminate = [packet](std::size_t at) {
        if (at < packet->bytes.size())
            packet->bytes[at] = '\0';
    };
    for (const auto& item : packet->items) {
        if (item.kind == comm_packet_item_kind::name_value)
            terminate(item.name_at + item.name_length);
        if (item.kind != comm_packet_item_kind::end_of_arguments)
            terminate(item.value_at + item.value_length);
    }
}

std::string_view text_at(const comm_socket_v4_packet* packet, std::size_t at, std::size_t length) {
    return {packet->bytes.data() + at, length};
}

} // namespace

const char* comm_socket_v4_packet_get_command(const comm_socket_v4_packet* packet) {
    return packet->items.empty() ? "" : packet->bytes.data() + packet->items.front().value_at;
}

unsigned comm_socket_v4_packet_get_argc(const comm_socket_v4_packet* packet) {
    return static_cast<unsigned>(packet->arguments.size());
}

const char* comm_socket_v4_packet_get_argv(const comm_socket_v4_packet* packet, unsigned i) {
    if (i >= packet->arguments.size())
        return nullptr;
    return packet->bytes.data() + packet->items[packet->arguments[i]].value_at;
}

unsigned comm_socket_v4_packet_nv_entries(const comm_socket_v4_packet* packet) {
    return static_cast<unsigned>(packet->entries.size());
}

const comm_socket_v4_packet_nv_pair* comm_socket_v4_packet_get_nv_entry(const comm_socket_v4_packet* packet,
                                                                        unsigned i) {
    return i < packet->entries.size() ? &packet->items[packet->entries[i]] : nullptr;
}

const char* comm_socket_v4_packet_get_nv_pair_name(const comm_socket_v4_packet* packet,
                                                   const comm_socket_v4_packet_nv_pair* entry) {
    return entry == nullptr ? nullptr : packet->bytes.data() + entry->name_at;
}

const char* comm_socket_v4_packet_get_nv_pair_value_text(const comm_socket_v4_packet* packet,
                                                         const comm_socket_v4_packet_nv_pair* entry) {
    return entry == nullptr ? nullptr : packet->bytes.data() + entry->value_at;
}

std::string_view comm_socket_v4_packet_item_name(const comm_socket_v4_packet* packet,
                                                 const comm_socket_v4_packet_item& item) {
    return text_at(packet, item.name_at, item.name_length);
}

std::string_view comm_socket_v4_packet_item_value(const comm_socket_v4_packet* packet,
                                                  const comm_socket_v4_packet_item& item) {
    return text_at(packet, item.value_at, item.value_length);
}

comm_packet_frame comm_socket_v4_packet_frame(const unsigned char* data, std::size_t size,
                                              std::size_t* packet_size) {
    if (!std::equal(data, data + std::min(size, comm_packet_magic.size()), comm_packet_magic.begin()))
        return comm_packet_frame::invalid;
    if (size < comm_packet_flags_at)
        return comm_packet_frame::incomplete;
    if (get_number(data + comm_packet_version_at, 2) != comm_packet_version)
        return comm_packet_frame::invalid;
    if (size < comm_packet_result_at)
        return comm_packet_frame::incomplete;
    const std::uint64_t length = get_number(data + comm_packet_length_at, 4);
    if (length == 0 || length > comm_max_packet_bytes)
        return comm_packet_frame::invalid;
    if (size < comm_packet_header_bytes + length)
        return comm_packet_frame::incomplete;
    *packet_size = comm_packet_header_bytes + static_cast<std::size_t>(length);
    return comm_packet_frame::complete;
}

bool comm_socket_v4_packet_peek_command(const unsigned char* data, std::size_t size, comm_told_command* word,
                                        std::size_t* packet_size) {
    constexpr std::size_t length_at = comm_packet_header_bytes + 1; // behind the item's kind
    constexpr std::size_t text_at = length_at + comm_packet_text_length_bytes;
    if (size < text_at ||
        comm_socket_v4_packet_frame(data, size, packet_size) == comm_packet_frame::invalid ||
        data[comm_packet_header_bytes] != static_cast<unsigned char>(comm_packet_item_kind::command))
        return false;
    *packet_size = comm_packet_header_bytes + get_number(data + comm_packet_length_at, 4);
    const std::uint64_t length = get_number(data + length_at, comm_packet_text_length_bytes);
    if (length == 0 || text_at + length > *packet_size)
        return false; // malformed: decoding will say so
    const std::size_t told = std::min<std::size_t>(length, word->size() - 1);
    if (size < text_at + told)
        return false;
    std::copy_n(data + text_at, told, word->begin());
    (*word)[told] = '\0';
    return true;
}

bool comm_socket_v4_packet_decode(comm_socket_v4_packet* packet, const unsigned char* data,
                                  std::size_t size) {
    comm_packet_empty(packet);
    std::size_t framed = 0;
    if (comm_socket_v4_packet_frame(data, size, &framed) != comm_packet_frame::complete || framed != size)
        return false;
    packet->result = get_number(data + comm_packet_result_at, 8);
    packet->bytes.assign(reinterpret_cast<const char*>(data) + comm_packet_header_bytes,
                         size - comm_packet_header_bytes);
    if (!decode_items(packet)) {
        comm_packet_empty(packet);
        return false;
    }
    terminate_texts(packet);
    return true;
}
