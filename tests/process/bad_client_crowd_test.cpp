// Too many clients, clients that send too fast, and descriptors that nobody asked for.
#include "bad_client_fixture.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

class ClientCrowd : public bad_client_fixture {};

#if defined(__SANITIZE_ADDRESS__)
constexpr std::uint64_t slowness = 10;
#else
constexpr std::uint64_t slowness = 1;
#endif

// The longest median wait of a client beside flooding ones. The aim on an idle machine is far below; this
// bound holds beside other tests.
constexpr std::uint64_t longest_median_us = 200000 * slowness;

// Room for `count` connections in this process. False when the machine does not grant it.
bool raise_descriptor_limit(rlim_t count) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(count, limit.rlim_max));
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= count;
}

// Sends one byte together with copies of `fd`. False when there is no room for now.
bool send_with_descriptors(int socket, char byte, int fd) {
    constexpr int copies = 10;
    std::array<int, copies> descriptors{};
    descriptors.fill(fd);
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(descriptors))> control{};
    iovec data{&byte, 1};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof(descriptors));
    std::memcpy(CMSG_DATA(part), descriptors.data(), sizeof(descriptors));
    return sendmsg(socket, &message, MSG_NOSIGNAL) == 1;
}

// Clients that send request upon request, without waiting for replies; who is cut comes back at once.
class flood {
public:
    flood(const std::string& socket_path, const std::string& request, int clients) {
        for (int i = 0; i < 100; ++i)
            requests_ += request;
        for (int i = 0; i < clients; ++i)
            threads_.emplace_back([this, socket_path] { run(socket_path); });
        wait_until("the flood is on", [&] { return answered_ > 0; });
    }
    ~flood() {
        stop_ = true;
        for (std::thread& thread : threads_)
            thread.join();
    }
    flood(const flood&) = delete;
    flood& operator=(const flood&) = delete;

private:
    void run(const std::string& socket_path) {
        while (!stop_) {
            const test_client client(socket_path);
            while (!stop_ && exchange_some(client.fd())) {
            }
        }
    }
    // False when the driver has closed the connection.
    bool exchange_some(int fd) {
        std::array<char, 65536> bytes{};
        // Small enough to be taken whole or not at all.
        if (send(fd, requests_.data(), requests_.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0 && errno != EAGAIN)
            return false;
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
        answered_ += count > 0 ? 1 : 0;
        return count > 0 || (count < 0 && errno == EAGAIN);
    }

    std::string requests_;
    std::atomic<bool> stop_ = false;
    std::atomic<long> answered_ = 0;
    std::vector<std::thread> threads_;
};

} // namespace

TEST_F(ClientCrowd, OneUserGets768PlacesAndIsToldWhenTheyAreTaken) {
    constexpr std::size_t connections = 900;
    constexpr std::size_t places = comm_max_clients * comm_parts_for_one_user / comm_parts_of_places;
    if (!raise_descriptor_limit(connections + 100))
        GTEST_SKIP() << "the limit on open files is too low here";
    const std::uint64_t start = monotonic_us();
    std::vector<std::unique_ptr<test_client>> crowd;
    for (std::size_t i = 0; i < connections; ++i)
        crowd.push_back(std::make_unique<test_client>(socket()));
    std::size_t served = 0;
    std::size_t refused = 0;
    for (const auto& one : crowd) {
        const test_reply reply = one->request("ping");
        const bool is_error = reply.command == "error";
        served += reply.command == "ping" ? 1 : 0;
        refused += is_error && reply.arguments.at(0) == "too many clients of this user" ? 1 : 0;
    }
    EXPECT_EQ(served, places - 1); // the witness is one of them
    EXPECT_EQ(refused, connections - served);
    const std::size_t lines = told("Client refused: 768 of this user are connected (user ");
    EXPECT_GE(lines, 1U);
    EXPECT_LE(lines, 1 + (monotonic_us() - start) / comm_refusals_us) << "a storm must not fill the log";
}

TEST_F(ClientCrowd, DescriptorsSentAlongNeverPileUp) {
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const test_client sender(socket());
    std::string reply = request_bytes("ping"); // as long as its reply
    for (int i = 0; i < 50; ++i) {
        for (const char byte : request_bytes("ping"))
            wait_until("it is sent", [&] { return send_with_descriptors(sender.fd(), byte, null); });
        wait_until("the reply is there", [&] {
            return recv(sender.fd(), reply.data(), reply.size(), MSG_PEEK) ==
                   static_cast<ssize_t>(reply.size());
        });
        recv(sender.fd(), reply.data(), reply.size(), 0);
    }
    close(null);
    EXPECT_EQ(driver_.settled_descriptor_count(), descriptors_ + 1); // the sender's connection
}

TEST_F(ClientCrowd, FloodOfRequestsLeavesOthersTheirShare) {
    for (const char* command : {"ping", "status"}) {
        const flood flood(socket(), request_bytes(command), 3);
        std::vector<std::uint64_t> waits;
        for (int i = 0; i < 101; ++i) {
            const std::uint64_t start = monotonic_us();
            EXPECT_EQ(witness_.request("ping").command, "ping");
            waits.push_back(monotonic_us() - start);
        }
        std::sort(waits.begin(), waits.end());
        EXPECT_LT(waits[50], longest_median_us) << "beside a flood of " << command;
        RecordProperty(std::string(command) + "_median_us", std::to_string(waits[50]));
        RecordProperty(std::string(command) + "_longest_us", std::to_string(waits.back()));
    }
}

TEST_F(ClientCrowd, FloodOfTakesLeavesOthersTheirShare) {
    std::vector<std::uint64_t> waits;
    test_client busy(socket());
    for (int i = 0; i < 21; ++i) {
        busy.send_bytes(request_bytes("route", std::vector<std::string>(200, "3=4")));
        const std::uint64_t start = monotonic_us();
        EXPECT_EQ(witness_.request("ping").command, "ping");
        waits.push_back(monotonic_us() - start);
    }
    std::sort(waits.begin(), waits.end());
    EXPECT_LT(waits[10], longest_median_us);
}

TEST_F(ClientCrowd, ConnectionsThatComeAndGoLeaveNothing) {
    for (int i = 0; i < 500; ++i)
        const test_client gone(socket());
    EXPECT_EQ(told("Client cut: "), 0U);
}
