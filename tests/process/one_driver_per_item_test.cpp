// The socket of an item: whose it is, what becomes of a stale one, and where it may lie.
#include "finished_driver.h"
#include "socket_address.h"
#include "test_client.h"
#include "test_files.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace {

std::string ping(const std::string& socket_path) {
    return test_client(socket_path).request("ping").command;
}

} // namespace

TEST(OneDriverPerItem, SecondIsRefusedAndTheFirstUnharmed) {
    const temporary_directory directory;
    const std::string item = directory.file("item");
    write_file(item, "driver=route_simulator\n");
    driver_process first(item);
    test_client client(first.socket_path());
    wait_for_status(client, "out points", "16");
    const pid_t backend = first.wait_for_backend();

    const finished_driver second = run_to_end({.item = item});
    EXPECT_EQ(second.end, refuses);
    EXPECT_EQ(second.trace, "Item is already served: a live driver answers on " + first.socket_path() +
                                "\nFailed to obtain derived params\n");
    EXPECT_EQ(client.request("ping").command, "ping");
    EXPECT_EQ(ping(first.socket_path()), "ping");
    EXPECT_EQ(first.wait_for_backend(), backend);
    EXPECT_EQ(first.stop(), ends_well);
}

TEST(OneDriverPerItem, ABusyDriverIsStillALiveOne) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process first(directory.file("item"));
    EXPECT_EQ(ping(first.socket_path()), "ping");
    first.hold();
    EXPECT_EQ(run_to_end({.item = directory.file("item")}).end, refuses);
    first.let_go();
    EXPECT_EQ(ping(first.socket_path()), "ping");
}

TEST(OneDriverPerItem, OfSeveralStartedAtOnceExactlyOneServes) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    std::vector<std::unique_ptr<driver_process>> drivers(6);
    for (auto& driver : drivers)
        driver = std::make_unique<driver_process>(directory.file("item"));
    const auto running = [&] {
        return std::count_if(drivers.begin(), drivers.end(), [](const auto& one) { return one->running(); });
    };
    wait_until("one is left", [&] { return running() <= 1; });
    EXPECT_EQ(ping(drivers.front()->socket_path()), "ping");
    EXPECT_EQ(running(), 1);
    for (const auto& driver : drivers) {
        if (!driver->running()) {
            EXPECT_EQ(driver->wait_exit(), refuses);
        }
    }
}

TEST(OneDriverPerItem, DriversOfTwoItemsLiveSideBySide) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    write_file(directory.file("other"), "");
    driver_process first(directory.file("item"));
    driver_process second(directory.file("other"));
    EXPECT_EQ(ping(first.socket_path()), "ping");
    EXPECT_EQ(ping(second.socket_path()), "ping");
    EXPECT_EQ(first.stop(), ends_well);
    EXPECT_EQ(ping(second.socket_path()), "ping");
    EXPECT_EQ(second.stop(), ends_well);
    EXPECT_FALSE(file_exists(second.socket_path()));
}

TEST(OneDriverPerItem, SocketOfAKilledDriverIsReplaced) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process killed(directory.file("item"));
    EXPECT_EQ(ping(killed.socket_path()), "ping");
    killed.signal(SIGKILL);
    EXPECT_EQ(killed.wait_exit(), (driver_end{-1, SIGKILL}));
    EXPECT_TRUE(file_exists(killed.socket_path()));

    driver_process next(directory.file("item"));
    EXPECT_EQ(ping(next.socket_path()), "ping");
    EXPECT_EQ(next.stop(), ends_well);
    EXPECT_FALSE(file_exists(next.socket_path()));
}

// So it is in the moment in which the child of a killed driver has not become the backend yet.
TEST(OneDriverPerItem, SocketThatDropsItsConnectionsAndGoesIsReplaced) {
    const temporary_directory directory;
    const std::string path = directory.file(".tavrixsock.item");
    write_file(directory.file("item"), "");
    bool replaced = false;
    for (int attempt = 1; attempt <= 10 && !replaced; ++attempt) { // the driver waits for half a second only
        const int dying = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(bind_socket_path(dying, path, 0660, 5), 0);
        driver_process driver(directory.file("item"));
        pollfd asked{dying, POLLIN, 0};
        EXPECT_EQ(poll(&asked, 1, 60000), 1);
        close(dying);
        wait_until("it is ready or refused", [&] {
            replaced = driver.trace().find("   Sock: " + path + "\n") != std::string::npos;
            return replaced || !driver.running();
        });
        if (replaced) {
            EXPECT_EQ(ping(path), "ping");
            EXPECT_EQ(driver.stop(), ends_well);
        } else {
            EXPECT_EQ(driver.wait_exit(), refuses);
            std::filesystem::remove(path);
        }
    }
    EXPECT_TRUE(replaced);
}

TEST(OneDriverPerItem, SocketThatWasTakenAwayIsNotMissedAndAStrangersStays) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process driver(directory.file("item"));
    test_client client(driver.socket_path());
    EXPECT_EQ(client.request("ping").command, "ping");
    std::filesystem::remove(driver.socket_path());
    write_file(driver.socket_path(), "somebody else's");
    EXPECT_EQ(client.request("ping").command, "ping");
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(read_file(driver.socket_path()), "somebody else's");
}

TEST(OneDriverPerItem, SocketIsForOwnerAndGroupOnly) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const driver_process driver(
        driver_setup{.item = directory.file("item"), .before_exec = [] { umask(0); }});
    EXPECT_EQ(ping(driver.socket_path()), "ping");
    struct stat found {};
    ASSERT_EQ(lstat(driver.socket_path().c_str(), &found), 0);
    EXPECT_TRUE(S_ISSOCK(found.st_mode));
    EXPECT_EQ(found.st_mode & 07777U, 0660U);
}

TEST(OneDriverPerItem, SocketPathLongerThanAnAddressWorks) {
    const temporary_directory directory;
    const std::string deep = directory.path() + "/" + std::string(100, 'a') + "/" + std::string(100, 'b');
    std::filesystem::create_directories(deep);
    const std::string item = deep + "/item";
    write_file(item, "driver=route_simulator\n");
    driver_process driver(item);
    ASSERT_GT(driver.socket_path().size(), sizeof(sockaddr_un::sun_path));
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "16");
    EXPECT_EQ(run_to_end({.item = item}).end, refuses);
    driver.signal(SIGKILL);
    driver.wait_exit();

    driver_process next(item);
    EXPECT_EQ(ping(next.socket_path()), "ping");
    EXPECT_EQ(next.stop(), ends_well);
    EXPECT_FALSE(file_exists(next.socket_path()));
}
