#include "socket_address.h"
#include "temporary_directory.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

struct unix_socket {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);

    unix_socket() = default;
    ~unix_socket() {
        close(fd);
    }
    unix_socket(const unix_socket&) = delete;
    unix_socket& operator=(const unix_socket&) = delete;
};

// Restores the process's mask, which the operations under test must not depend on.
struct umask_guard {
    mode_t previous;

    explicit umask_guard(mode_t mask) : previous(umask(mask)) {}
    ~umask_guard() {
        umask(previous);
    }
    umask_guard(const umask_guard&) = delete;
    umask_guard& operator=(const umask_guard&) = delete;
};

std::set<std::string> names_in(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        names.insert(entry.path().filename().string());
    return names;
}

unsigned mode_of(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

int descriptors_open() {
    return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

class SocketAddress : public testing::Test {
protected:
    temporary_directory directory;
    std::string path = directory.path() + "/.tavrixsock.router";

    // A directory of the test whose path is longer than a socket address can be.
    std::string long_directory() const {
        std::string name = directory.path() + "/" + std::string(100, 'd') + "/" + std::string(200, 'e');
        fs::create_directories(name);
        return name;
    }
};

} // namespace

TEST_F(SocketAddress, ServesUnderTheNameAndNoOther) {
    unix_socket server;
    unix_socket client;
    ASSERT_EQ(bind_socket_path(server.fd, path, 0660, 8), 0);
    EXPECT_EQ(names_in(directory.path()), std::set<std::string>{".tavrixsock.router"});
    EXPECT_EQ(connect_socket_path(client.fd, path), 0);
}

TEST_F(SocketAddress, LongPathsAreServedAndReached) {
    const std::string deep = long_directory();
    path = deep + "/" + std::string(120, 'n');
    unix_socket server;
    unix_socket client;
    const int open_before = descriptors_open();
    ASSERT_EQ(bind_socket_path(server.fd, path, 0660, 8), 0);
    EXPECT_EQ(names_in(deep), std::set<std::string>{std::string(120, 'n')});
    EXPECT_EQ(connect_socket_path(client.fd, path), 0);
    EXPECT_EQ(descriptors_open(), open_before);
}

TEST_F(SocketAddress, EveryLengthAroundTheLimitOfAnAddressWorks) {
    for (std::size_t length = 80; length <= 130; ++length) {
        ASSERT_LT(directory.path().size() + 1, length);
        path = directory.path() + "/" + std::string(length - directory.path().size() - 1, 'n');
        unix_socket server;
        unix_socket client;
        ASSERT_EQ(bind_socket_path(server.fd, path, 0660, 8), 0) << length;
        EXPECT_EQ(connect_socket_path(client.fd, path), 0) << length;
        EXPECT_EQ(names_in(directory.path()).size(), 1U) << length;
        unlink(path.c_str());
    }
}

TEST_F(SocketAddress, ModeIsExactWhateverTheMask) {
    for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
        for (const unsigned mode : {0600U, 0660U, 0666U}) {
            const umask_guard guard(mask);
            unix_socket server;
            ASSERT_EQ(bind_socket_path(server.fd, path, mode, 8), 0);
            EXPECT_EQ(mode_of(path), S_IFSOCK | mode) << std::oct << mask;
            EXPECT_EQ(umask(mask), mask); // and the mask is as it was
            unlink(path.c_str());
        }
    }
}

TEST_F(SocketAddress, TakenNameIsLeftAloneAndNothingElseRemains) {
    std::ofstream(path) << "somebody's";
    unix_socket server;
    EXPECT_EQ(bind_socket_path(server.fd, path, 0660, 8), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_TRUE(fs::is_regular_file(path));
    EXPECT_EQ(names_in(directory.path()).size(), 1U);
}

TEST_F(SocketAddress, LiveSocketIsNotReplaced) {
    unix_socket first;
    unix_socket second;
    unix_socket client;
    ASSERT_EQ(bind_socket_path(first.fd, path, 0660, 8), 0);
    EXPECT_EQ(bind_socket_path(second.fd, path, 0660, 8), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(names_in(directory.path()).size(), 1U);
    ASSERT_EQ(connect_socket_path(client.fd, path), 0);
    EXPECT_GE(accept4(first.fd, nullptr, nullptr, SOCK_CLOEXEC), 0);
}

TEST_F(SocketAddress, LinkInItsPlaceIsNotFollowed) {
    fs::create_symlink("elsewhere", path);
    unix_socket server;
    EXPECT_EQ(bind_socket_path(server.fd, path, 0660, 8), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(names_in(directory.path()), std::set<std::string>{".tavrixsock.router"});
}

TEST_F(SocketAddress, NameLeftByACrashedProcessOfTheSameNumberDoesNotHinder) {
    const std::string leftover = ".tavrixsock~" + std::to_string(getpid());
    std::ofstream(directory.path() + "/" + leftover) << "";
    unix_socket server;
    ASSERT_EQ(bind_socket_path(server.fd, path, 0660, 8), 0);
    EXPECT_EQ(names_in(directory.path()), (std::set<std::string>{".tavrixsock.router", leftover}));
}

TEST_F(SocketAddress, ImpossiblePathsAreRefused) {
    unix_socket socket;
    const std::string missing = directory.path() + "/missing/.tavrixsock.router";
    const std::string with_nul = directory.path() + std::string("/a\0b", 4);
    EXPECT_EQ(bind_socket_path(socket.fd, missing, 0660, 8), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(connect_socket_path(socket.fd, missing), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(connect_socket_path(socket.fd, long_directory() + "/missing"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(connect_socket_path(socket.fd, ""), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(bind_socket_path(socket.fd, "", 0660, 8), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(connect_socket_path(socket.fd, with_nul), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(bind_socket_path(socket.fd, with_nul, 0660, 8), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(bind_socket_path(socket.fd, std::string(5000, 'x') + "/y", 0660, 8), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(SocketAddress, StaleSocketRefusesConnections) {
    {
        unix_socket server;
        ASSERT_EQ(bind_socket_path(server.fd, path, 0660, 8), 0);
    }
    unix_socket client;
    EXPECT_EQ(connect_socket_path(client.fd, path), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
}
