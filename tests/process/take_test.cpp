// The road of a take: from a client's request through the driver to the router, and back as a confirmation.
#include "take_fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Not;

class Take : public take_fixture {};

} // namespace

TEST_F(Take, PlainTakeReachesTheRouterAndIsConfirmed) {
    driver_process driver(simulated(""));
    test_client client(driver.socket_path());
    wait_for_status(client, "output 3", "3,3");
    EXPECT_EQ(client.route("3=2").command, "route");
    const std::size_t at = driver.wait_for_trace("'3' = '2'\n" + sent_take("1", 2) + sent_flush());
    driver.wait_for_trace("STDOUT: 'o2.input.all=1'\nSTDOUT: ''\n", at);
    wait_for_status(client, "output 3", "2,2");
    expect_to_stay(client, "output 3", "2,2");
}

TEST_F(Take, OutputsThatTheRouterDoesNotHaveAreItsBusiness) {
    driver_process driver(simulated(""));
    test_client client(driver.socket_path());
    wait_for_status(client, "output 16", "16,16");
    EXPECT_EQ(client.request("route", {"17=1", "x=2"}).command, "route");
    driver.wait_for_trace(sent_take("0", 16) + sent_take("1", -1) + sent_flush());
    driver.wait_for_trace("STDERR<WARN>: 'take to output 17 refused: there is no output 17'\n");
    EXPECT_EQ(client.status().entry("output 16"), "16,16");
}

TEST_F(Take, TwoClientsTakeTheSameOutputInOnePassAndTheLaterOneStands) {
    driver_process driver(simulated(""));
    test_client watching(driver.socket_path());
    wait_for_status(watching, "output 3", "3,3");
    const test_client one(driver.socket_path());
    const test_client other(driver.socket_path());
    const std::size_t before = driver.trace_size();
    driver.hold();
    one.send_bytes(request_bytes("route", {"3=7"}));
    other.send_bytes(request_bytes("route", {"3=9"}));
    driver.let_go();
    driver.wait_for_trace(sent_take("6", 2), before);
    driver.wait_for_trace(sent_take("8", 2), before);
    const std::string trace = driver.trace();
    const bool other_is_later = trace.find("'3' = '9'\n") > trace.find("'3' = '7'\n");
    const std::string standing = other_is_later ? "9,9" : "7,7";
    driver.wait_for_trace(other_is_later ? "STDOUT: 'o2.input.all=8'\n" : "STDOUT: 'o2.input.all=6'\n",
                          before);
    wait_for_status(watching, "output 3", standing);
    expect_to_stay(watching, "output 3", standing);
}

TEST_F(Take, RenameThroughRouterSetComesBackAsTheNewName) {
    driver_process driver(simulated(""));
    test_client client(driver.socket_path());
    wait_for_status(client, "output.name 3", "Output 3");
    const name_values names = {{"output.3.name", "Monitor = 1"},
                               {"input.2.name", "Kamera Süd"},
                               {"output.17.name", "beyond"},
                               {"output.0.name", "below"},
                               {"output.x.name", "nowhere"}};
    EXPECT_EQ(client.request("router set", {}, names).command, "router set");
    driver.wait_for_trace(sent({"*COMMAND=router set", "*TYPE=command", "output.2.name=Monitor = 1"}));
    wait_for_status(client, "output.name 3", "Monitor = 1");
    wait_for_status(client, "input.name 2", "Kamera Süd");
    EXPECT_THAT(driver.trace(), Not(HasSubstr("beyond")));
    EXPECT_THAT(driver.trace(), Not(HasSubstr("below")));
    EXPECT_THAT(driver.trace(), Not(HasSubstr("nowhere")));
}

TEST_F(Take, TakesMadeWithoutABackendGoOutInOneBatchWhenItStarts) {
    const std::string item = scripted(join({{at("go")}, announce_router(8, 8)}));
    write_file(item, "");
    driver_process driver(item);
    test_client client(driver.socket_path());
    for (const char* take : {"1=2", "2=3", "3=4"})
        client.route(take);
    EXPECT_EQ(client.status().arguments, std::vector<std::string>{"no router"});
    EXPECT_THAT(driver.trace(), Not(HasSubstr("queue=")));
    replace_file(item, "driver=route_scripted\nscript=" + directory_.file("script") + "\n");
    driver.wait_for_trace(sent_take("1", 0) + sent_take("2", 1) + sent_take("3", 2) + sent_flush());
    go("go");
    wait_for_status(client, "out points", "8");
    EXPECT_EQ(count_of("queue=flush", driver.trace()), 1U);
    EXPECT_EQ(client.status().entry("output 1"), "0,0"); // the router was not known when they were sent
}
