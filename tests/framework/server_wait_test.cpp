// The wait of a pass, in which clients are served.
#include "server_fixture.h"

#include <atomic>
#include <csignal>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;

class Wait : public server_fixture {};

int end_wait(comm_socket_v4_packet*, comm_socket_v4_packet* response, unsigned char*,
             comm_socket_v4_client*) {
    vrdx_end_wait = true;
    comm_socket_v4_packet_begin_writing(response, 0, "due", nullptr);
    comm_socket_v4_packet_write_end(response);
    return 1;
}

} // namespace

TEST_F(Wait, ServesRequestUponRequest) {
    std::thread client([&] {
        test_client asking(path_);
        for (int i = 0; i < 50; ++i)
            EXPECT_EQ(asking.request("ping").command, "ping");
        asking.request("exit");
    });
    wait_for_clients();
    client.join();
    EXPECT_TRUE(vrdx_should_exit);
}

TEST_F(Wait, LoneRequestCostsOneLookOneReceiveAndOneSend) {
    constexpr int requests = 50;
    const auto connected = connect();
    std::thread client([&] {
        for (int i = 1; i < requests; ++i)
            connected->request("ping");
        connected->request("exit");
    });
    calls_made = {};
    wait_for_clients();
    const counted_calls seen = calls_made;
    client.join();
    EXPECT_LE(seen.waits, requests);
    EXPECT_EQ(seen.receives, requests);
    EXPECT_EQ(seen.sends, requests);
    EXPECT_EQ(seen.changes, 0);
}

TEST_F(Wait, LastsUntilItsDeadlineBesideAClientThatAsksWithoutPause) {
    std::atomic<bool> stop = false;
    std::atomic<int> answered = 0;
    std::thread client([&] {
        test_client asking(path_);
        while (!stop && asking.request("ping").command == "ping")
            ++answered;
        EXPECT_TRUE(stop);
    });
    int rounds = 0;
    while (answered < 10) { // the first wait may be over before the client has come
        const std::uint64_t deadline = monotonic_us() + 20000;
        comm_socket_v4_server_from_client_readable(server_, deadline);
        EXPECT_GE(monotonic_us(), deadline);
        ASSERT_LT(++rounds, 3000);
    }
    stop = true;
    wait_until("the last one is answered", [&] {
        serve();
        return answered >= 10 && server_->clients.empty();
    });
    client.join();
}

TEST_F(Wait, RequestsSentAheadAreServedWithoutSleeping) {
    const auto client = connect();
    std::string requests;
    for (int i = 0; i < 20; ++i)
        requests += request_bytes("ping");
    client->send_bytes(requests + request_bytes("exit"));
    wait_for_clients();
    EXPECT_EQ(replies(*client).size(), 21U);
}

TEST_F(Wait, ClientsTakeTurnsInIt) {
    const auto pushing = connect();
    const auto other = connect();
    std::string requests;
    for (int i = 0; i < 20; ++i)
        requests += request_bytes("ping");
    pushing->send_bytes(requests);
    other->send_bytes(request_bytes("exit"));
    wait_for_clients();
    EXPECT_THAT(replies(*other), ElementsAre("exit"));
    EXPECT_LE(replies(*pushing).size(), 2U);
}

TEST_F(Wait, LooksOnceAndDoesNotSleepWhenItsDeadlineHasPassed) {
    const auto client = connect();
    client->send_bytes(request_bytes("ping"));
    calls_made = {};
    comm_socket_v4_server_from_client_readable(server_, monotonic_us());
    EXPECT_EQ(calls_made.waits, 1);
    EXPECT_THAT(replies(*client), ElementsAre("ping"));
}

TEST_F(Wait, LooksOnceAndDoesNotSleepWhenThePassIsWanted) {
    const auto client = connect();
    for (const int what : {0, 1, 2}) {
        vrdx_end_wait = what == 0;
        vrdx_should_exit = what == 1;
        DIE4 = what == 2 ? 1 : 0;
        client->send_bytes(request_bytes("ping"));
        calls_made = {};
        wait_for_clients();
        EXPECT_EQ(calls_made.waits, 1);
        EXPECT_THAT(replies(*client), ElementsAre("ping"));
    }
}

TEST_F(Wait, EndsWhenARequestMadeSomethingDue) {
    on_vrdx_custom_packet = end_wait;
    const auto client = connect();
    client->send_bytes(request_bytes("due") + request_bytes("ping"));
    wait_for_clients();
    EXPECT_THAT(replies(*client), ElementsAre("due"));
    EXPECT_TRUE(vrdx_end_wait) << "the driver's to reset";
    wait_for_clients();
    EXPECT_THAT(replies(*client), ElementsAre("ping"));
}

TEST_F(Wait, EndsOnASignal) {
    struct sigaction nothing {};
    struct sigaction before {};
    nothing.sa_handler = [](int) {};
    sigaction(SIGUSR1, &nothing, &before);
    const pthread_t serving = pthread_self();
    std::atomic<bool> returned = false;
    std::thread other([&] {
        test_client client(path_);
        client.request("ping"); // it waits by now, or will
        wait_until("the wait ends", [&] {
            pthread_kill(serving, SIGUSR1);
            return returned.load();
        });
    });
    wait_for_clients();
    returned = true;
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Wait, CutsClientsAtTheirTimeLimits) {
    const auto client = connect();
    client->send_bytes(request_bytes("ping").substr(0, 10));
    serve();
    clock_ahead_us = comm_incomplete_packet_us - 20000;
    vrdx_on_client_gone = [](std::uint64_t) { vrdx_end_wait = true; };
    wait_for_clients();
    EXPECT_TRUE(is_cut(*client));
}

TEST_F(Wait, EndsWhenTheClockStandsStill) {
    const auto client = connect();
    std::string requests;
    for (int i = 0; i < 200; ++i)
        requests += request_bytes("ping");
    client->send_bytes(requests);
    clock_stands_at = monotonic_us();
    wait_for_clients(10000);
    EXPECT_EQ(replies(*client).size(), 16U) << "beside clients";
    serve();
    wait_for_clients(10000); // alone
    EXPECT_EQ(replies(*client).size(), 184U);
}

TEST_F(Wait, TraceIsWrittenBeforeItSleeps) {
    static std::array<char, 65536> gathered;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
    const int saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    std::setvbuf(stderr, gathered.data(), _IOFBF, gathered.size());
    std::thread other([&] {
        test_client client(path_);
        std::string told;
        wait_until("the trace tells of the client", [&] {
            std::array<char, 4096> bytes{};
            const ssize_t count = read(ends[0], bytes.data(), bytes.size());
            told.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
            return told.find("Client connected: user 1000, group 1000, pid 4711\n") != std::string::npos;
        });
        client.request("exit");
    });
    wait_for_clients();
    other.join();
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    dup2(saved, STDERR_FILENO);
    for (const int fd : {saved, ends[0], ends[1]})
        close(fd);
}
