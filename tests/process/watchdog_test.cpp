// How the loop feeds the service manager's watchdog.
#include "finished_driver.h"
#include "notification_socket.h"
#include "test_client.h"
#include "test_files.h"

#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A service manager of the test's, and an item for the driver that it supervises.
class watchdog_test : public testing::Test {
protected:
    watchdog_test() {
        write_file(directory.file("item"), "");
    }
    // What the environment of the driver says.
    [[nodiscard]] driver_setup supervised(const std::vector<std::string>& variables) const {
        driver_setup setup{.item = directory.file("item"),
                           .variables = {"NOTIFY_SOCKET=" + directory.file("notify")}};
        setup.variables.insert(setup.variables.end(), variables.begin(), variables.end());
        return setup;
    }
    void expect_no_feeding(const std::vector<std::string>& variables) {
        driver_process driver(supervised(variables));
        std::ignore = manager.receive_up_to("READY=1");
        test_client client(driver.socket_path());
        // A reply comes out of a pass, which is brought to its end, and the first pass would feed.
        EXPECT_EQ(client.request("ping").command, "ping");
        EXPECT_EQ(driver.stop(), ends_well);
        EXPECT_EQ(manager.receive_up_to("STOPPING=1"), 0) << testing::PrintToString(variables);
    }

    const temporary_directory directory;
    const notification_socket manager{directory.file("notify")};
};

using Watchdog = watchdog_test;

} // namespace

TEST_F(Watchdog, IsFedInEachHalfOfItsPeriodAndNotMoreOften) {
    const steady_clock::time_point start = steady_clock::now();
    driver_process driver(supervised({"WATCHDOG_USEC=200000"}));
    std::ignore = manager.receive_up_to("READY=1");
    constexpr int feeds = 5;
    for (int feed = 0; feed < feeds; ++feed)
        EXPECT_EQ(manager.receive(), "WATCHDOG=1");
    EXPECT_GE(steady_clock::now() - start, milliseconds(100) * (feeds - 1));
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Watchdog, HearsNothingOfAStoppedDriver) {
    driver_process driver(supervised({"WATCHDOG_USEC=40000"}));
    std::ignore = manager.receive_up_to("WATCHDOG=1");
    driver.hold();
    while (!manager.receive(milliseconds(0)).empty()) { // what it had sent before
    }
    EXPECT_EQ(manager.receive(milliseconds(200)), "");
    driver.let_go();
    EXPECT_EQ(manager.receive(), "WATCHDOG=1");
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Watchdog, IsFedWhileClientsKeepTheLoopBusy) {
    driver_process driver(supervised({"WATCHDOG_USEC=40000"}));
    std::ignore = manager.receive_up_to("READY=1");
    test_client client(driver.socket_path());
    int feeds = 0;
    wait_until("five feeds among the requests", [&] {
        EXPECT_EQ(client.request("ping").command, "ping");
        feeds += manager.receive(milliseconds(0)) == "WATCHDOG=1" ? 1 : 0;
        return feeds >= 5;
    });
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Watchdog, IsNotFedWithoutAUsablePeriod) {
    for (const char* period : {"", "0", "-1", "+5000", "1s", "18446744073709551616"})
        expect_no_feeding({std::string("WATCHDOG_USEC=") + period});
    expect_no_feeding({});
}

TEST_F(Watchdog, OfAnotherProcessIsNotFed) {
    expect_no_feeding({"WATCHDOG_USEC=40000", "WATCHDOG_PID=" + std::to_string(getpid())});
    expect_no_feeding({"WATCHDOG_USEC=40000", "WATCHDOG_PID="});
}

TEST_F(Watchdog, OfThisVeryProcessIsFed) {
    // The shell's number becomes the driver's.
    const std::string command = "export NOTIFY_SOCKET='" + directory.file("notify") +
                                "' WATCHDOG_USEC=40000 WATCHDOG_PID=$$; exec '" + driver_program() +
                                "' --file '" + directory.file("item") + "'";
    driver_setup setup = supervised({});
    setup.before_exec = [&command] { execl("/bin/sh", "sh", "-c", command.c_str(), nullptr); };
    driver_process driver(setup);
    std::ignore = manager.receive_up_to("WATCHDOG=1");
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Watchdog, IsFedFromTheBackground) {
    driver_setup setup = supervised({"WATCHDOG_USEC=40000"});
    setup.switches = {"--daemon"};
    driver_process driver(setup);
    EXPECT_EQ(driver.wait_exit(), ends_well);
    std::ignore = manager.receive_up_to("READY=1");
    EXPECT_EQ(manager.receive(), "WATCHDOG=1");
    EXPECT_EQ(manager.receive(), "WATCHDOG=1");
}

TEST_F(Watchdog, ManagerThatDoesNotReadHoldsUpNothing) {
    driver_process driver(supervised({"WATCHDOG_USEC=8000"}));
    test_client client(driver.socket_path());
    const std::string trouble = "The service manager could not be told: Resource temporarily unavailable\n";
    const std::size_t told = driver.wait_for_trace(trouble);
    const auto enough = steady_clock::now() + milliseconds(100); // for many feedings that fail
    while (steady_clock::now() < enough)
        EXPECT_EQ(client.request("ping").command, "ping");
    EXPECT_EQ(driver.trace().find(trouble, told), std::string::npos); // once is enough
    while (!manager.receive(milliseconds(0)).empty()) {
    }
    EXPECT_EQ(manager.receive(), "WATCHDOG=1"); // told again as soon as it reads
    EXPECT_EQ(driver.stop(), ends_well);
}
