// A packet's content as one text, so that tests compare what they mean.
#pragma once

#include "comm_socket_v4_packet.h"

#include <string>

// The items in wire order: `C(route) A(3=2) E N(name|value)`.
inline std::string texts_of(const comm_socket_v4_packet& packet) {
    std::string text;
    for (const auto& item : packet.items) {
        text += text.empty() ? "" : " ";
        text += static_cast<char>(item.kind);
        if (item.kind == comm_packet_item_kind::end_of_arguments)
            continue;
        text += '(';
        if (item.kind == comm_packet_item_kind::name_value)
            text.append(comm_socket_v4_packet_item_name(&packet, item)) += '|';
        text.append(comm_socket_v4_packet_item_value(&packet, item)) += ')';
    }
    return text;
}

inline bool decode(comm_socket_v4_packet* packet, const std::string& bytes) {
    return comm_socket_v4_packet_decode(packet, reinterpret_cast<const unsigned char*>(bytes.data()),
                                        bytes.size());
}

inline comm_packet_frame frame(const std::string& bytes, std::size_t* size) {
    return comm_socket_v4_packet_frame(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                                       size);
}

inline std::string big_endian(std::size_t size, std::uint64_t number) {
    std::string bytes(size, '\0');
    for (std::size_t i = size; i-- > 0; number >>= 8U)
        bytes[i] = static_cast<char>(number & 0xffU);
    return bytes;
}

// A header for a body of `length` bytes.
inline std::string packet_header(std::uint64_t length, unsigned version = 1, std::uint64_t result = 0) {
    return "TVX4" + big_endian(2, version) + big_endian(2, 0) + big_endian(4, length) + big_endian(8, result);
}

inline std::string with_header(const std::string& body) {
    return packet_header(body.size()) + body;
}

inline std::string counted(const std::string& text) {
    return big_endian(4, text.size()) + text;
}
