// Every way a backend can end or misbehave.
#include "finished_driver.h"
#include "supervision.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <list>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Ne;
using testing::Not;

} // namespace

TEST_F(Supervision, BackendThatIgnoresTermHoldsNothingUp) {
    play_stubbornly({at_go(), "sleep"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t stubborn = driver.wait_for_backend();

    replace_file(item_, "driver=route_simulator\nsimulated outputs=5\n");
    wait_for_status(client, "out points", "5");
    EXPECT_EQ(driver.children().size(), 2U);
    EXPECT_EQ(client.route("3=2").command, "route");
    wait_for_status(client, "output 3", "2,2");
    EXPECT_THAT(driver.trace(), Not(HasSubstr("Reaped ident proc")));
    ASSERT_EQ(kill(stubborn, SIGKILL), 0);
    wait_until_reaped(driver, stubborn);
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Supervision, DriverEndsWithoutWaitingForAStubbornBackend) {
    play_stubbornly({"sleep"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t stubborn = driver.wait_for_backend();
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_THAT(without_address(driver.whole_trace()),
                EndsWith(std::string(shutdown_report) + "Stopping backend\n"));
    EXPECT_THAT(process_state(stubborn), AllOf(Ne(0), Ne('Z')));
}

TEST_F(Supervision, ChildThatKeepsThePipesDoesNotHideTheBackendsDeath) {
    play({"fork-and-hold " + directory_.file("never"), at_go(), "exit 0"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t dying = driver.wait_for_backend();
    play({"copy-stdin " + directory_.file("heard")});
    go();
    driver.wait_for_trace("Backend process terminated unexpectedly\n");
    EXPECT_THAT(client.request("report").entry("*last notes"), HasSubstr("\nStopping backend driver"));
    wait_until("nothing is left of it", [&] { return process_state(dying) == 0; });
    driver.wait_for_backend();
    wait_until("connected again", [&] { return active(client) == "1"; });
    rename_output(client, "Monitor");
    wait_until("the new backend hears",
               [&] { return heard().find("output.0.name=Monitor\n") != heard().npos; });
    EXPECT_THAT(driver.trace(), Not(HasSubstr("Stopping backend\n"))) << "there was nobody left to stop";
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Supervision, DriverEndsWhileAStrangerKeepsThePipes) {
    play({"fork-and-hold " + directory_.file("never")});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Supervision, ClosedStandardInputStopsTheBackendEvenWithNothingToSend) {
    play({at_go(), "close stdin", "sleep"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t backend = driver.wait_for_backend();
    go();
    wait_until_reaped(driver, backend);
    wait_until("none is connected", [&] { return active(client) == "0"; });
    EXPECT_EQ(client.status().entry("out points"), "3");
    EXPECT_EQ(driver.stop(), ends_well);
    const std::string trace = driver.whole_trace();
    EXPECT_THAT(trace, HasSubstr("Stopping backend\nReaped ident proc " + std::to_string(backend) + "\n"));
    EXPECT_THAT(trace, Not(HasSubstr("Backend unexpectedly closed")));
}

TEST_F(Supervision, ClosedStandardOutputStopsTheBackend) {
    play({at_go(), "close stdout", "sleep"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t backend = driver.wait_for_backend();
    go();
    wait_until_reaped(driver, backend);
    wait_until("none is connected", [&] { return active(client) == "0"; });
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(driver.whole_output(), "Backend unexpectedly closed stdout\n");
    EXPECT_THAT(driver.whole_trace(), Not(HasSubstr("Backend unexpectedly closed")));
}

TEST_F(Supervision, ClosedStandardErrorLeavesTheRestInService) {
    play({at_go(), "close stderr", "copy-stdin " + directory_.file("heard")});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t backend = driver.wait_for_backend();
    go();
    const std::size_t told = driver.wait_for_trace("Backend unexpectedly closed stderr\n");
    rename_output(client, "Monitor");
    wait_until("the backend hears", [&] { return heard().find("output.0.name=Monitor\n") != heard().npos; });
    EXPECT_EQ(active(client), "1");
    EXPECT_EQ(driver.wait_for_backend(), backend);
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(driver.whole_trace().find("Backend unexpectedly closed", told), std::string::npos);
}

TEST_F(Supervision, BackendThatClosesAllItsPipesIsStopped) {
    play({at_go(), "ignore-eof", "close stderr", "close stdout", "close stdin", "sleep"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const pid_t backend = driver.wait_for_backend();
    go();
    wait_until_reaped(driver, backend);
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Supervision, CommandsForADeadBackendDoNotReachItsSuccessor) {
    play({at_go(), "exit 0"}); // hears nothing
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    play({"copy-stdin " + directory_.file("heard")});
    // More than pipe and buffer hold, so that commands still wait in the queue; and more than one client may
    // have waiting.
    std::list<test_client> others;
    for (int i = 0; i < 4; ++i) {
        others.emplace_back(driver.socket_path());
        for (int name = 0; name < 10; ++name)
            rename_output(others.back(), "Old " + std::string(60000, 'o'));
    }
    go();
    driver.wait_for_trace("Stopping backend\n");
    wait_until("another backend runs", [&] { return active(client) == "1"; });
    rename_output(client, "New");
    wait_until("the new backend hears", [&] { return heard().find("output.0.name=New\n") != heard().npos; });
    EXPECT_THAT(heard(), Not(HasSubstr("Old ")));
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Supervision, BackendThatNeverReadsDelaysNobody) {
    play({at_go(), "expect output.0.name=Last", "touch " + directory_.file("all heard")});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_router(client);
    const std::string name(100000,
                           'n'); // a few of these fill the pipe, and ten are what one client may have waiting
    std::list<test_client> others;
    for (int i = 0; i < 30; ++i) {
        if (i % 10 == 0)
            others.emplace_back(driver.socket_path());
        rename_output(others.back(), name + std::to_string(i));
    }
    rename_output(client, "Last");
    EXPECT_EQ(client.status().entry("out points"), "3");
    go();
    wait_until("all commands arrive", [&] { return file_exists(directory_.file("all heard")); });
    EXPECT_EQ(driver.stop(), ends_well);
}
