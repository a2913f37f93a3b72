// A driver that stood still for longer than its time limits: nobody pays for it who did his part meanwhile.
#include "driver_process.h"
#include "faults.h"
#include "test_client.h"
#include "test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t long_stall_ms = 6000; // longer than clients have time

class StalledDriver : public testing::Test {
protected:
    void start(const std::vector<std::string>& switches = {}) {
        write_file(item_, "driver=route_simulator\n");
        driver_ = std::make_unique<driver_process>(
            driver_setup{.item = item_, .switches = switches, .variables = faults_.variables()});
        witness_ = std::make_unique<test_client>(driver_->socket_path());
        wait_for_status(*witness_, "out points", "16");
    }
    // What clients sent before has been read after these.
    void let_turns_go_by(int turns = 20) {
        for (int i = 0; i < turns; ++i)
            EXPECT_EQ(witness_->request("ping").command, "ping");
    }
    void hold_in_its_wait() {
        const std::string waits = std::to_string(SYS_epoll_pwait2) + " ";
        wait_until("it is stopped in its wait", [&] {
            driver_->let_go();
            driver_->hold();
            return read_file("/proc/" + std::to_string(driver_->pid()) + "/syscall").starts_with(waits);
        });
    }
    void stand_still(std::int64_t milliseconds) {
        faults_.advance_clock(milliseconds);
        driver_->let_go();
    }
    static std::size_t unread_bytes(const test_client& client) {
        int count = 0;
        ioctl(client.fd(), FIONREAD, &count);
        return static_cast<std::size_t>(count);
    }
    // What comes within the patience of tests, up to `most` bytes.
    static std::string read_bytes(const test_client& client, std::size_t most) {
        std::string bytes;
        pollfd wait{client.fd(), POLLIN, 0};
        while (bytes.size() < most && poll(&wait, 1, 60000) == 1) {
            std::string part(most - bytes.size(), '\0');
            const ssize_t count = recv(client.fd(), part.data(), part.size(), 0);
            if (count <= 0)
                break;
            bytes.append(part, 0, static_cast<std::size_t>(count));
        }
        return bytes;
    }

    const temporary_directory directory_;
    const std::string item_ = directory_.file("item");
    faults faults_{directory_.file("plan")};
    std::unique_ptr<driver_process> driver_;
    std::unique_ptr<test_client> witness_;
};

} // namespace

TEST_F(StalledDriver, TakeThatWasCompletedMeanwhileIsNotLost) {
    start();
    const test_client client(driver_->socket_path());
    const std::string request = request_bytes("route", {"3=7"});
    client.send_bytes(request.substr(0, 10));
    let_turns_go_by();
    driver_->hold();
    client.send_bytes(request.substr(10));
    stand_still(long_stall_ms);
    EXPECT_FALSE(read_bytes(client, 1).empty()) << "there is a reply";
    wait_for_status(*witness_, "output 3", "7,7");
    EXPECT_THAT(driver_->trace(), Not(HasSubstr("Client cut")));
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

TEST_F(StalledDriver, PacketThatIsStillIncompleteIsCut) {
    start();
    const test_client client(driver_->socket_path());
    client.send_bytes(request_bytes("status").substr(0, 10));
    let_turns_go_by();
    driver_->hold();
    stand_still(long_stall_ms);
    EXPECT_EQ(client.read_until_closed(), "");
    driver_->wait_for_trace("Client cut: its packet stays incomplete (user ");
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

// What is stopped just as its wait ends by itself looks the same, so one of some tries is to succeed.
TEST_F(StalledDriver, RequestThatCameWhileItStoodStillInItsWaitPostponesTheEnd) {
    bool lives = false;
    for (int attempt = 0; attempt < 5 && !lives; ++attempt) {
        start({"--auto-shutdown-delay=30"});
        const test_client client(driver_->socket_path());
        let_turns_go_by(); // it is admitted
        hold_in_its_wait();
        client.send_bytes(request_bytes("status"));
        stand_still(100000);
        lives = !read_bytes(client, 1).empty() && driver_->running();
    }
    EXPECT_TRUE(lives);
}

// The kernel tells of room in a full socket only when much of it is free.
TEST_F(StalledDriver, WhoTakesALittleOfItsRepliesIsNotCut) {
    start();
    const test_client slow(driver_->socket_path());
    constexpr std::size_t requests = 2000;
    std::string bytes;
    for (std::size_t i = 0; i < requests; ++i)
        bytes += request_bytes("ping");
    const std::size_t reply_bytes = request_bytes("ping").size(); // as long as its reply
    slow.send_bytes(bytes);
    wait_until("no more replies find room", [&] {
        const std::size_t before = unread_bytes(slow);
        let_turns_go_by(100);
        return before > 0 && before == unread_bytes(slow);
    });
    const std::size_t in_the_socket = unread_bytes(slow);
    ASSERT_LT(in_the_socket, requests * reply_bytes / 2);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(read_bytes(slow, 10 * reply_bytes).size(), 10 * reply_bytes);
        faults_.advance_clock(long_stall_ms);
        let_turns_go_by();
    }
    EXPECT_EQ(read_bytes(slow, (requests - 50) * reply_bytes).size(), (requests - 50) * reply_bytes);
    EXPECT_THAT(driver_->trace(), Not(HasSubstr("Client cut")));
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}
