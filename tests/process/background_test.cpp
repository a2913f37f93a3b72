// In the background: the descriptors, the directory and the socket of a daemon.
#include "finished_driver.h"
#include "test_client.h"
#include "test_files.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* closure_banner =
    "--------------------- ON CLOSURE OF THIS PROCESS (DEBUG) ----------------------\n";

std::string working_directory_of(pid_t pid) {
    return std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/cwd").string();
}

// The daemon, once the process that was started has ended: it has become our child.
pid_t wait_for_daemon(driver_process& driver) {
    EXPECT_EQ(driver.wait_exit(), ends_well);
    pid_t daemon = -1;
    wait_until("the daemon is our child", [&] {
        const std::vector<pid_t> children = children_of(getpid());
        daemon = children.size() == 1 ? children.front() : -1;
        return daemon >= 0;
    });
    return daemon;
}

void expect_orderly_end(pid_t daemon) {
    ASSERT_EQ(kill(daemon, SIGTERM), 0);
    int status = 0;
    wait_until("the daemon ends", [&] { return waitpid(daemon, &status, WNOHANG) == daemon; });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

} // namespace

TEST(Background, KeepsRedirectedDescriptorsAndServes) {
    const temporary_directory directory;
    write_file(directory.file("item"), "driver=route_simulator\n");
    driver_process driver(driver_setup{.item = directory.file("item"), .switches = {"--daemon"}});
    const pid_t daemon = wait_for_daemon(driver);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "16");
    EXPECT_EQ(client.route("3=2").command, "route");
    wait_for_status(client, "output 3", "2,2");
    EXPECT_EQ(working_directory_of(daemon), "/");
    expect_orderly_end(daemon);
    EXPECT_FALSE(file_exists(driver.socket_path()));

    const std::string trace = driver.whole_trace();
    EXPECT_THAT(trace, StartsWith(item_setting(directory.path()) + "Driver changed\n" +
                                  std::string(empty_metadata_state) + "Daemonizing\n" + closure_banner +
                                  "fd 0: /dev/null\n"));
    EXPECT_THAT(without_address(trace), EndsWith(std::string(shutdown_report) + "Stopping backend\n"));
}

TEST(Background, LeavesATerminalBehind) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0)
        GTEST_SKIP() << "no terminals here (/dev/pts is not mounted)";
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    char name[100];
    ASSERT_EQ(ptsname_r(terminal, name, sizeof(name)), 0);
    const int slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(slave, 0);
    driver_process driver(
        {.item = directory.file("item"), .switches = {"--daemon"}, .standard_input = slave});
    const pid_t daemon = wait_for_daemon(driver);
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    const std::map<int, std::string> descriptors = descriptors_of(daemon);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        EXPECT_EQ(descriptors.at(fd), "/dev/null");
    EXPECT_THAT(driver.whole_trace(), EndsWith("Daemonizing\n"));
    expect_orderly_end(daemon);
    close(slave);
    close(terminal);
}

TEST(Background, WritesToTheLogAndStillNoticesARelativeItemsChange) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process driver(
        driver_setup{.item = "item",
                     .switches = {"--daemon", "--stderr-to-log", "--sock=" + directory.file("sock")},
                     .directory = directory.path()});
    const pid_t daemon = wait_for_daemon(driver);
    test_client client(driver.socket_path());
    EXPECT_EQ(client.status().arguments, std::vector<std::string>{"no router"});
    replace_file(directory.file("item"), "driver=route_simulator\n");
    wait_for_status(client, "out points", "16");
    expect_orderly_end(daemon);
    EXPECT_EQ(driver.whole_trace(), "");
    const std::string log = read_file(directory.file(".tavrixlog.item"));
    EXPECT_THAT(log, HasSubstr("Nothing more to run\n"));
    EXPECT_THAT(log, HasSubstr(closure_banner));
    EXPECT_THAT(log, HasSubstr("Settings changed\nDriver changed\n"));
    EXPECT_THAT(without_address(log), EndsWith(std::string(shutdown_report) + "Stopping backend\n"));
}

TEST(Background, SecondDaemonOfAnItemIsRefusedBeforeItLeavesItsStarter) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process driver(driver_setup{.item = directory.file("item"), .switches = {"--daemon"}});
    const pid_t daemon = wait_for_daemon(driver);
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    // Not a driver_process: it would take the daemon for an orphan of its own.
    const std::string command =
        "exec '" + driver_program() + "' --daemon --file '" + directory.file("item") + "' 2>/dev/null";
    const int status = std::system(command.c_str()); // NOLINT(cert-env33-c)
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    expect_orderly_end(daemon);
}
