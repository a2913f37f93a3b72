// A driver's socket that a test serves as it likes: one client, in a thread of its own.
#pragma once

#include "comm_socket_v4_packet.h"
#include "monotonic_us.h"
#include "packet_client.h"
#include "socket_address.h"
#include "temporary_directory.h"
#include "told_packets.h"

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

constexpr std::uint64_t one_second = 1000000;

// Far beyond what a loaded machine needs.
inline std::uint64_t soon() {
    return monotonic_us() + 60 * one_second;
}

inline std::uint64_t shortly() {
    return monotonic_us() + one_second / 20;
}

inline void send_all(int fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

// Reads one packet and no byte more; one without items when the client has gone.
inline comm_socket_v4_packet receive_packet(int fd) {
    std::string bytes;
    std::size_t size = 0;
    const auto whole = [&] {
        const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
        return comm_socket_v4_packet_frame(data, bytes.size(), &size) == comm_packet_frame::complete;
    };
    comm_socket_v4_packet packet;
    std::array<char, 1> byte{};
    while (!whole()) {
        if (recv(fd, byte.data(), byte.size(), 0) <= 0)
            return packet;
        bytes.push_back(byte.front());
    }
    comm_socket_v4_packet_decode(&packet, reinterpret_cast<const unsigned char*>(bytes.data()), size);
    return packet;
}

inline void wait_for_the_end(int fd) {
    std::array<char, 4096> chunk{};
    while (recv(fd, chunk.data(), chunk.size(), 0) > 0) {
    }
}

class scripted_server : public testing::Test {
protected:
    temporary_directory directory;
    std::string path = directory.file(".tavrixsock.router");
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread server;
    vrdx::driver_connection connection;
    comm_socket_v4_packet reply;

    // Serves one client and connects as that one.
    void serve(std::function<void(int fd)> service) {
        ASSERT_EQ(bind_socket_path(listener, path, 0600, 4), 0);
        server = std::thread([this, service = std::move(service)] {
            const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            service(fd);
            close(fd);
        });
        ASSERT_EQ(vrdx::connect_until(&connection, path, soon()), vrdx::outcome::done);
    }

    std::uint64_t queue(const char* command) {
        return vrdx::queue_request(&connection, vrdx::simple_request(command));
    }

    std::string command_of_reply() {
        return comm_socket_v4_packet_get_command(&reply);
    }

    void TearDown() override {
        vrdx::close_connection(&connection);
        if (server.joinable())
            server.join();
        close(listener);
    }
};
