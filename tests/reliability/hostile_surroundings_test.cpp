// What surrounds the driver fails or disturbs: the disk, the clock, signals.
#include "mortal_fixture.h"

#include <atomic>
#include <csignal>
#include <gmock/gmock.h>
#include <thread>

namespace {

using testing::HasSubstr;

class HostileSurroundings : public mortal_fixture {};

// Signals that mean nothing to the driver, as fast as they go.
class signal_storm {
public:
    explicit signal_storm(pid_t pid)
        : thread_([this, pid] {
              while (!stop_) {
                  for (const int signo : {SIGPIPE, SIGCONT, SIGWINCH, SIGCHLD, SIGURG})
                      kill(pid, signo);
                  ++rounds_;
                  std::this_thread::yield();
              }
          }) {}
    ~signal_storm() {
        stop_ = true;
        thread_.join();
        std::printf("figure: %ld rounds of 5 signals\n", rounds_.load());
    }
    signal_storm(const signal_storm&) = delete;
    signal_storm& operator=(const signal_storm&) = delete;

private:
    std::atomic<bool> stop_ = false;
    std::atomic<long> rounds_ = 0;
    std::thread thread_;
};

} // namespace

TEST_F(HostileSurroundings, SignalsInAStormLoseNoRequestAndNoTake) {
    start("exit");
    wait_until_active();
    const signal_storm storm(driver_->pid());
    const std::size_t deaths = long_form() ? 200 : 20;
    for (std::size_t i = 0; i < deaths; ++i)
        die_once();
    EXPECT_EQ(takes_heard(), deaths);
}

TEST_F(HostileSurroundings, WithoutAClockFromTheStartClientsAndTakesAreServed) {
    faults_.break_clock();
    start("exit");
    wait_until_active();
    wait_for_status(*client_, "output 1", "1,1");
    client_->route("1=2");
    wait_until("the take reaches the backend", [&] { return takes_heard() == 1; });
    EXPECT_EQ(client_->status().entry("output 1"), "2,2");
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

TEST_F(HostileSurroundings, ClockThatFailsLaterCostsNoService) {
    start("exit");
    wait_until_active();
    faults_.break_clock();
    client_->route("1=2");
    wait_until("the take reaches the backend", [&] { return takes_heard() == 1; });
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(client_->request("ping").command, "ping");
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

TEST_F(HostileSurroundings, FullDiskCostsTheLogAndTheMetadataAndNothingElse) {
    const std::string metadata = directory_.file(".tavrixmeta.item");
    write_file(metadata, "duration=5\nkept=1\n");
    faults_.fail_writes_to_files_only();
    faults_.fail(fault_call::write_bytes, 1, for_ever, ENOSPC);
    write_file(item_, "driver=route_simulator\nstay resident=1\n");
    driver_process driver(driver_setup{.item = item_,
                                       .switches = {"--write-metadata", "--stderr-to-log"},
                                       .variables = faults_.variables()});
    test_client client(driver.socket_path());
    wait_for_status(client, "output 16", "16,16");
    client.route("3=2");
    wait_for_status(client, "output 3", "2,2");
    EXPECT_GT(faults_.seen(), 1U);
    EXPECT_EQ(read_file(metadata), "duration=5\nkept=1\n");
    EXPECT_EQ(read_file(directory_.file(".tavrixlog.item")), "");

    faults_.fail(fault_call::none, 1, 0, 0); // there is room again
    EXPECT_EQ(driver.stop(), (driver_end{0, 0}));
    EXPECT_THAT(read_file(directory_.file(".tavrixlog.item")), HasSubstr("Cleaning up\n"));
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path()))
        EXPECT_EQ(entry.path().string().find(".tmp~"), std::string::npos) << entry.path();
}
