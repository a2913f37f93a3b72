// Who gets in, and what the driver refuses to touch or to pass on.
#include "driver_process.h"
#include "finished_driver.h"
#include "test_client.h"
#include "test_files.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr uid_t nobody = 65534;

class Access : public testing::Test {
protected:
    Access() {
        write_file(item_, "driver=route_simulator\n");
        chmod(directory_.path().c_str(), 0755);
    }
    [[nodiscard]] std::string socket_path() const {
        return directory_.file(".tavrixsock.item");
    }
    // The driver refuses to start, for this reason.
    void expect_refused(const std::string& reason) const {
        const finished_driver driver = run_to_end({.item = item_, .switches = {"--oneshot"}});
        EXPECT_EQ(driver.end, refuses);
        EXPECT_THAT(driver.trace, HasSubstr(reason));
    }
    [[nodiscard]] std::string trace_of_a_pass() const {
        return run_to_end({.item = item_, .switches = {"--oneshot"}}).trace;
    }

    const temporary_directory directory_;
    const std::string item_ = directory_.file("item");
};

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

// What connecting as another user fails with; 0: it does not. -1: it could not be tried.
int connect_as(uid_t user, gid_t group, const std::string& path) {
    const pid_t child = fork();
    if (child == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(group) != 0 || setuid(user) != 0)
            _exit(255);
        const sockaddr_un address = address_of(path);
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        _exit(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) != 255 ? WEXITSTATUS(status) : -1;
}

// A socket that nobody serves any more.
void leave_stale_socket(const std::string& path) {
    const sockaddr_un address = address_of(path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(fd);
}

} // namespace

TEST_F(Access, ForeignUserIsRefusedAndTheGroupIsLetIn) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    driver_process driver(item_);
    ASSERT_EQ(test_client(driver.socket_path()).request("ping").command, "ping");
    const int error = connect_as(nobody, nobody, driver.socket_path());
    if (error == -1)
        GTEST_SKIP() << "there are no other users here";
    EXPECT_EQ(error, EACCES);
    EXPECT_EQ(connect_as(nobody, getegid(), driver.socket_path()), 0);
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST_F(Access, LinkInTheSocketsPlaceIsNeitherFollowedNorRemoved) {
    write_file(directory_.file("precious"), "untouched");
    leave_stale_socket(directory_.file("stale"));
    for (const char* target : {"precious", "stale", "nothing there"}) {
        ASSERT_EQ(symlink(directory_.file(target).c_str(), socket_path().c_str()), 0);
        expect_refused("is taken by something that is no socket\n");
        EXPECT_TRUE(std::filesystem::is_symlink(socket_path()));
        std::filesystem::remove(socket_path());
    }
    EXPECT_EQ(read_file(directory_.file("precious")), "untouched");
    EXPECT_TRUE(file_exists(directory_.file("stale")));
    EXPECT_FALSE(file_exists(directory_.file("nothing there")));
}

TEST_F(Access, StaleSocketOfAnotherUserStays) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    leave_stale_socket(socket_path());
    if (lchown(socket_path().c_str(), nobody, nobody) != 0)
        GTEST_SKIP() << "there are no other users here";
    expect_refused("belongs to another user\n");
    EXPECT_TRUE(file_exists(socket_path()));
}

TEST_F(Access, LiveSocketOfAnotherProgramStays) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(socket_path());
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(fd, 1), 0);
    expect_refused("a live driver answers on ");
    EXPECT_TRUE(file_exists(socket_path()));
    close(fd);
}

TEST_F(Access, DirectoryThatOthersCanWriteIsWarnedAbout) {
    const std::string warning =
        "Directory " + directory_.path() + " of the item file can be written by others\n";
    for (const mode_t safe : {0700U, 0755U, 0775U, 01777U}) {
        ASSERT_EQ(chmod(directory_.path().c_str(), safe), 0);
        EXPECT_THAT(trace_of_a_pass(), Not(HasSubstr("by others"))) << std::oct << safe;
    }
    for (const mode_t unsafe : {0777U, 0757U, 0703U}) {
        ASSERT_EQ(chmod(directory_.path().c_str(), unsafe), 0);
        EXPECT_THAT(trace_of_a_pass(), HasSubstr(warning)) << std::oct << unsafe;
    }
}

TEST_F(Access, BackendHasNoPrivilegeThatTheDriverHasNot) {
    const std::vector<std::string> privileges = {"Uid",    "Gid",    "Groups", "CapInh",     "CapPrm",
                                                 "CapEff", "CapBnd", "CapAmb", "NoNewPrivs", "Seccomp"};
    for (const bool restricted : {false, true}) {
        driver_setup setup{.item = item_};
        if (restricted)
            setup.before_exec = [] { prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0); };
        driver_process driver(setup);
        test_client client(driver.socket_path());
        wait_for_status(client, "out points", "16");
        const pid_t backend = driver.wait_for_backend();
        for (const std::string& name : privileges)
            EXPECT_EQ(status_field(backend, name), status_field(driver.pid(), name)) << name;
        EXPECT_EQ(status_field(backend, "NoNewPrivs"),
                  restricted ? "1" : status_field(getpid(), "NoNewPrivs"));
        EXPECT_EQ(driver.stop(), ends_well);
    }
}
