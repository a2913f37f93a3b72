// The connections that are there for takes, and who gets them.
#include "gateway/routers/lane_table.h"

#include "gateway/routers/board_limits.h"
#include "socket_address.h"
#include "temporary_directory.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace gateway {
namespace {

// The driver's socket has no place for a further client, so that what is asked waits.
class LaneTable : public testing::Test {
protected:
    temporary_directory directory;
    boost::asio::io_context loop;
    lane_table table{loop};
    std::size_t routers = 0;

    // Asks the lane's next router for something that nobody answers; false when there is no way to it.
    bool ask(const std::string& lane) {
        take_lane* way = table.way("router" + std::to_string(++routers), lane, socket());
        if (way == nullptr)
            return false;
        lane_request request;
        request.packet = vrdx::simple_request("status");
        request.deadline = UINT64_MAX;
        request.done = [](const take_ending&) {};
        way->ask(std::move(request));
        return true;
    }
    std::size_t ask_for_all(const std::string& lane) {
        std::size_t got = 0;
        while (got <= lane_connections_limit && ask(lane))
            ++got;
        return got;
    }
    void SetUp() override {
        const auto made = [this] {
            descriptors_.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            return descriptors_.back();
        };
        ASSERT_EQ(bind_socket_path(made(), socket(), 0600, 0), 0);
        while (connect_socket_path(made(), socket()) == 0) // until it is full
            ASSERT_LT(descriptors_.size(), 100U);
    }
    void TearDown() override {
        table.drop_all("the test ends");
        loop.poll();
        for (const int descriptor : descriptors_)
            close(descriptor);
    }
    [[nodiscard]] std::string socket() const {
        return directory.file("driver.sock");
    }

private:
    std::vector<int> descriptors_;
};

TEST_F(LaneTable, OneLaneGetsAShare) {
    EXPECT_EQ(ask_for_all("greedy"), lane_connections_of_one_limit);
    EXPECT_TRUE(ask("other"));
}

TEST_F(LaneTable, HoweverManyAreGreedyTheNextOneGetsSome) {
    for (int lane = 1; lane <= 8; ++lane)
        EXPECT_GT(ask_for_all("greedy " + std::to_string(lane)), 0U) << lane;
    EXPECT_TRUE(ask("calm"));
    EXPECT_LE(table.size(), lane_connections_limit);
}

TEST_F(LaneTable, ALanesOwnUnusedWaysGiveWayToItsNextOne) {
    for (std::size_t i = 0; i < lane_connections_of_one_limit; ++i)
        ASSERT_NE(table.way("unused" + std::to_string(i), "lane", socket()), nullptr);
    table.way("unused", "other", socket());
    EXPECT_TRUE(ask("lane"));
    EXPECT_EQ(table.size(), lane_connections_of_one_limit + 1);
}

TEST_F(LaneTable, UnusedWaysOfOthersGiveWayWhenAllAreTaken) {
    for (int lane = 1; lane <= 16; ++lane)
        for (int i = 0; i < 200; ++i)
            table.way("unused" + std::to_string(i), "idle " + std::to_string(lane), socket());
    EXPECT_LE(table.size(), lane_connections_limit);
    EXPECT_EQ(ask_for_all("busy"), lane_connections_of_one_limit);
    EXPECT_LE(table.size(), lane_connections_limit);
}

} // namespace
} // namespace gateway
