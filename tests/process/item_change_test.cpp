// Changes of the item file while the driver runs. It looks every two seconds, at whole seconds of time.
#include "finished_driver.h"
#include "test_client.h"
#include "test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using testing::EndsWith;

class ItemChange : public testing::Test {
protected:
    // Overwrites the item in place, unseen until content and time are both new.
    void edit_in_place(driver_process& driver, const std::string& content) const {
        driver.hold();
        const std::time_t before = modification_time(item_);
        write_file(item_, content);
        set_modification_time(item_, before + 10);
        driver.let_go();
    }

    [[nodiscard]] std::string scripted() const {
        return "driver=route_scripted\nscript=" + directory_.file("script") + "\n";
    }

    const temporary_directory directory_;
    const std::string item_ = write_scripted_item(directory_, announce_router(3, 2));
};

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

int descriptor_of(const driver_process& driver, const std::string& target) {
    for (const auto& [fd, name] : driver.descriptors())
        if (name == target)
            return fd;
    return -1;
}

int lowest_free_descriptor(const driver_process& driver) {
    int free = 0;
    for (const auto& [fd, name] : driver.descriptors())
        free += fd == free ? 1 : 0;
    return free;
}

} // namespace

TEST_F(ItemChange, AnotherDriverStopsTheBackendAndStartsTheOther) {
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "2");
    const pid_t backend = driver.wait_for_backend();

    replace_file(item_, "driver=route_simulator\nsimulated outputs=7\n");
    driver.wait_for_trace("Settings changed\nDriver changed\nStopping backend\n");
    driver.wait_for_trace("Reaped ident proc " + std::to_string(backend) + "\n");
    wait_for_status(client, "out points", "7");
    EXPECT_NE(driver.wait_for_backend(), backend);
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(count(driver.whole_trace(), "Settings changed\n"), 1U);
}

TEST_F(ItemChange, SameDriverKeepsRunningHoweverTheFileIsEdited) {
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "2");
    const pid_t backend = driver.wait_for_backend();

    std::size_t seen = driver.trace_size();
    edit_in_place(driver, scripted() + "stay resident=1\n");
    seen = driver.wait_for_trace("Settings changed\n", seen);
    replace_file(item_, scripted() + "comment=renamed over\n");
    seen = driver.wait_for_trace("Settings changed\n", seen);
    replace_file(item_, "comment=the driver line is gone, its value stays\n");
    seen = driver.wait_for_trace("Settings changed\n", seen);
    EXPECT_EQ(client.request("report").entry("*active").front(), '1');
    EXPECT_EQ(driver.wait_for_backend(), backend);
    EXPECT_EQ(driver.stop(), ends_well);

    const std::string trace = driver.whole_trace();
    EXPECT_EQ(count(trace, "Driver changed\n"), 1U) << "at start-up only";
    EXPECT_EQ(count(trace, "Stopping backend\n"), 1U) << "at the end only";
    EXPECT_EQ(count(trace, "Settings changed\n"), 3U);
}

TEST_F(ItemChange, TimeThatGoesBackwardsIsAChangeToo) {
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "2");
    write_file(directory_.file("fresh"), "driver=nothing\n");
    set_modification_time(directory_.file("fresh"), 1);
    std::filesystem::rename(directory_.file("fresh"), item_);
    driver.wait_for_trace("Settings changed\nNothing more to run\nStopping backend\n");
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(ItemChange, NoUsableDriverStopsTheBackendUntilOneIsNamedAgain) {
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "2");
    const pid_t backend = driver.wait_for_backend();

    replace_file(item_, "driver=none\n");
    driver.wait_for_trace("Settings changed\nNothing more to run\nStopping backend\n");
    driver.wait_for_trace("Reaped ident proc " + std::to_string(backend) + "\n");
    EXPECT_TRUE(driver.children().empty());
    EXPECT_EQ(client.request("report").entry("*active").front(), '0');

    const std::size_t seen = driver.trace_size();
    replace_file(item_, scripted());
    driver.wait_for_trace("Settings changed\nDriver changed\n", seen);
    driver.wait_for_backend();
    wait_until("connected again", [&] { return client.request("report").entry("*active").front() == '1'; });
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(ItemChange, DebugMessagesFollowTheItem) {
    write_script(directory_.file("script"), {"log <DBG>before", "wait-for-file " + directory_.file("go"),
                                             "log <DBG>after", "log <NOTE>last"});
    driver_process driver(item_);
    test_client client(driver.socket_path());
    driver.wait_for_trace("STDERR<DBG>: 'before'\n");
    replace_file(item_, scripted() + "enable debug messages=1\n");
    driver.wait_for_trace("Settings changed\n");
    write_file(directory_.file("go"), "");
    driver.wait_for_trace("STDERR<NOTE>: 'last'\n");
    EXPECT_EQ(client.request("report").entry("*last notes"), "Starting backend driver\nafter\nlast");
}

TEST_F(ItemChange, StayResidentFollowsTheItem) {
    write_file(item_, "stay resident=1\n");
    driver_process driver(driver_setup{.item = item_, .switches = {"--auto-shutdown-delay-initial=0"}});
    EXPECT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    replace_file(item_, "stay resident=0\n");
    EXPECT_EQ(driver.wait_exit(), ends_well);
    EXPECT_THAT(without_address(driver.whole_trace()),
                EndsWith("Settings changed\nNothing more to run\nAuto terminate: " + item_ + "\n" +
                         std::string(shutdown_report)));
}

TEST_F(ItemChange, ItemThatCannotBeReadAnyMoreEndsTheDriver) {
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "2");
    // From here on the driver can open nothing more, and so not the changed item.
    const auto limit = static_cast<rlim_t>(lowest_free_descriptor(driver));
    const rlimit none{limit, limit};
    ASSERT_EQ(prlimit(driver.pid(), RLIMIT_NOFILE, &none, nullptr), 0);
    replace_file(item_, scripted());
    EXPECT_EQ(driver.wait_exit(), ends_well);
    EXPECT_THAT(
        without_address(driver.whole_trace()),
        EndsWith("Settings changed\nReading failed\n" + std::string(shutdown_report) + "Stopping backend\n"));
    EXPECT_FALSE(file_exists(driver.socket_path()));
}

TEST_F(ItemChange, MissingItemIsToldAndSurvived) {
    driver_process driver(item_);
    test_client client(driver.socket_path());
    wait_for_status(client, "out points", "2");
    const std::string location = "Cannot stat file location " +
                                 std::to_string(descriptor_of(driver, directory_.path())) + " for item, ";
    const std::time_t before = modification_time(item_);
    std::filesystem::remove(item_);
    driver.wait_for_trace(location + "No such file or directory\n");
    ASSERT_EQ(mkdir(item_.c_str(), 0700), 0);
    driver.wait_for_trace(location + "it is a directory\n");
    EXPECT_EQ(client.status().entry("out points"), "2");

    std::filesystem::remove(item_);
    write_file(directory_.file("fresh"), scripted());
    set_modification_time(directory_.file("fresh"), before + 10);
    std::filesystem::rename(directory_.file("fresh"), item_);
    driver.wait_for_trace("Settings changed\n");
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_EQ(count(driver.whole_trace(), "Driver changed\n"), 1U);
}
