// A driver that is killed without a word leaves nothing that stops the next start.
#include "driver_process.h"
#include "faults.h"
#include "test_client.h"
#include "test_files.h"

#include <csignal>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <thread>

namespace {

// Not so the socket of a killed one, which for a moment takes connections that are dropped then.
bool serves(const std::string& socket_path) {
    try {
        return file_exists(socket_path) && test_client(socket_path).request("ping").command == "ping";
    } catch (const std::runtime_error&) {
        return false;
    }
}

// A killed one lives on in a child that has not become the backend yet; on a loaded machine that may be
// longer than the next start waits for it.
constexpr driver_end refused{1, 0};

} // namespace

TEST(KilledDriver, AtAnyMomentLeavesNothingThatStopsTheNextStart) {
    const temporary_directory directory;
    const std::string item = write_scripted_item(directory, announce_router(4, 3));
    const driver_setup setup{.item = item, .switches = {"--write-metadata", "--stderr-to-log"}};
    std::minstd_rand random(20);
    std::uniform_int_distribution<int> moment_us(0, 30000);
    const int kills = long_form() ? 1000 : 60;
    for (int i = 0; i < kills; ++i) {
        driver_process killed(setup); // what it left runs on beside the next one
        std::this_thread::sleep_for(std::chrono::microseconds(moment_us(random))); // any moment will do
        killed.signal(SIGKILL);
        const driver_end end = killed.wait_exit();
        EXPECT_TRUE(end == (driver_end{-1, SIGKILL}) || end == refused) << end.exit_code;
        if (i % 10 != 9)
            continue;
        std::optional<driver_process> next;
        wait_until("the next one serves", [&] {
            if (next && !next->running()) {
                EXPECT_EQ(next->wait_exit(), refused);
                next.reset();
            }
            if (!next)
                next.emplace(setup);
            return serves(next->socket_path());
        });
        test_client client(next->socket_path());
        wait_for_status(client, "out points", "3");
        EXPECT_EQ(next->stop(), (driver_end{0, 0}));
        EXPECT_FALSE(file_exists(next->socket_path()));
    }
}
