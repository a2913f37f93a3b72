// Which routers there are, as items and sockets come and go.
#include "gateway/routers/board_limits.h"
#include "played_driver.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using gateway::router_state;

namespace {

class Directories : public PlayedDriver {
protected:
    void SetUp() override {
        PlayedDriver::SetUp();
        unlink(item_path("studio").c_str());
    }
    [[nodiscard]] std::string names() const {
        std::string all;
        for (const gateway::shown_router* each : board->all())
            all += (all.empty() ? "" : " ") + each->name;
        return all;
    }
    void wait_for_names(const std::string& wanted) {
        wait_for("the routers \"" + wanted + "\"", [&] { return names() == wanted; });
    }
};

} // namespace

TEST_F(Directories, AFileOrASocketOfTheRightNameIsARouter) {
    write_file(items + "/b.item", "");
    write_file(items + "/a.item", "");
    write_file(items + "/.hidden.item", "");
    write_file(items + "/.item", "");
    write_file(items + "/notes", "");
    write_file(items + "/a.item.bak", "");
    mkdir((items + "/directory.item").c_str(), 0700);
    ASSERT_EQ(symlink("a.item", (items + "/link.item").c_str()), 0);
    write_file(run + "/file.sock", "");
    const scripted_driver hidden(run + "/.hidden.sock");
    const scripted_driver without_item(socket_path("c"));
    board->start();
    EXPECT_EQ(names(), "a b c");
    EXPECT_EQ(board->find("notes"), nullptr);
    EXPECT_EQ(board->directory_problem(), "");
}

TEST_F(Directories, WhatComesAndGoesIsNoticed) {
    board->start();
    EXPECT_EQ(names(), "");
    write_file(item_path("one"), "");
    wait_for_names("one");
    std::filesystem::rename(item_path("one"), item_path("two"));
    wait_for_names("two");
    start_driver();
    wait_for_names("studio two");
    unlink(item_path("two").c_str());
    wait_for_names("studio");
    driver->leave();
    wait_for_names("");
}

TEST_F(Directories, VersionsGoOnWhenARouterComesAgain) {
    write_file(item_path("one"), "");
    board->start();
    const std::uint64_t before = board->find("one")->version;
    unlink(item_path("one").c_str());
    wait_for_names("");
    write_file(item_path("one"), "");
    wait_for_names("one");
    EXPECT_GT(board->find("one")->version, before);
    EXPECT_TRUE(told.back().news.appeared);
}

TEST_F(Directories, TheyMayAppearLater) {
    std::filesystem::remove(items);
    std::filesystem::remove(run);
    board->start();
    EXPECT_EQ(names(), "");
    EXPECT_EQ(board->directory_problem(), "");
    std::filesystem::create_directory(items);
    std::filesystem::create_directory(run);
    write_file(item_path("one"), "");
    wait_for_names("one");
    start_driver();
    wait_for_state("studio", router_state::up);
}

TEST_F(Directories, TheyMayBeExchangedForOthers) {
    write_file(item_path("old"), "");
    board->start();
    EXPECT_EQ(names(), "old");
    std::filesystem::rename(items, items + ".old");
    wait_for_names("");
    std::filesystem::create_directory(items);
    write_file(item_path("new"), "");
    wait_for_names("new");
    write_file(items + ".old/older.item", ""); // nobody looks there any more
    write_file(item_path("newer"), "");
    wait_for_names("new newer");
}

TEST_F(Directories, OneThatCannotBeReadIsToldAndItsRoutersStay) {
    write_file(item_path("one"), "");
    board->start();
    start_driver();
    wait_for_names("one studio");
    std::filesystem::remove_all(items);
    write_file(items, "no directory");
    wait_for("the problem", [&] { return board->directory_problem().find(items) != std::string::npos; });
    EXPECT_EQ(names(), "one studio");
    unlink(items.c_str());
    std::filesystem::create_directory(items);
    wait_for_names("studio");
    EXPECT_EQ(board->directory_problem(), "");
}

TEST_F(Directories, MoreThanTheLimitAreCountedAndThoseShownStay) {
    for (std::size_t i = 0; i < gateway::routers_limit; ++i)
        write_file(item_path("router" + std::to_string(1000 + i)), "");
    board->start();
    EXPECT_EQ(board->all().size(), gateway::routers_limit);
    EXPECT_EQ(board->routers_beyond_limit(), 0U);
    write_file(item_path("a first one by name"), "");
    wait_for("it is counted", [&] { return board->routers_beyond_limit() == 1; });
    EXPECT_EQ(board->find("a first one by name"), nullptr);
    unlink(item_path("router1000").c_str());
    wait_for("there is room", [&] { return board->find("a first one by name") != nullptr; });
    EXPECT_EQ(board->all().size(), gateway::routers_limit);
    EXPECT_EQ(board->routers_beyond_limit(), 0U);
}

TEST_F(Directories, NothingIsMissedWhenMoreHappensThanTheKernelRemembers) {
    board->start();
    const std::string restless = items + "/restless";
    for (int i = 0; i < 20000; ++i) { // beyond fs.inotify.max_queued_events, 16384 unless told
        close(open(restless.c_str(), O_CREAT | O_CLOEXEC | O_WRONLY, 0600));
        unlink(restless.c_str());
    }
    write_file(item_path("one"), "");
    wait_for_names("one");
    write_file(item_path("two"), "");
    wait_for_names("one two");
}

TEST_F(Directories, ASocketThatOneMayNotConnectToSaysWhy) {
    start_driver();
    ASSERT_EQ(chmod(socket_path("studio").c_str(), 0), 0);
    for (const std::string& each : {directory.path(), items, run})
        ASSERT_EQ(chmod(each.c_str(), 0755), 0);
    const uid_t whose = geteuid();
    ASSERT_EQ(seteuid(whose == 0 ? 65534 : whose), 0); // root may connect to everything
    board->start();
    ASSERT_EQ(seteuid(whose), 0);
    EXPECT_EQ(studio().state, router_state::no_driver);
    EXPECT_NE(studio().reason.find("Permission denied"), std::string::npos) << studio().reason;
    ASSERT_EQ(chmod(socket_path("studio").c_str(), 0600), 0);
    wait_for_state("studio", router_state::up);
}
