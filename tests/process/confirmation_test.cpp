// What becomes of a take that is shown before the router has confirmed it.
#include "take_fixture.h"

#include "monotonic_us.h"

namespace {

class Confirmation : public take_fixture {};

constexpr std::uint64_t assumed_us = 1000000; // how long an unconfirmed take is shown

// A router of 8x8 whose output 3 shows input 1.
script small_router(const script& further) {
    return join({announce_router(8, 8), report_outputs({"o2.input.all=0"}), further});
}

// Takes and looks at once: what is shown right behind the take. Again, when the machine stood still for so
// long that the take, which nothing confirms, may be over: it waits for what was shown before, and takes once
// more.
std::string shown_right_after(const driver_process& driver, const std::string& take,
                              const std::string& before) {
    const std::string output = "output " + take.substr(0, take.find('='));
    for (;;) {
        const std::uint64_t start = monotonic_us();
        const auto replies =
            ask_at_once(driver.socket_path(), {request_bytes("route", {take}), request_bytes("status")});
        if (monotonic_us() - start < assumed_us)
            return replies.at(1).entry(output);
        test_client client(driver.socket_path());
        wait_for_status(client, output, before);
    }
}

} // namespace

TEST_F(Confirmation, UnconfirmedTakeIsShownAtOnceAndRolledBackAfterASecond) {
    driver_process driver(scripted(small_router({})));
    test_client client(driver.socket_path());
    wait_for_status(client, "output 3", "1,1");
    const std::uint64_t start = monotonic_us();
    EXPECT_EQ(shown_right_after(driver, "3=5", "1,1"), "5,5");
    wait_for_status(client, "output 3", "1,1");
    EXPECT_GE(monotonic_us() - start, assumed_us);
    expect_to_stay(client, "output 3", "1,1");
}

// The driver hands the backend one message per pass, so a take can stand behind many others while a report
// that knows nothing of it comes in.
TEST_F(Confirmation, ReportThatOvertakesAWaitingTakeIsShownUntilTheTakeIsDone) {
    driver_process driver(
        scripted(small_router(join({{"expect output.0.name=first"},
                                    report_outputs({"o2.input.all=3"}),
                                    {"expect queue=flush", "log <NOTE>the take arrived", at("go")},
                                    report_outputs({"o2.input.all=4"})}))));
    test_client client(driver.socket_path());
    wait_for_status(client, "output 3", "1,1");
    name_values many(300, {"output.1.name", "waiting"});
    many.front().second = "first";
    const auto replies =
        ask_at_once(driver.socket_path(), {request_bytes("router set", {}, many),
                                           request_bytes("route", {"3=5"}), request_bytes("status")});
    EXPECT_EQ(replies.at(2).entry("output 3"), "5,5");
    const std::size_t reported = driver.wait_for_trace("STDOUT: 'o2.input.all=3'\nSTDOUT: ''\n");
    EXPECT_EQ(client.status().entry("output 3"), "4,4");
    driver.wait_for_trace("STDERR<NOTE>: 'the take arrived'\n", reported);
    EXPECT_EQ(client.status().entry("output 3"), "4,4");
    go("go");
    wait_for_status(client, "output 3", "5,5");
    expect_to_stay(client, "output 3", "5,5");
}

TEST_F(Confirmation, NothingIsAssumedWhenToldSo) {
    const std::string item =
        scripted(small_router(join({{"expect queue=flush", at("go")}, report_outputs({"o2.input.all=4"})})));
    driver_process driver(driver_setup{.item = item, .switches = {"--dbg-nochg-assume"}});
    test_client client(driver.socket_path());
    wait_for_status(client, "output 3", "1,1");
    EXPECT_EQ(shown_right_after(driver, "3=5", "1,1"), "1,1");
    expect_to_stay(client, "output 3", "1,1");
    go("go");
    wait_for_status(client, "output 3", "5,5");
    expect_to_stay(client, "output 3", "5,5");
}
