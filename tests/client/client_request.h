// Requests as clients send them, and the replies as they arrive.
#pragma once

#include "client.h"
#include "packet_texts.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

struct client_request {
    std::string command;
    std::vector<std::string> arguments{};
    std::vector<std::pair<std::string, std::string>> entries{};
};

struct client_reply {
    int handled;          // what the handler answered
    std::string items;    // in wire order; empty when nothing was written
    std::uint64_t result; // the result word
};

// Hands the request to the driver.
inline client_reply reply_to(const client_request& request) {
    comm_socket_v4_packet sent;
    comm_socket_v4_packet_begin_writing(&sent, 0, request.command.c_str(), nullptr);
    for (const std::string& argument : request.arguments)
        comm_socket_v4_packet_write_arg(&sent, argument);
    comm_socket_v4_packet_write_argv_end(&sent);
    for (const auto& [name, value] : request.entries)
        comm_socket_v4_packet_write_nv_pair(&sent, name, value);
    comm_socket_v4_packet_write_end(&sent);

    comm_socket_v4_packet received;
    EXPECT_TRUE(decode(&received, sent.bytes));
    comm_socket_v4_packet response;
    unsigned char flags = 0;
    const int handled = my_vrdx_custom_packet(&received, &response, &flags, nullptr);
    if (response.bytes.empty())
        return {handled, "", response.result};
    comm_socket_v4_packet arrived;
    EXPECT_TRUE(decode(&arrived, response.bytes));
    return {handled, texts_of(arrived), arrived.result};
}
