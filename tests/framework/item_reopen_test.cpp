#include "metadata_v4.h"
#include "monotonic_us.h"
#include "temporary_directory.h"
#include "whole_files.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct free_context {
    void operator()(metadata_v4_context* context) const {
        metadata_v4_context_free(context);
    }
};
using context_ptr = std::unique_ptr<metadata_v4_context, free_context>;

class Item : public testing::Test {
protected:
    void SetUp() override {
        write_file(path(), "driver=route_a\n");
        item_ = open_item();
        ASSERT_NE(item_, nullptr);
    }

    [[nodiscard]] std::string path() const {
        return directory_.file("router");
    }
    [[nodiscard]] context_ptr open_item() const {
        return context_ptr(metadata_v4_context_open(path(), directory_.file(".tavrixmeta.router")));
    }
    [[nodiscard]] std::string text_from_fd() const {
        std::array<char, 256> text{};
        const ssize_t count = read(item_->file_fd, text.data(), text.size());
        return count < 0 ? "unreadable" : std::string(text.data(), static_cast<std::size_t>(count));
    }
    [[nodiscard]] mode_t kind_of_fd() const {
        struct stat status {};
        return fstat(item_->file_fd, &status) == 0 ? status.st_mode & S_IFMT : 0;
    }

    temporary_directory directory_;
    context_ptr item_;
};

bool closes_on_exec(int fd) {
    return (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

TEST_F(Item, IsOpenAtItsStartBesideItsDirectory) {
    EXPECT_EQ(text_from_fd(), "driver=route_a\n");
    EXPECT_EQ(item_->file_name, "router");
    struct stat status {};
    EXPECT_EQ(fstatat(item_->dir_fd, item_->file_name.c_str(), &status, AT_SYMLINK_NOFOLLOW), 0);
    EXPECT_EQ(item_->lock_fd, -1);
}

TEST_F(Item, HandsNoDescriptorToABackend) {
    ASSERT_EQ(metadata_v4_context_lock(item_.get(), 0), 0);
    EXPECT_TRUE(closes_on_exec(item_->dir_fd));
    EXPECT_TRUE(closes_on_exec(item_->lock_fd));
    EXPECT_TRUE(closes_on_exec(item_->file_fd));
    metadata_v4_context_close_the_file(item_.get());
    EXPECT_TRUE(closes_on_exec(item_->file_fd));
    ASSERT_EQ(metadata_v4_context_open_the_file(item_.get()), 0);
    EXPECT_TRUE(closes_on_exec(item_->file_fd));
}

TEST_F(Item, ReopenedIsReadFromItsStartUnderTheSameDescriptor) {
    const int fd = item_->file_fd;
    EXPECT_EQ(text_from_fd(), "driver=route_a\n");
    metadata_v4_context_close_the_file(item_.get());
    EXPECT_EQ(item_->file_fd, fd);
    EXPECT_EQ(kind_of_fd(), mode_t{S_IFDIR});
    ASSERT_EQ(metadata_v4_context_open_the_file(item_.get()), 0);
    EXPECT_EQ(item_->file_fd, fd);
    EXPECT_EQ(text_from_fd(), "driver=route_a\n");
}

TEST_F(Item, ReopenedIsTheFileThatReplacedIt) {
    write_file(directory_.file("router.new"), "driver=route_b\n");
    std::filesystem::rename(directory_.file("router.new"), path());
    EXPECT_EQ(text_from_fd(), "driver=route_a\n") << "until it is reopened";
    metadata_v4_context_close_the_file(item_.get());
    ASSERT_EQ(metadata_v4_context_open_the_file(item_.get()), 0);
    EXPECT_EQ(text_from_fd(), "driver=route_b\n");
}

TEST_F(Item, DeletedLeavesAValidDescriptorThatIsNoRegularFile) {
    std::filesystem::remove(path());
    metadata_v4_context_close_the_file(item_.get());
    EXPECT_EQ(metadata_v4_context_open_the_file(item_.get()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(kind_of_fd(), mode_t{S_IFDIR});

    write_file(path(), "driver=route_c\n");
    ASSERT_EQ(metadata_v4_context_open_the_file(item_.get()), 0) << "and comes back";
    EXPECT_EQ(text_from_fd(), "driver=route_c\n");
}

TEST_F(Item, DeletedIsLetGoEvenWhenItWasNotClosedFirst) {
    std::filesystem::remove(path());
    EXPECT_EQ(metadata_v4_context_open_the_file(item_.get()), -1);
    EXPECT_EQ(kind_of_fd(), mode_t{S_IFDIR});
}

TEST_F(Item, ReplacedByAFifoDoesNotBlock) {
    std::filesystem::remove(path());
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    ASSERT_EQ(metadata_v4_context_open_the_file(item_.get()), 0);
    EXPECT_EQ(kind_of_fd(), mode_t{S_IFIFO});
    EXPECT_NE(open_item(), nullptr);
}

TEST_F(Item, ThatIsMissingIsNotOpened) {
    std::filesystem::remove(path());
    EXPECT_EQ(open_item(), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(metadata_v4_context_open(directory_.file("nowhere/router"), ""), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(metadata_v4_context_open("", ""), nullptr);
    metadata_v4_context_free(nullptr);
}

TEST_F(Item, IsLockedByOneAtATime) {
    ASSERT_EQ(metadata_v4_context_lock(item_.get(), 0), 0);
    EXPECT_GE(item_->lock_fd, 0);

    const context_ptr second = open_item();
    const std::uint64_t started = monotonic_us();
    EXPECT_EQ(metadata_v4_context_lock(second.get(), 30000), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_GE(monotonic_us() - started, 30000U) << "it is patient";
    EXPECT_EQ(second->lock_fd, -1);

    flock(item_->lock_fd, LOCK_UN);
    EXPECT_EQ(metadata_v4_context_lock(second.get(), 0), 0);
    EXPECT_EQ(metadata_v4_context_lock(item_.get(), 0), -1);
}

TEST_F(Item, StaysLockedWhileItIsReopened) {
    ASSERT_EQ(metadata_v4_context_lock(item_.get(), 0), 0);
    metadata_v4_context_close_the_file(item_.get());
    ASSERT_EQ(metadata_v4_context_open_the_file(item_.get()), 0);
    EXPECT_EQ(metadata_v4_context_lock(open_item().get(), 0), -1);
}

TEST_F(Item, IsUnlockedWhenItsContextIsFreed) {
    ASSERT_EQ(metadata_v4_context_lock(item_.get(), 0), 0);
    item_.reset();
    EXPECT_EQ(metadata_v4_context_lock(open_item().get(), 0), 0);
}

TEST_F(Item, ThatIsMissingIsNotLocked) {
    std::filesystem::remove(path());
    EXPECT_EQ(metadata_v4_context_lock(item_.get(), 1000000), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(item_->lock_fd, -1);
}

} // namespace
