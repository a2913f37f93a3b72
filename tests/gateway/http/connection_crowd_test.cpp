#include "gateway/http/connection_crowd.h"

namespace gateway {
namespace {

class someone : public connection {
public:
    void look(clock::time_point) override {}
    void cut() override {
        is_cut = true;
    }
    void finish() override {}
    bool is_cut = false;
};

class ConnectionCrowd : public testing::Test {
protected:
    static http_limits small_limits() {
        http_limits limits;
        limits.connections = 4;
        limits.waiting = 3;
        limits.connections_per_address = 3;
        limits.waiting_per_address = 2;
        return limits;
    }
    std::shared_ptr<someone> enter(const std::string& address) {
        auto entered = std::make_shared<someone>();
        crowd.enter(entered, address);
        return entered;
    }

    connection_crowd crowd{small_limits()};
};

TEST_F(ConnectionCrowd, OldestThatWaitsGivesWay) {
    const auto first = enter("10.0.0.1"), second = enter("10.0.0.2"), third = enter("10.0.0.3");
    crowd.works(first.get());
    crowd.waits(first.get()); // now behind the others
    EXPECT_TRUE(crowd.make_room("10.0.0.4"));
    EXPECT_FALSE(first->is_cut);
    EXPECT_TRUE(second->is_cut);
    EXPECT_FALSE(third->is_cut);
    EXPECT_EQ(crowd.size(), 2U);
}

TEST_F(ConnectionCrowd, NobodyAtWorkGivesWay) {
    std::vector<std::shared_ptr<someone>> busy;
    for (const char* address : {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4"}) {
        busy.push_back(enter(address));
        crowd.works(busy.back().get());
    }
    EXPECT_FALSE(crowd.make_room("10.0.0.5"));
    for (const auto& each : busy)
        EXPECT_FALSE(each->is_cut);
    crowd.leave(busy[0].get());
    EXPECT_TRUE(crowd.make_room("10.0.0.5"));
}

TEST_F(ConnectionCrowd, OneAddressPushesOutItsOwn) {
    const auto other = enter("10.0.0.1"), first = enter("10.0.0.9"), second = enter("10.0.0.9");
    EXPECT_TRUE(crowd.make_room("10.0.0.9"));
    EXPECT_TRUE(first->is_cut);
    EXPECT_FALSE(second->is_cut);
    EXPECT_FALSE(other->is_cut);
}

TEST_F(ConnectionCrowd, AddressWhoseConnectionsAllWorkGetsNoMore) {
    std::vector<std::shared_ptr<someone>> busy;
    for (int count = 0; count < 3; count++) {
        busy.push_back(enter("10.0.0.9"));
        crowd.works(busy.back().get());
    }
    EXPECT_FALSE(crowd.make_room("10.0.0.9"));
    EXPECT_TRUE(crowd.make_room("10.0.0.1"));
}

TEST_F(ConnectionCrowd, ProxyIsNotLimitedByItsAddress) {
    crowd.set_proxies({"10.0.0.9"});
    std::vector<std::shared_ptr<someone>> busy;
    for (int count = 0; count < 3; count++) {
        busy.push_back(enter("10.0.0.9"));
        crowd.works(busy.back().get());
    }
    EXPECT_TRUE(crowd.make_room("10.0.0.9"));
}

TEST_F(ConnectionCrowd, AddressesOfOneNetworkCountTogether) {
    EXPECT_EQ(house_of("10.0.0.9"), "10.0.0.9");
    EXPECT_EQ(house_of("2001:db8:1:2:3:4:5:6"), house_of("2001:db8:1:2::1"));
    EXPECT_NE(house_of("2001:db8:1:2::1"), house_of("2001:db8:1:3::1"));
}

TEST_F(ConnectionCrowd, WhoGoesOnInAnothersPlaceKeepsItsAddress) {
    const auto first = enter("10.0.0.9"), next = std::make_shared<someone>();
    crowd.replace(first.get(), next);
    EXPECT_EQ(crowd.size(), 1U);
    for (int count = 0; count < 2; count++)
        crowd.works(enter("10.0.0.9").get());
    EXPECT_FALSE(crowd.make_room("10.0.0.9"));
    crowd.leave(next.get());
    EXPECT_TRUE(crowd.make_room("10.0.0.9"));
}

} // namespace
} // namespace gateway
