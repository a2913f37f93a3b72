// A server in the test's own process, served by the test, and clients of it.
#pragma once

#include "captured_stream.h"
#include "comm_socket_v4_internal.h"
#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "pipelined_requests.h"
#include "server_surroundings.h"
#include "temporary_directory.h"
#include "test_client.h"
#include "vrdx.h"

#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

class server_fixture : public testing::Test {
protected:
    server_fixture() {
        reset_variables();
        server_ = comm_socket_v4_create_server(path_);
    }
    ~server_fixture() override {
        comm_socket_v4_destroy_server(server_);
        reset_variables();
    }
    void SetUp() override {
        ASSERT_NE(server_, nullptr);
    }

    // Turns, until there is nothing more to do.
    void serve() const {
        while (comm_socket_v4_accept_turn(server_) + comm_socket_v4_clients_turn(server_) > 0) {
        }
    }
    void wait_for_clients(std::uint64_t longest_us) const {
        comm_socket_v4_server_from_client_readable(server_, monotonic_us() + longest_us);
    }
    // Something ends it before its deadline.
    void wait_for_clients() const {
        const std::uint64_t deadline = monotonic_us() + far_away_us;
        comm_socket_v4_server_from_client_readable(server_, deadline);
        EXPECT_LT(monotonic_us(), deadline);
    }
    std::string trace() {
        return trace_.take();
    }
    // Connected and accepted, or refused.
    [[nodiscard]] std::unique_ptr<test_client> connect() const {
        auto client = std::make_unique<test_client>(path_);
        serve();
        return client;
    }
    // What the client has been sent so far.
    [[nodiscard]] static std::string received(const test_client& client) {
        std::string bytes;
        std::array<char, 65536> piece{};
        for (ssize_t count = 0; (count = ::recv(client.fd(), piece.data(), piece.size(), MSG_DONTWAIT)) > 0;)
            bytes.append(piece.data(), static_cast<std::size_t>(count));
        return bytes;
    }
    // The command words of the replies that the client has got so far.
    [[nodiscard]] static std::vector<std::string> replies(const test_client& client) {
        std::vector<std::string> commands;
        for (const test_reply& reply : replies_in(received(client)))
            commands.push_back(reply.command);
        return commands;
    }
    [[nodiscard]] static bool is_cut(const test_client& client) {
        char byte = 0;
        return ::recv(client.fd(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
    }

    static constexpr std::uint64_t far_away_us = std::chrono::microseconds(test_patience).count();
    const temporary_directory directory_;
    const std::string path_ = directory_.file("socket");
    captured_stream trace_{stderr};
    comm_socket_v4* server_ = nullptr;

private:
    static void reset_variables() {
        on_vrdx_custom_packet = nullptr;
        vrdx_on_set = nullptr;
        vrdx_on_hold = nullptr;
        vrdx_on_client_gone = nullptr;
        vrdx_should_exit = false;
        vrdx_end_wait = false;
        DIE4 = 0;
        next_peer = {4711, 1000, 1000};
        peer_is_unknown = false;
        clock_ahead_us = 0;
        clock_stands_at = 0;
    }
};
