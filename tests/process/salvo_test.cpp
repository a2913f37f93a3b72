// Many takes at once, on routers of the sizes that are built.
#include "take_fixture.h"

#include "monotonic_us.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ostream>

namespace {

struct router_size {
    int inputs;
    int outputs;
};

std::ostream& operator<<(std::ostream& stream, const router_size& size) {
    return stream << size.inputs << "x" << size.outputs;
}

constexpr int shown_points = 128; // per list of a status

class RouterOfSize : public take_fixture, public testing::WithParamInterface<router_size> {
protected:
    [[nodiscard]] std::string item() const {
        return simulated("simulated inputs=" + std::to_string(GetParam().inputs) +
                         "\nsimulated outputs=" + std::to_string(GetParam().outputs) + "\n");
    }
    // The source, 1-based, that the salvo brings to an output: each gets another one than it has.
    [[nodiscard]] static int salvo_source(int output) {
        return GetParam().inputs + 1 - output;
    }
};

std::string numbered(const char* name, int number) {
    return name + std::to_string(number);
}

std::string both_levels(int input) {
    return std::to_string(input) + "," + std::to_string(input);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Sizes, RouterOfSize,
                         testing::Values(router_size{40, 40}, router_size{140, 32}, router_size{288, 288},
                                         router_size{4096, 1024}),
                         [](const auto& size) {
                             return std::to_string(size.param.inputs) + "x" +
                                    std::to_string(size.param.outputs);
                         });

TEST_P(RouterOfSize, StatusShowsAtMost128PointsPerList) {
    driver_process driver(item());
    test_client client(driver.socket_path());
    const int inputs = std::min(GetParam().inputs, shown_points);
    const int outputs = std::min(GetParam().outputs, shown_points);
    wait_for_status(client, numbered("output ", outputs), both_levels(std::min(outputs, GetParam().inputs)));
    const test_reply status = client.status();
    EXPECT_EQ(status.result, 0U);
    EXPECT_EQ(status.entry("in points"), std::to_string(inputs));
    EXPECT_EQ(status.entry("out points"), std::to_string(outputs));
    EXPECT_EQ(status.entry("input range"), "1-" + std::to_string(inputs));
    EXPECT_EQ(status.entry("output range"), "1-" + std::to_string(outputs));
    EXPECT_EQ(status.entry(numbered("input.name ", inputs)), numbered("Input ", inputs));
    EXPECT_EQ(status.entry(numbered("input.name ", inputs + 1)), "(none)");
    EXPECT_EQ(status.entry(numbered("output.name ", outputs)), numbered("Output ", outputs));
    EXPECT_EQ(status.entry(numbered("output.name ", outputs + 1)), "(none)");
    EXPECT_EQ(status.entry(numbered("output ", outputs + 1)), "(none)");
    EXPECT_EQ(status.entries.size(), static_cast<std::size_t>(inputs + 2 * outputs + 7));
}

TEST_P(RouterOfSize, TakeOfTheLastCrosspointIsConfirmed) {
    driver_process driver(item());
    test_client client(driver.socket_path());
    wait_for_status(client, "output 1", "1,1");
    const auto [inputs, outputs] = GetParam();
    client.route(std::to_string(outputs) + "=" + std::to_string(inputs));
    const std::size_t at = driver.wait_for_trace(sent_take(std::to_string(inputs - 1), outputs - 1));
    driver.wait_for_trace("STDOUT: 'o" + std::to_string(outputs - 1) +
                              ".input.all=" + std::to_string(inputs - 1) + "'\nSTDOUT: ''\n",
                          at);
    driver.wait_for_trace("STDERR<INFO>: 'took 1 crosspoint'\n", at);
}

TEST_P(RouterOfSize, SalvoOfAllOutputsIsOneBatchAndAllFollow) {
    driver_process driver(item());
    test_client client(driver.socket_path());
    wait_for_status(client, "output 1", "1,1");
    const int outputs = GetParam().outputs;
    std::vector<std::string> takes;
    for (int output = 1; output <= outputs; ++output)
        takes.push_back(std::to_string(output) + "=" + std::to_string(salvo_source(output)));
    client.request("route", takes);

    const std::size_t flushed = driver.wait_for_trace(sent_flush());
    const std::string batch = driver.trace().substr(0, flushed);
    EXPECT_EQ(count_of("'queue=add'\n", batch), static_cast<std::size_t>(outputs));
    driver.wait_for_trace("STDERR<INFO>: 'took " + std::to_string(outputs) + " crosspoints'\n", flushed);
    driver.wait_for_trace(numbered("STDOUT: 'o", outputs - 1) +
                              numbered(".input.all=", salvo_source(outputs) - 1) + "'\n",
                          flushed);
    EXPECT_EQ(count_of("'queue=flush'\n", driver.trace()), 1U);

    const int shown = std::min(outputs, shown_points);
    wait_for_status(client, numbered("output ", shown), both_levels(salvo_source(shown)));
    const test_reply status = client.status();
    for (int output = 1; output <= shown; ++output)
        EXPECT_EQ(status.entry(numbered("output ", output)), both_levels(salvo_source(output)));
}

// A backend may be slow: it is given one message per pass, and a pass takes at least 8 ms. What else clients
// ask meanwhile does not begin another one.
TEST_F(take_fixture, SalvoIsPacedOneMessagePerPassBesideAClientThatAsksWithoutPause) {
    constexpr int outputs = 200;
    driver_process driver(
        scripted(join({announce_router(200, outputs), {"expect queue=flush", "log-clock <NOTE>flush at"}})));
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "128");
    std::atomic<bool> stop = false;
    std::atomic<int> answered = 0;
    std::thread other([&] {
        test_client asking(driver.socket_path());
        while (!stop && asking.request("ping").command == "ping")
            ++answered;
    });
    wait_until("the other one asks", [&] { return answered > 0; });
    std::vector<std::string> takes;
    for (int output = 1; output <= outputs; ++output)
        takes.push_back(std::to_string(output) + "=1");
    const int answered_before = answered;
    const std::uint64_t start_ms = monotonic_us() / 1000;
    client.request("route", takes);
    const std::string before = "STDERR<NOTE>: 'flush at ";
    const std::size_t at = driver.wait_for_trace(before);
    driver.wait_for_trace("\n", at);
    const int answered_meanwhile = answered - answered_before;
    stop = true;
    other.join();
    const std::uint64_t flush_ms = std::strtoull(driver.trace().c_str() + at, nullptr, 10);
    EXPECT_GE(flush_ms - start_ms, std::uint64_t{8} * outputs);
    EXPECT_GT(answered_meanwhile, outputs) << "more requests than passes, or this shows nothing";
}
