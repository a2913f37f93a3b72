// How a driver tells its starter that it is ready.
#include "finished_driver.h"
#include "notification_socket.h"
#include "test_client.h"
#include "test_files.h"

#include <array>
#include <cstddef>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

// What a starter passes to "--ready-fd": drivers inherit its writing end.
class readiness_pipe {
public:
    readiness_pipe() {
        EXPECT_EQ(pipe2(ends_, 0), 0);
        EXPECT_EQ(fcntl(ends_[0], F_SETFD, FD_CLOEXEC), 0);
    }
    ~readiness_pipe() {
        close_end(0);
        close_end(1);
    }
    readiness_pipe(const readiness_pipe&) = delete;
    readiness_pipe& operator=(const readiness_pipe&) = delete;

    [[nodiscard]] std::string number() const {
        return std::to_string(ends_[1]);
    }
    void close_reading_end() {
        close_end(0);
    }
    // Reads until the last writer has closed its end.
    std::string read_to_end() {
        close_end(1);
        std::string text;
        std::array<char, 4096> bytes{};
        for (ssize_t count = 0; (count = read(ends_[0], bytes.data(), bytes.size())) > 0;)
            text.append(bytes.data(), static_cast<std::size_t>(count));
        return text;
    }

private:
    void close_end(int end) {
        if (ends_[end] >= 0)
            close(ends_[end]);
        ends_[end] = -1;
    }

    int ends_[2] = {-1, -1};
};

void expect_notifications(const notification_socket& manager, const std::string& name) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process driver(
        driver_setup{.item = directory.file("item"), .variables = {"NOTIFY_SOCKET=" + name}});
    EXPECT_THAT(manager.receive(), HasSubstr("STATUS="));
    EXPECT_EQ("\n" + manager.receive() + "\n",
              "\nREADY=1\nSTATUS=Ready to serve data\nMAINPID=" + std::to_string(driver.pid()) + "\n");
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(manager.receive(), "STOPPING=1\nSTATUS=Stopping");
}

} // namespace

TEST(Readiness, IsToldOnceOnTheGivenDescriptorWhichIsThenClosed) {
    const temporary_directory directory;
    write_file(directory.file("item"), "driver=route_simulator\n");
    readiness_pipe readiness;
    driver_process driver(
        driver_setup{.item = directory.file("item"), .switches = {"--ready-fd", readiness.number()}});
    EXPECT_EQ(readiness.read_to_end(), "status 100 \nready 1 Ready to serve data\n");
    EXPECT_TRUE(driver.running());
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST(Readiness, IsToldAgainToAManagerThatWasTooBusyToHear) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const notification_socket manager(directory.file("notify"));
    manager.fill();
    driver_process driver(driver_setup{.item = directory.file("item"),
                                       .variables = {"NOTIFY_SOCKET=" + directory.file("notify")}});
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    driver.wait_for_trace("The service manager could not be told: ",
                          driver.wait_for_trace("The service manager could not be told: "));
    EXPECT_GT(manager.receive_up_to("READY=1\n", "other"), 0);
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(manager.receive_up_to("STOPPING=1\n", "READY=1"), 0) << "it is told once";
}

TEST(Readiness, SocketAnswersOnceReadinessIsTold) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    readiness_pipe readiness;
    const driver_process driver(
        driver_setup{.item = directory.file("item"), .switches = {"--ready-fd=" + readiness.number()}});
    readiness.read_to_end();
    comm_socket_v4_connection connection;
    EXPECT_EQ(comm_socket_v4_connect(&connection, driver.socket_path()), 0); // at the first try
    comm_socket_v4_disconnect(&connection);
}

TEST(Readiness, ReaderThatIsGoneIsNoTrouble) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    readiness_pipe readiness;
    readiness.close_reading_end();
    driver_process driver(
        driver_setup{.item = directory.file("item"), .switches = {"--ready-fd", readiness.number()}});
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    driver.wait_for_trace("Readiness could not be told on descriptor " + readiness.number() + "\n");
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST(Readiness, IsNotToldWhenStartUpFails) {
    const temporary_directory directory;
    readiness_pipe readiness;
    driver_process driver(
        driver_setup{.item = directory.file("none"), .switches = {"--ready-fd", readiness.number()}});
    EXPECT_EQ(readiness.read_to_end(), "");
    EXPECT_EQ(driver.wait_exit(), refuses);
}

TEST(Readiness, ReachesTheServiceManager) {
    const temporary_directory directory;
    const std::string path = directory.file("notify");
    expect_notifications(notification_socket(path), path);
}

TEST(Readiness, ReachesAServiceManagerOfAbstractName) {
    const std::string name = "@vrdx_test/" + std::to_string(getpid());
    expect_notifications(notification_socket(name), name);
}

TEST(Readiness, ServiceManagerThatIsGoneIsNoTrouble) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    for (const std::string& name :
         {directory.file("none"), std::string("relative"), std::string(), "/" + std::string(200, 'x')}) {
        driver_process driver(
            driver_setup{.item = directory.file("item"), .variables = {"NOTIFY_SOCKET=" + name}});
        EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
        EXPECT_EQ(driver.stop(), ends_well);
    }
}
