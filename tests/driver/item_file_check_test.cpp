#include "open_file_limit.h"
#include "open_item.h"
#include "process_info.h"
#include "wired_backend.h"

#include <sys/stat.h>

namespace {

constexpr std::time_t examined_at = 1700000000;

// An item on "route_x" that was examined, with a running backend.
class ItemFileCheck : public open_item {
protected:
    ItemFileCheck() {
        open_with("driver=route_x\n");
        set_modification_time(path(), examined_at);
        driver_name = "route_x"; // so that its backend is not stopped as another driver's
        examine_file();
    }
    void edit(const std::string& text, std::time_t time) {
        write_file(path(), text);
        set_modification_time(path(), time);
    }
    [[nodiscard]] static std::string no_location(const char* why) {
        return "Cannot stat file location " + std::to_string(vrdx_meta->dir_fd) + " for router, " + why +
               "\n";
    }
    static bool backend_runs() {
        return backend_pid >= 0;
    }

    wired_backend backend_;
};

TEST_F(ItemFileCheck, UntouchedFileIsUnchanged) {
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(trace(), "");
}

TEST_F(ItemFileCheck, EditThatKeepsTheDriverKeepsTheBackend) {
    edit("driver=route_x\nstay resident=1\n", examined_at + 1);
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(trace(), "Settings changed\n");
    EXPECT_TRUE(stay_resident);
    EXPECT_TRUE(backend_runs());
    EXPECT_EQ(check_item_file(), item_file_check::unchanged) << "once is enough";
}

TEST_F(ItemFileCheck, EditThatNamesAnotherDriverStopsTheBackend) {
    edit("driver=route_y\n", examined_at + 1);
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(trace(), "Settings changed\nDriver changed\nStopping backend\n");
    EXPECT_FALSE(backend_runs());
    EXPECT_EQ(backend_path, VRDX_BACKEND_PREFIX "route_y");
}

TEST_F(ItemFileCheck, EditThatNamesNoDriverIsNoFailure) {
    edit("driver=none\n", examined_at + 1);
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(trace(), "Settings changed\nNothing more to run\nStopping backend\n");
}

TEST_F(ItemFileCheck, FileRenamedOverTheOldOneIsExamined) {
    write_file(directory_.file("router.new"), "driver=route_y\n");
    set_modification_time(directory_.file("router.new"), examined_at + 5);
    std::filesystem::rename(directory_.file("router.new"), path());
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(driver_name, "route_y");
    EXPECT_EQ(item_file_mtime, examined_at + 5);
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
}

TEST_F(ItemFileCheck, OlderFileIsExaminedToo) {
    edit("driver=route_y\n", examined_at - 1000);
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(driver_name, "route_y");
    EXPECT_EQ(item_file_mtime, examined_at - 1000);
}

TEST_F(ItemFileCheck, EditWithinTheSameSecondIsNotNoticed) {
    write_file(path(), "driver=route_y\n");
    const timespec times[2] = {{.tv_sec = examined_at, .tv_nsec = 999999999},
                               {.tv_sec = examined_at, .tv_nsec = 999999999}};
    ASSERT_EQ(utimensat(AT_FDCWD, path().c_str(), times, 0), 0);
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(driver_name, "route_x");
    set_modification_time(path(), examined_at + 1);
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(driver_name, "route_y");
}

TEST_F(ItemFileCheck, MissingFileIsToldAndTheDriverGoesOn) {
    std::filesystem::remove(path());
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(trace(), no_location("No such file or directory"));
    EXPECT_TRUE(backend_runs());
}

TEST_F(ItemFileCheck, FileThatComesBackIsExamined) {
    std::filesystem::remove(path());
    check_item_file();
    trace();
    edit("driver=route_y\n", examined_at + 1);
    EXPECT_EQ(check_item_file(), item_file_check::examined);
    EXPECT_EQ(driver_name, "route_y");
}

TEST_F(ItemFileCheck, SymbolicLinkInItsPlaceIsNoItemFile) {
    write_file(directory_.file("elsewhere"), "driver=route_y\n");
    std::filesystem::remove(path());
    std::filesystem::create_symlink(directory_.file("elsewhere"), path());
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(trace(), no_location("it is a symbolic link"));
    EXPECT_EQ(driver_name, "route_x");
}

TEST_F(ItemFileCheck, DirectoryInItsPlaceIsNoItemFile) {
    std::filesystem::remove(path());
    std::filesystem::create_directory(path());
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(trace(), no_location("it is a directory"));
}

TEST_F(ItemFileCheck, PipeInItsPlaceIsNoItemFile) {
    std::filesystem::remove(path());
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(trace(), no_location("it is no regular file"));
}

TEST_F(ItemFileCheck, ChangedFileThatCannotBeOpenedEndsTheDriver) {
    edit("driver=route_y\n", examined_at + 1);
    const open_file_limit limit(0);
    EXPECT_EQ(check_item_file(), item_file_check::unreadable);
    EXPECT_EQ(trace(), "Settings changed\nReading failed\n");
    EXPECT_EQ(driver_name, "route_x");
}

TEST_F(ItemFileCheck, DescriptorThatIsNoFileIsTold) {
    metadata_v4_context_close_the_file(vrdx_meta);
    EXPECT_EQ(check_item_file(), item_file_check::unchanged);
    EXPECT_EQ(trace(), "Cannot stat file\n");
}

TEST_F(ItemFileCheck, ManyChangesLeaveNoDescriptorOpen) {
    const auto descriptors = descriptors_of(getpid());
    for (int change = 1; change <= 20; ++change) {
        edit("driver=route_x\n", examined_at + change);
        EXPECT_EQ(check_item_file(), item_file_check::examined);
    }
    EXPECT_EQ(descriptors_of(getpid()), descriptors);
}

} // namespace
