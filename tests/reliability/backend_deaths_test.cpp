// A thousand deaths of the backend, ten thousand in the long form, in every way it can die.
#include "mortal_fixture.h"

#include <algorithm>
#include <csignal>

namespace {

constexpr int warm_up = 30;

int deaths_of_each_kind() {
    return long_form() ? 840 : 60;
}

class BackendDeaths : public mortal_fixture, public testing::WithParamInterface<const char*> {
protected:
    // One that dies of any command may have died once more, of a question that the driver asks by itself.
    bool backend_lives() {
        if (!active())
            faults_.advance_clock(5000);
        const auto children = driver_->children();
        return children.size() == 1 && process_state(children[0]) != 'Z' && active();
    }
    std::size_t descriptors_beside_backend() {
        std::size_t descriptors = 0;
        wait_until("one backend lives all the time", [&] {
            const auto before = driver_->children();
            descriptors = driver_->settled_descriptor_count();
            return backend_lives() && driver_->children() == before;
        });
        return descriptors;
    }
    void expect_nothing_left(std::size_t descriptors, long own_kib, long before_kib) {
        wait_until("no zombie and no descriptor is left behind",
                   [&] { return backend_lives() && driver_->descriptors().size() == descriptors; });
        long grown_kib = 0;
        becomes_true([&] { // trace that was not read yet counts for a moment
            grown_kib = own_memory_kib(driver_->pid()) - own_kib;
            return grown_kib * 100 <= before_kib;
        });
        std::printf("figure: %s: %ld KiB after %d deaths, %ld KiB more after %d more\n", GetParam(),
                    before_kib, warm_up, grown_kib, deaths_of_each_kind());
        EXPECT_LE(grown_kib * 100, before_kib);
    }
};

class CrowdedDriver : public mortal_fixture {};

} // namespace

TEST_P(BackendDeaths, LeaveNothingBehindAndLoseNoTake) {
    const std::string death = GetParam();
    start(death);
    wait_until_active();
    wait_for_status(*client_, "output 1", source_before_);
    for (int i = 0; i < warm_up; ++i)
        die_once();
    const std::size_t descriptors = descriptors_beside_backend();
    const long own_kib = own_memory_kib(driver_->pid());
    ASSERT_GT(own_kib, 0);
    const long before_kib = resident_kib(driver_->pid());
    for (int i = 0; i < deaths_of_each_kind(); ++i) {
        die_once();
        ASSERT_FALSE(HasFailure());
    }
    const auto deaths = static_cast<std::size_t>(warm_up) + static_cast<std::size_t>(deaths_of_each_kind());
    EXPECT_EQ(takes_heard(), death == "unread command" ? 0 : deaths);
    expect_nothing_left(descriptors, own_kib, before_kib);
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, BackendDeaths,
                         testing::Values("exit", "abort", "kill", "unread command", "half report",
                                         "half log line", "close 012", "close 021", "close 102", "close 120",
                                         "close 201", "close 210"),
                         [](const auto& kind) {
                             std::string name = kind.param;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

TEST_F(CrowdedDriver, WithTwoHundredClientsTheBackendHoldsItsThreeDescriptors) {
    start("exit");
    std::vector<std::unique_ptr<test_client>> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd.push_back(std::make_unique<test_client>(driver_->socket_path()));
        ASSERT_EQ(crowd.back()->request("ping").command, "ping");
    }
    std::size_t announced = 0;
    const int lives = long_form() ? 100 : 10;
    for (int i = 0; i < lives; ++i) {
        wait_until_active();
        announced = driver_->wait_for_trace("STDOUT: 'o2.input.all=2'\n", announced); // it runs, and waits
        const auto descriptors = descriptors_of(driver_->wait_for_backend());
        ASSERT_EQ(descriptors.size(), 3U);
        for (const int fd : {0, 1, 2})
            EXPECT_TRUE(descriptors.at(fd).starts_with("pipe:")) << descriptors.at(fd);
        die_once();
    }
    for (const auto& one : crowd)
        EXPECT_EQ(one->request("ping").command, "ping");
}
