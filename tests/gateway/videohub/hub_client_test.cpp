#include "gateway/fronts/videohub/hub_client.h"

#include "gateway/settings/limits.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <functional>
#include <gtest/gtest.h>

using namespace gateway;
using boost::asio::ip::tcp;
using std::chrono::seconds;

namespace {

constexpr auto limit = std::chrono::milliseconds(videohub_half_block_limit_ms);

// A client of a server that acknowledges everything, and the other end of its connection.
class HubClient : public testing::Test, public hub_client_owner {
protected:
    void SetUp() override {
        tcp::acceptor acceptor(loop_, {boost::asio::ip::address_v4::loopback(), 0});
        peer_.connect(acceptor.local_endpoint());
        hub_socket accepted(loop_);
        acceptor.accept(accepted);
        client_ = std::make_shared<hub_client>(*this, std::move(accepted), hub_asker{});
        client_->begin();
    }
    void TearDown() override {
        client_->cut();
        loop_.poll();
    }

    bool do_block(hub_client&, const videohub_block& block) override {
        on_block_();
        done_ += block.header + " ";
        return true;
    }
    std::string next_text(hub_client&) override {
        return {};
    }
    void client_left(hub_client&) override {
        left_ = true;
    }

    void send(std::string_view text) {
        boost::asio::write(peer_, boost::asio::buffer(text));
    }
    void run_until_done(const std::string& blocks) {
        loop_.restart(); // it had nothing to wait for while the client was not read
        while (done_ != blocks)
            ASSERT_EQ(loop_.run_one_for(seconds(60)), 1U) << done_;
        loop_.poll();
    }
    void look_after(std::chrono::milliseconds passed) {
        client_->look(hub_client::clock::now() + passed);
    }

    boost::asio::io_context loop_;
    tcp::socket peer_{loop_};
    std::shared_ptr<hub_client> client_;
    std::function<void()> on_block_ = [] {};
    std::string done_;
    bool left_ = false;
};

} // namespace

TEST_F(HubClient, BlockWithoutItsEndIsNotWaitedForForEver) {
    send("PING:\n\nVIDEO OUTPUT ROUTING:\n1 1\n");
    run_until_done("PING ");
    look_after(limit - seconds(5));
    EXPECT_FALSE(left_);
    look_after(limit + seconds(1));
    EXPECT_TRUE(left_);
}

TEST_F(HubClient, LineWithoutItsEndIsNotWaitedForForEver) {
    send("PING:\n\nVID");
    run_until_done("PING ");
    look_after(limit + seconds(1));
    EXPECT_TRUE(left_);
}

TEST_F(HubClient, SilenceAfterAWholeBlockIsWaitedFor) {
    send("PING:\n\n");
    run_until_done("PING ");
    std::array<char, 5> answer{};
    boost::asio::read(peer_, boost::asio::buffer(answer));
    loop_.poll();
    look_after(limit * 1000);
    EXPECT_FALSE(left_);
}

TEST_F(HubClient, TimeInWhichItIsNotReadDoesNotCount) {
    on_block_ = [this] { client_->takes_begin(videohub_outputs_at_work); };
    send("PING:\n\nPING:\n\nVIDEO OUTPUT ROUTING:\n");
    run_until_done("PING ");
    look_after(limit + seconds(1));
    EXPECT_FALSE(left_);
    on_block_ = [] {};
    client_->takes_end(videohub_outputs_at_work);
    run_until_done("PING PING ");
    look_after(limit + limit / 2);
    EXPECT_FALSE(left_);
    look_after(limit * 2 + seconds(5));
    EXPECT_TRUE(left_);
}
