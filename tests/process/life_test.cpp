// The ends of a running driver.
#include "finished_driver.h"
#include "monotonic_us.h"
#include "test_client.h"
#include "test_files.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class Life : public testing::Test {
protected:
    std::string write_item(const std::string& content) const {
        write_file(item_, content);
        return item_;
    }

    const temporary_directory directory_;
    const std::string item_ = directory_.file("item");
};

bool has_signal(const std::string& mask, int signo) {
    return (std::strtoull(mask.c_str(), nullptr, 16) >> (signo - 1) & 1) != 0;
}

// A pipe without room: who writes to it waits until it is read.
class full_pipe {
public:
    full_pipe() {
        EXPECT_EQ(pipe2(ends_, O_NONBLOCK), 0);
        const std::array<char, 4096> bytes{};
        while (write(ends_[1], bytes.data(), bytes.size()) > 0) {
        }
        while (write(ends_[1], bytes.data(), 1) > 0) {
        }
        EXPECT_EQ(fcntl(ends_[1], F_SETFL, 0), 0);
        EXPECT_EQ(fcntl(ends_[0], F_SETFD, FD_CLOEXEC), 0);
    }
    ~full_pipe() {
        close(ends_[0]);
        close(ends_[1]);
    }
    full_pipe(const full_pipe&) = delete;
    full_pipe& operator=(const full_pipe&) = delete;

    [[nodiscard]] std::string write_end() const {
        return std::to_string(ends_[1]);
    }
    // What was in it.
    std::string drain() const {
        std::string all;
        std::array<char, 65536> bytes{};
        for (ssize_t count = 0; (count = read(ends_[0], bytes.data(), bytes.size())) > 0;)
            all.append(bytes.data(), static_cast<std::size_t>(count));
        return all;
    }

private:
    int ends_[2] = {-1, -1};
};

// What a driver told that was used wrongly, to a reader that began late. False when it may have begun
// later than the driver waits: the machine was busy, too.
bool read_after_a_while(const std::string& item, std::string& told) {
    const full_pipe trace;
    const std::uint64_t start = monotonic_us();
    driver_process driver(
        driver_setup{.item = item,
                     .switches = {"--nonsense"},
                     .standard_error = std::atoi(trace.write_end().c_str())}); // NOLINT(cert-err34-c)
    wait_until("it waits for the reader or has ended", [&] {
        const char state = process_state(driver.pid());
        return state == 'S' || state == 'Z';
    });
    const bool in_time = monotonic_us() - start < 900000;
    told.clear();
    wait_until("the reason is told, or nothing more is", [&] {
        const bool ended = !driver.running();
        told += trace.drain();
        return ended;
    });
    EXPECT_EQ(driver.wait_exit(), refuses);
    return in_time;
}

// A driver that waits for the reader of its readiness, its signal handlers installed.
void wait_until_held_at_readiness(const driver_process& driver) {
    wait_until("handlers installed", [&] {
        return catches_signal(driver.pid(), SIGTERM) && catches_signal(driver.pid(), SIGQUIT) &&
               catches_signal(driver.pid(), SIGINT);
    });
}

// A pass looks first whether nobody needs the driver, and serves then. So between the first of these answers,
// more than one pass's turns give, and the last one it has looked.
void expect_to_live_until_told(driver_process& driver, test_client& client) {
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(client.status().command, "status");
    EXPECT_EQ(client.request("exit").command, "exit");
    EXPECT_EQ(driver.wait_exit(), ends_well);
    EXPECT_THAT(driver.whole_trace(), HasSubstr("Caller requested to exit\n"));
    EXPECT_THAT(driver.whole_trace(), Not(HasSubstr("Auto terminate")));
}

// Sends one signal and waits until it was delivered.
void deliver(const driver_process& driver, int signo) {
    driver.signal(signo);
    wait_until("signal delivered", [&] {
        return !has_signal(status_field(driver.pid(), "ShdPnd"), signo) || process_state(driver.pid()) == 'Z';
    });
}

} // namespace

TEST_F(Life, EndsInTheFirstPassWhenNoSilenceIsAllowed) {
    const finished_driver driver =
        run_to_end({.item = write_item(""), .switches = {"--auto-shutdown-delay-initial", "0"}});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_EQ(without_address(driver.trace),
              item_setting(directory_.path()) + "Nothing more to run\n" + std::string(empty_metadata_state) +
                  "Auto terminate: " + item_ + "\n" + std::string(shutdown_report));
}

TEST_F(Life, StaysResidentWhenTheItemSaysSo) {
    for (const char* value : {"1", "0x1", "010", "7 days"}) {
        driver_process driver(
            driver_setup{.item = write_item(std::string("stay resident=") + value + "\n"),
                         .switches = {"--auto-shutdown-delay-initial=0", "--auto-shutdown-delay=0"}});
        test_client client(driver.socket_path());
        expect_to_live_until_told(driver, client);
    }
}

TEST_F(Life, DoesNotStayResidentForOtherValues) {
    for (const char* value : {"-1", "0", "yes", "0x"}) {
        const finished_driver driver = run_to_end({.item = write_item(std::string("stay resident=") + value),
                                                   .switches = {"--auto-shutdown-delay-initial=0"}});
        EXPECT_EQ(driver.end, ends_well);
        EXPECT_THAT(driver.trace, HasSubstr("Auto terminate: " + item_ + "\n"));
    }
}

TEST_F(Life, NoAutoshutdownSwitchKeepsItRunning) {
    driver_process driver(
        {.item = write_item(""),
         .switches = {"--no-autoshutdown", "--auto-shutdown-delay-initial=0", "--auto-shutdown-delay=0"}});
    test_client client(driver.socket_path());
    expect_to_live_until_told(driver, client);
}

TEST_F(Life, SilenceAfterAClientsPacketEndsIt) {
    driver_process driver(driver_setup{.item = write_item(""), .switches = {"--auto-shutdown-delay=0.05"}});
    test_client client(driver.socket_path());
    EXPECT_EQ(client.status().arguments, std::vector<std::string>{"no router"});
    EXPECT_EQ(driver.wait_exit(), ends_well);
    EXPECT_THAT(driver.whole_trace(), HasSubstr("Auto terminate: " + item_ + "\n"));
    EXPECT_EQ(client.read_until_closed(), "");
}

TEST_F(Life, ClientThatAsksForTheEndIsAnsweredFirst) {
    driver_process driver(write_item("driver=route_simulator\n"));
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "16");
    EXPECT_EQ(client.request("exit").command, "exit");
    EXPECT_EQ(driver.wait_exit(), ends_well);
    EXPECT_THAT(without_address(driver.whole_trace()),
                EndsWith("Caller requested to exit\n" + std::string(shutdown_report) + "Stopping backend\n"));
    EXPECT_FALSE(file_exists(driver.socket_path()));
}

TEST_F(Life, EachTerminationSignalEndsItInOrder) {
    for (const int signo : {SIGTERM, SIGQUIT, SIGINT}) {
        driver_process driver(write_item("driver=route_simulator\n"));
        test_client client(driver.socket_path());
        wait_for_status(client, "out points", "16");
        driver.signal(signo);
        EXPECT_EQ(driver.wait_exit(), ends_well);
        EXPECT_THAT(without_address(driver.whole_trace()),
                    EndsWith(std::string(shutdown_report) + "Stopping backend\n"));
        EXPECT_FALSE(file_exists(driver.socket_path()));
        EXPECT_EQ(client.read_until_closed(), "");
    }
}

TEST_F(Life, OtherSignalsOfNoMeaningDoNotDisturbIt) {
    driver_process driver(write_item(""));
    test_client client(driver.socket_path());
    EXPECT_EQ(client.status().command, "status");
    for (const int signo : {SIGPIPE, SIGCHLD, SIGWINCH, SIGURG, SIGCONT})
        deliver(driver, signo);
    EXPECT_EQ(client.status().command, "status");
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Life, NineteenSignalsDuringStartUpEndItInOrderWithoutAPass) {
    const full_pipe readiness;
    driver_process driver(
        {.item = write_item("driver=route_simulator\n"), .switches = {"--ready-fd", readiness.write_end()}});
    wait_until_held_at_readiness(driver);
    for (int i = 0; i < 19; ++i)
        deliver(driver, i % 2 == 0 ? SIGTERM : SIGINT);
    EXPECT_TRUE(driver.running());
    readiness.drain();
    EXPECT_EQ(driver.wait_exit(), ends_well);
    EXPECT_EQ(without_address(driver.whole_trace()), item_setting(directory_.path()) + "Driver changed\n" +
                                                         std::string(empty_metadata_state) +
                                                         std::string(shutdown_report));
}

TEST_F(Life, TwentiethSignalAborts) {
    const full_pipe readiness;
    driver_process driver(
        driver_setup{.item = write_item(""), .switches = {"--ready-fd", readiness.write_end()}});
    wait_until_held_at_readiness(driver);
    for (int i = 0; i < 19; ++i)
        deliver(driver, i % 2 == 0 ? SIGTERM : SIGQUIT);
    EXPECT_TRUE(driver.running());
    driver.signal(SIGINT);
    EXPECT_EQ(driver.wait_exit(), (driver_end{-1, SIGABRT}));
}

TEST_F(Life, GoesOnWhenTheReaderOfItsTraceIsGone) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    driver_process driver(driver_setup{.item = write_item("driver=route_simulator\n"),
                                       .standard_output = ends[1],
                                       .standard_error = ends[1]});
    close(ends[0]);
    close(ends[1]);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "16");
    EXPECT_EQ(client.request("nonsense").command, "error");
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Life, WrongUseIsToldToAReaderThatIsBusyForAWhile) {
    std::string told;
    for (int attempt = 0; attempt < 10 && !read_after_a_while(write_item(""), told); ++attempt) {
    }
    EXPECT_THAT(told, HasSubstr("Unknown switch 'nonsense'\n"));
}

TEST_F(Life, AnswersWhileNobodyReadsItsTrace) {
    const full_pipe trace;
    driver_process driver(
        driver_setup{.item = write_item("driver=route_simulator\n"),
                     .standard_error = std::atoi(trace.write_end().c_str())}); // NOLINT(cert-err34-c)
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "16");
    for (int take = 0; take < 200; ++take)
        client.route("1=" + std::to_string(take % 16 + 1));
    wait_for_status(client, "output 1", "8,8");
    EXPECT_EQ(driver.stop(), ends_well);
}
