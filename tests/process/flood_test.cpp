// Backends that write too much, clients that ask for too much: clients are served all the same, and memory is
// given back.
#include "finished_driver.h"
#include "pipelined_requests.h"
#include "test_client.h"
#include "test_files.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr bool memory_tells = false; // the sanitizer keeps freed memory for a while
#else
constexpr bool memory_tells = true;
#endif

constexpr std::size_t mebibyte = 1048576;

// How much a flood is; the environment may ask for more.
std::size_t flood_bytes() {
    const char* mebibytes = std::getenv("VRDX_FLOOD_MIB");
    return (mebibytes != nullptr ? std::strtoul(mebibytes, nullptr, 10) : 64) * mebibyte;
}

// A driver whose trace nobody keeps.
class ClientsFlood : public testing::Test {
protected:
    ~ClientsFlood() override {
        close(null_);
    }

    const temporary_directory directory_;
    const int null_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
};

// The same for backends that write much.
class Flood : public ClientsFlood, public testing::WithParamInterface<const char*> {
protected:
    // Runs `directives` while a client asks; every answer must come soon, and the driver must not grow.
    void expect_service_during(const script& directives, long allowed_growth_kib) const {
        wait_until("a client asks again and again meanwhile",
                   [&] { return answers_during(directives, allowed_growth_kib) > 10 || HasFailure(); });
    }

private:
    [[nodiscard]] int answers_during(const script& directives, long allowed_growth_kib) const {
        const std::string done = directory_.file("done");
        const std::string go = directory_.file("go");
        std::filesystem::remove(done);
        std::filesystem::remove(go);
        const std::string item = write_scripted_item(
            directory_,
            join({announce_router(4, 3), {"wait-for-file " + go}, directives, {"touch " + done}}));
        driver_process driver(driver_setup{.item = item, .standard_error = null_});
        test_client client(driver.socket_path());
        wait_for_status(client, "out points", "3");
        const long before = resident_kib(driver.pid());
        write_file(go, "");
        long most = before;
        int answers = 0;
        while (!file_exists(done)) {
            const auto asked = std::chrono::steady_clock::now();
            EXPECT_EQ(client.status().entry("out points"), "3");
            ++answers;
            EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(5));
            most = std::max(most, resident_kib(driver.pid()));
        }
        if (memory_tells) {
            EXPECT_LT(most - before, allowed_growth_kib);
            wait_until("memory is given back", [&] {
                return client.status().result == 0 && resident_kib(driver.pid()) - before < 8192;
            });
        }
        EXPECT_EQ(driver.stop(), ends_well);
        return answers;
    }
};

} // namespace

TEST_P(Flood, OfLinesLeavesClientsServed) {
    const std::string wire = GetParam();
    expect_service_during({"flood " + wire + " " + std::to_string(flood_bytes()) + " <NOTE>all is well"},
                          16384);
}

TEST_P(Flood, OfBlankLinesLeavesClientsServed) {
    const std::string wire = GetParam();
    expect_service_during({"flood " + wire + " " + std::to_string(8 * mebibyte) + " "}, 16384);
}

// Tagged, because as an error it would rightly stay in the log of last errors.
TEST_P(Flood, LineOf64MebibytesIsSurvivedAndItsMemoryGivenBack) {
    const std::string wire = GetParam();
    expect_service_during({"raw " + wire + " " + to_hex("<DBG>"),
                           "long-line " + wire + " " + std::to_string(64 * mebibyte), "blank"},
                          long{6} * 64 * 1024);
}

TEST_F(ClientsFlood, OfTakesGivesItsMemoryBackWhenTheBackendEnds) {
    const std::string go = directory_.file("go");
    const std::string item =
        write_scripted_item(directory_, join({announce_router(4, 3), {"wait-for-file " + go, "exit 0"}}));
    driver_process driver(driver_setup{.item = item, .standard_error = null_});
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "3");
    const long before = resident_kib(driver.pid());
    const std::vector<std::string> takes(4000, request_bytes("route", {"1=2"}));
    for (int connection = 0; connection < 12; ++connection)
        ask_at_once(driver.socket_path(), takes);
    EXPECT_GT(resident_kib(driver.pid()) - before, 8192) << "else this shows nothing";
    write_file(go, "");
    wait_until("memory is given back", [&] {
        return client.status().result == 0 && (!memory_tells || resident_kib(driver.pid()) - before < 4096);
    });
    EXPECT_EQ(driver.stop(), ends_well);
}

INSTANTIATE_TEST_SUITE_P(BackendInput, Flood, testing::Values("stdout", "stderr"));
