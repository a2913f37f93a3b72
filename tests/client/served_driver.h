// The driver's modules behind a real socket, in the test's own process and with its clock: what comes late
// and what is told of the driver's own accord is seen as clients see it.
#pragma once

#include "fresh_driver.h"
#include "pipelined_requests.h"
#include "router_picture.h"
#include "temporary_directory.h"
#include "test_client.h"
#include "wired_backend.h"

#include <array>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

class served_driver : public fresh_driver {
protected:
    served_driver() {
        listen_once();
        vrdx_comm_server = comm_socket_v4_create_server(directory_.file("socket"));
        on_vrdx_custom_packet = my_vrdx_custom_packet;
        vrdx_on_hold = packet_must_wait;
        vrdx_on_client_gone = requester_left;
        forget_backend();
        resize_picture(0, 0, false);
        resize_picture(4, 3, true);
        name_input(1, "Camera 2");
        for (std::int32_t output = 0; output < 3; ++output)
            report_sources(output, {0, 0});
    }
    ~served_driver() override {
        backend_.reset();
        comm_socket_v4_destroy_server(vrdx_comm_server);
        vrdx_comm_server = nullptr;
        on_vrdx_custom_packet = nullptr;
        vrdx_on_hold = nullptr;
        vrdx_on_client_gone = nullptr;
        forget_backend();
    }
    void SetUp() override {
        ASSERT_NE(vrdx_comm_server, nullptr);
    }

    static void serve() {
        while (comm_socket_v4_accept_turn(vrdx_comm_server) + comm_socket_v4_clients_turn(vrdx_comm_server) >
               0) {
        }
    }
    // The steps of a pass that concern clients.
    static void pass() {
        if (backend_stdout_fd >= 0)
            read_backend_stdout();
        pending_to_buffer();
        plan_route_changes();
        expire_assumed_routes();
        expire_takes();
        serve_watchers();
        serve();
    }
    // Until the backend has got all that waited.
    static void send_all() {
        do
            pass();
        while (pending_line_count() > 0);
        pass();
    }
    void report(const std::string& lines) const {
        backend_->say_on_stdout(lines);
        pass();
    }
    static void pass_time(std::uint64_t us) {
        settable_clock_us += us;
        pass();
    }

    [[nodiscard]] std::unique_ptr<test_client> connect() const {
        auto client = std::make_unique<test_client>(directory_.file("socket"));
        serve();
        return client;
    }
    // What came since the last call; throws when half a packet came.
    static std::vector<test_reply> received(const test_client& client) {
        std::string bytes;
        std::array<char, 65536> piece{};
        for (ssize_t count = 1; count > 0;) {
            count = recv(client.fd(), piece.data(), piece.size(), MSG_DONTWAIT);
            bytes.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            serve();
        }
        return replies_in(bytes);
    }
    // Sends a request; what came by the end of its turn.
    static std::vector<test_reply> ask(const test_client& client, const std::string& command,
                                       const std::vector<std::string>& arguments = {},
                                       const name_values& entries = {}) {
        client.send_bytes(request_bytes(command, arguments, entries));
        serve();
        return received(client);
    }
    // The one reply that came.
    static test_reply ask_one(const test_client& client, const std::string& command,
                              const std::vector<std::string>& arguments = {},
                              const name_values& entries = {}) {
        const auto all = ask(client, command, arguments, entries);
        EXPECT_EQ(all.size(), 1U);
        return all.empty() ? test_reply{} : all.front();
    }
    static std::vector<std::string> commands_of(const std::vector<test_reply>& packets) {
        std::vector<std::string> commands;
        commands.reserve(packets.size());
        for (const test_reply& packet : packets)
            commands.push_back(packet.command);
        return commands;
    }
    // What others are told of a take from this process.
    static std::string own_process() {
        return std::to_string(geteuid()) + " " + std::to_string(getpid());
    }

    const temporary_directory directory_;
    std::optional<wired_backend> backend_{std::in_place};

private:
    // Nobody can stop listening, and so all tests of this program share the listeners.
    static void listen_once() {
        static const bool listening = [] {
            watch_takes(answer_decided_take);
            watch_for_watchers();
            watch_picture(count_rollbacks);
            return true;
        }();
        EXPECT_TRUE(listening);
    }
};

// The entries from the one of this name on, up to and without the one of that name.
inline name_values entries_between(const test_reply& packet, const std::string& from, const std::string& to) {
    name_values found;
    bool within = false;
    for (const auto& entry : packet.entries) {
        within = (within || entry.first == from) && entry.first != to;
        if (within)
            found.push_back(entry);
    }
    return found;
}
