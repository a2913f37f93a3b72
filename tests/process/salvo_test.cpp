// Many takes at once, on routers of the sizes that are built.
#include "take_fixture.h"

#include <algorithm>
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
