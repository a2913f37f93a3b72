// How the backend is started, and started again.
#include "finished_driver.h"
#include "monotonic_us.h"
#include "supervision.h"

#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using BackendStart = Supervision;

} // namespace

TEST_F(BackendStart, BackendIsStartedWithACleanSlate) {
    play({"dump-environment " + directory_.file("dump")});
    driver_process driver(
        driver_setup{.item = item_, .variables = {"VRDX_TEST_VARIABLE=a b=c"}, .before_exec = [] {
                         std::signal(SIGHUP, SIG_DFL); // the tests may themselves be run by nohup
                         for (const int signo : {SIGINT, SIGQUIT, SIGPIPE, SIGCHLD, SIGUSR2})
                             std::signal(signo, SIG_IGN);
                         sigset_t blocked;
                         sigemptyset(&blocked);
                         sigaddset(&blocked, SIGTERM);
                         sigaddset(&blocked, SIGUSR1);
                         sigprocmask(SIG_BLOCK, &blocked, nullptr);
                         for (const int fd : {20, 100, 200}) // inherited without close-on-exec
                             dup2(STDIN_FILENO, fd);
                     }});
    wait_until("the backend has told", [&] { return file_exists(directory_.file("dump")); });
    std::string expected = "descriptor 0\ndescriptor 1\ndescriptor 2\n"
                           "SigBlk 0000000000000000\nSigIgn 0000000000000000\n";
    expected += "argument " + backend_program("route_scripted") + "\nargument --file\nargument " + item_ +
                "\nvariable VRDX_TEST_VARIABLE=a b=c\n";
    for (char** variable = environ; *variable != nullptr; ++variable)
        expected += std::string("variable ") + *variable + "\n";
    EXPECT_EQ(read_file(directory_.file("dump")), expected);
    EXPECT_EQ(driver.stop(), ends_well) << "the blocked signal reaches the driver, too";
}

TEST_F(BackendStart, IgnoredHangUpIsIgnoredByTheBackendToo) {
    play({"dump-environment " + directory_.file("dump")});
    driver_process driver(driver_setup{.item = item_, .before_exec = [] {
                                           for (const int signo : {SIGHUP, SIGINT, SIGPIPE, SIGUSR2})
                                               std::signal(signo, SIG_IGN);
                                       }});
    wait_until("the backend has told", [&] { return file_exists(directory_.file("dump")); });
    EXPECT_THAT(read_file(directory_.file("dump")), HasSubstr("\nSigIgn 0000000000000001\n"))
        << "the hang-up and no other";
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(BackendStart, SecondBackendOfADriverIsAsCleanAsTheFirst) {
    play({"dump-environment " + directory_.file("dump"), at_go(), "exit 0"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_until("the first has told", [&] { return file_exists(directory_.file("dump")); });
    const std::string first = read_file(directory_.file("dump"));
    play({"dump-environment " + directory_.file("dump.2")});
    go();
    wait_until("the second has told", [&] { return file_exists(directory_.file("dump.2")); });
    EXPECT_EQ(read_file(directory_.file("dump.2")), first);
    EXPECT_THAT(first, StartsWith("descriptor 0\ndescriptor 1\ndescriptor 2\nSigBlk "));
}

TEST_F(BackendStart, RelativeItemReachesTheBackendAsAnAbsolutePath) {
    play({"dump-environment " + directory_.file("dump")});
    const driver_process driver(driver_setup{.item = "item", .directory = directory_.path()});
    wait_until("the backend has told", [&] { return file_exists(directory_.file("dump")); });
    EXPECT_THAT(read_file(directory_.file("dump")), HasSubstr("\nargument --file\nargument " + item_ + "\n"));
}

TEST_F(BackendStart, NonexistentProgramIsAnErrorInTheLog) {
    write_file(item_, "driver=route_missing\n");
    driver_process driver(item_);
    test_client client(driver.socket_path());
    const std::string line = "Failed to start backend driver '" + backend_program("route_missing") + "'";
    const std::size_t told = driver.wait_for_trace("STDERR<ERR>: '" + line + "'\n");
    driver.wait_for_trace("Stopping backend\n", told);
    EXPECT_THAT(client.request("report").entry("*last error"), EndsWith(line));
    wait_until("none is connected", [&] { return active(client) == "0"; });
    EXPECT_EQ(client.status().arguments, std::vector<std::string>{"no router"});
    wait_until_childless(driver);
    EXPECT_EQ(driver.stop(), ends_well);
}

// It tells its start in a file: what a backend logs within the pass that sees it gone may be lost.
TEST_F(BackendStart, BackendThatExitsAtOnceIsStartedAgainEveryFiveSeconds) {
    const std::string starts = directory_.file("starts");
    write_script(directory_.file("script"), {"append-clock " + starts, "exit 3"});
    const std::uint64_t before_ms = monotonic_us() / 1000;
    driver_process driver(item_);
    test_client client(driver.socket_path());
    const std::size_t first = driver.wait_for_trace("Stopping backend\n");
    wait_until_childless(driver);
    const std::size_t descriptors = driver.settled_descriptor_count();

    driver.wait_for_trace("Stopping backend\n", first);
    wait_until_childless(driver);
    EXPECT_EQ(driver.settled_descriptor_count(), descriptors);
    std::ifstream times(starts);
    std::uint64_t first_ms = 0;
    std::uint64_t second_ms = 0;
    ASSERT_TRUE(times >> first_ms >> second_ms);
    EXPECT_GE(first_ms, before_ms);
    EXPECT_GE(second_ms, before_ms + 5000);

    EXPECT_THAT(client.request("report").entry("*last notes"),
                StartsWith("Starting backend driver\nStopping backend driver\n"
                           "Starting backend driver\nStopping backend driver"));
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(BackendStart, KilledBackendIsReplacedAndLeavesNoZombie) {
    play({});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t backend = driver.wait_for_backend();
    ASSERT_EQ(kill(backend, SIGKILL), 0);
    driver.wait_for_trace("Stopping backend\n");
    EXPECT_EQ(client.status().entry("out points"), "3") << "what is known of the router stays";
    wait_until("another backend runs", [&] {
        const std::vector<pid_t> children = driver.children();
        return children.size() == 1 && children.front() != backend && active(client) == "1";
    });
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(BackendStart, ThreeDescriptorsAreGivenBackWithTheBackend) {
    play({at_go(), "exit 0"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const std::size_t with_backend = driver.settled_descriptor_count();
    go();
    driver.wait_for_trace("Stopping backend\n");
    wait_until("three are given back", [&] { return driver.descriptors().size() == with_backend - 3; });
}
