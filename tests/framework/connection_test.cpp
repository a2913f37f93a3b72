#include "comm_socket_v4_connection.h"
#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"
#include "packet_texts.h"
#include "socket_address.h"
#include "temporary_directory.h"

#include <array>
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::uint64_t second = 1000000;

std::uint64_t soon() {
    return monotonic_us() + 30 * second; // far beyond what a loaded machine needs
}

comm_socket_v4_packet packet_of(const char* command, const std::string& argument = {}) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, command, nullptr);
    comm_socket_v4_packet_write_arg(&packet, argument);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_end(&packet);
    return packet;
}

void send_all(int fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

// Reads one packet, whole; its bytes. Shorter when the client goes.
std::string receive_packet(int fd) {
    std::string bytes;
    std::size_t size = 0;
    std::array<char, 4096> chunk{};
    while (frame(bytes, &size) != comm_packet_frame::complete) {
        const ssize_t count = recv(fd, chunk.data(), chunk.size(), 0);
        if (count <= 0)
            break;
        bytes.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return bytes;
}

void wait_for_the_end(int fd) {
    std::array<char, 4096> chunk{};
    while (recv(fd, chunk.data(), chunk.size(), 0) > 0) {
    }
}

// A driver that serves one client, in the way the test gives.
class Connection : public testing::Test {
protected:
    temporary_directory directory;
    std::string path = directory.path() + "/.tavrixsock.router";
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread driver;
    comm_socket_v4_connection connection;
    comm_socket_v4_packet reply;

    void serve(std::function<void(int fd)> service) {
        ASSERT_EQ(bind_socket_path(listener, path, 0600, 4), 0);
        driver = std::thread([this, service = std::move(service)] {
            const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            service(fd);
            close(fd);
        });
        ASSERT_EQ(comm_socket_v4_connect(&connection, path), 0);
    }

    void TearDown() override {
        comm_socket_v4_disconnect(&connection);
        if (driver.joinable())
            driver.join();
        close(listener);
    }
};

} // namespace

TEST_F(Connection, CarriesRequestsAndRepliesInOrder) {
    serve([](int fd) {
        for (int i = 0; i < 3; ++i)
            send_all(fd, receive_packet(fd)); // an echo
    });
    for (const char* command : {"one", "two", "three"}) {
        ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of(command), &reply, soon()),
                  comm_exchange::done);
        EXPECT_STREQ(comm_socket_v4_packet_get_command(&reply), command);
    }
}

TEST_F(Connection, LargestPacketsGoBothWaysInPieces) {
    serve([](int fd) { send_all(fd, receive_packet(fd)); });
    const std::string text(comm_max_packet_bytes - 100, 'x');
    ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of("big", text), &reply, soon()),
              comm_exchange::done);
    EXPECT_EQ(comm_socket_v4_packet_get_argv(&reply, 0), text);
}

TEST_F(Connection, ReplyMayComeByteForByte) {
    serve([](int fd) {
        receive_packet(fd);
        for (const char byte : packet_of("status", "no router").bytes)
            send_all(fd, std::string(1, byte));
    });
    ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()), comm_exchange::done);
    EXPECT_EQ(texts_of(reply), "C(status) A(no router) E");
}

TEST_F(Connection, BytesBehindAReplyAreKeptForTheNext) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(fd, packet_of("first").bytes + packet_of("second").bytes);
        receive_packet(fd);
    });
    ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of("a"), &reply, soon()), comm_exchange::done);
    EXPECT_STREQ(comm_socket_v4_packet_get_command(&reply), "first");
    ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of("b"), &reply, soon()), comm_exchange::done);
    EXPECT_STREQ(comm_socket_v4_packet_get_command(&reply), "second");
}

TEST_F(Connection, LastWordOfADriverThatClosesIsDelivered) {
    serve([](int fd) { send_all(fd, packet_of("error", "too many clients").bytes); });
    driver.join(); // the driver is gone before the request is sent
    ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()), comm_exchange::done);
    EXPECT_EQ(texts_of(reply), "C(error) A(too many clients) E");
}

TEST_F(Connection, LastWordIsDeliveredThoughALargeRequestWasCutOff) {
    serve([](int fd) { send_all(fd, packet_of("error", "too many clients").bytes); });
    const std::string text(comm_max_packet_bytes - 100, 'x');
    ASSERT_EQ(comm_socket_v4_exchange(&connection, packet_of("big", text), &reply, soon()),
              comm_exchange::done);
    EXPECT_EQ(texts_of(reply), "C(error) A(too many clients) E");
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("ping"), &reply, soon()), comm_exchange::gone);
}

TEST_F(Connection, DriverThatClosesWithoutAReplyIsGone) {
    serve([](int fd) { receive_packet(fd); });
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()), comm_exchange::gone);
    EXPECT_EQ(connection.fd, -1);
}

TEST_F(Connection, DriverThatClosesInTheMiddleOfItsReplyIsGone) {
    serve([](int fd) {
        receive_packet(fd);
        const std::string bytes = packet_of("status").bytes;
        send_all(fd, bytes.substr(0, bytes.size() - 1));
    });
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()), comm_exchange::gone);
}

TEST_F(Connection, SilentDriverIsLateAndItsConnectionClosed) {
    serve(wait_for_the_end);
    const std::uint64_t start = monotonic_us();
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, start + second / 20),
              comm_exchange::late);
    EXPECT_GE(monotonic_us(), start + second / 20);
    EXPECT_EQ(connection.fd, -1);
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()), comm_exchange::gone);
}

TEST_F(Connection, DriverThatNeverReadsIsLate) {
    serve([this](int) {
        std::array<char, 1> nothing{};
        const int waiting = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); // until the test says so
        EXPECT_EQ(recv(waiting, nothing.data(), nothing.size(), 0), 0);
        close(waiting);
    });
    const std::string text(comm_max_packet_bytes - 100, 'x');
    EXPECT_EQ(
        comm_socket_v4_exchange(&connection, packet_of("big", text), &reply, monotonic_us() + second / 20),
        comm_exchange::late);
    comm_socket_v4_connection release;
    EXPECT_EQ(comm_socket_v4_connect(&release, path), 0);
    comm_socket_v4_disconnect(&release);
}

TEST_F(Connection, ReplyThatIsNoPacketIsRejected) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(fd, "HTTP/1.0 400 Bad Request\r\n");
        wait_for_the_end(fd);
    });
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()),
              comm_exchange::rejected);
    EXPECT_EQ(connection.fd, -1);
}

TEST_F(Connection, MalformedReplyIsRejected) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(fd, with_header("A" + counted("no command in front")));
        wait_for_the_end(fd);
    });
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("status"), &reply, soon()),
              comm_exchange::rejected);
}

TEST_F(Connection, RequestThatIsTooLargeOrUnfinishedIsNotSent) {
    serve([](int fd) { send_all(fd, receive_packet(fd)); });
    comm_socket_v4_packet unfinished;
    EXPECT_EQ(comm_socket_v4_exchange(&connection, unfinished, &reply, soon()), comm_exchange::rejected);
    comm_socket_v4_packet_begin_writing(&unfinished, 0, "half", nullptr);
    EXPECT_EQ(comm_socket_v4_exchange(&connection, unfinished, &reply, soon()), comm_exchange::rejected);
    const comm_socket_v4_packet large = packet_of("large", std::string(comm_max_packet_bytes, 'x'));
    EXPECT_EQ(comm_socket_v4_exchange(&connection, large, &reply, soon()), comm_exchange::rejected);
    // Nothing went out: the connection still serves.
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("ping"), &reply, soon()), comm_exchange::done);
}

TEST_F(Connection, NobodyListensThere) {
    EXPECT_EQ(comm_socket_v4_connect(&connection, path), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(connection.fd, -1);
    EXPECT_EQ(comm_socket_v4_exchange(&connection, packet_of("ping"), &reply, soon()), comm_exchange::gone);
    EXPECT_EQ(errno, ENOTCONN);
}

TEST_F(Connection, ConnectingDoesNotWaitForADriverThatIsStuck) {
    ASSERT_EQ(bind_socket_path(listener, path, 0600, 0), 0);
    std::array<comm_socket_v4_connection, 8> clients;
    int refused = 0;
    for (auto& client : clients) {
        if (comm_socket_v4_connect(&client, path) < 0) {
            EXPECT_EQ(errno, EAGAIN);
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
    for (auto& client : clients)
        comm_socket_v4_disconnect(&client);
}
