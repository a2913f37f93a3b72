#include "waiting_clients.h"

#include <gmock/gmock.h>

namespace {

class WaitingLimits : public waiting_clients {
protected:
    // One packet with so many takes.
    static void ask(requester client, std::size_t takes) {
        take(client, 0, std::vector<std::int32_t>(takes, 0));
    }
    // Messages of exactly so many bytes together.
    static void fill(requester client, std::size_t bytes) {
        const std::size_t beside = encoded_router_message_length(message(""));
        for (std::size_t next = 0; bytes > 0; bytes -= next) {
            next = std::min<std::size_t>(bytes, 600000);
            if (bytes > next && bytes - next < beside)
                next -= beside;
            send(client, std::string(next - beside, 'x'));
        }
    }
};

TEST_F(WaitingLimits, NewClientNeedNotWait) {
    EXPECT_FALSE(requester_must_wait({900000, new_user()}, 100)) << "it has not asked for anything yet";
    EXPECT_FALSE(requester_must_wait(connect(), 100));
}

TEST_F(WaitingLimits, ClientMustWaitFrom4096TakesOn) {
    const uid_t user = new_user();
    const requester client = connect(user);
    ask(client, 4095);
    EXPECT_FALSE(requester_must_wait(client, 100));
    ask(client, 1);
    EXPECT_TRUE(requester_must_wait(client, 100));
    EXPECT_FALSE(requester_must_wait(connect(user), 100));
    EXPECT_FALSE(requester_must_wait(connect(), 100));
}

TEST_F(WaitingLimits, BothCommandsOfASplitTakeCount) {
    split_the_levels();
    const requester client = connect();
    for (int take = 0; take < 2048; ++take)
        queue_route_request({0, 1, 0}, client);
    EXPECT_FALSE(requester_must_wait(client, 100)) << "while no command is made of them they are 2,048";
    plan_route_changes();
    EXPECT_TRUE(requester_must_wait(client, 100));
}

TEST_F(WaitingLimits, TakesCountWhileNoBackendCanBeTold) {
    commands_reach_backend = false;
    const requester client = connect();
    ask(client, 4095);
    EXPECT_FALSE(requester_must_wait(client, 100));
    ask(client, 1);
    EXPECT_TRUE(requester_must_wait(client, 100));
    drop_pending_lines();
    EXPECT_TRUE(requester_must_wait(client, 100)) << "they are still asked for";
}

TEST_F(WaitingLimits, OneMovedCommandFreesTheClient) {
    const requester client = connect();
    ask(client, 4096);
    ASSERT_TRUE(requester_must_wait(client, 100));
    move(1);
    EXPECT_FALSE(requester_must_wait(client, 100));
    ask(client, 1);
    EXPECT_TRUE(requester_must_wait(client, 100));
}

TEST_F(WaitingLimits, DroppedMessagesFreeTheClient) {
    const requester client = connect();
    ask(client, 4096);
    fill(client, waiting_bytes_per_client);
    move(1); // in the middle of a batch
    drop_pending_lines();
    EXPECT_FALSE(requester_must_wait(client, 100));
    ask(client, 4095);
    fill(client, waiting_bytes_per_client - 1);
    EXPECT_FALSE(requester_must_wait(client, 100)) << "nothing of before counts any more";
    ask(client, 1);
    EXPECT_TRUE(requester_must_wait(client, 100));
}

TEST_F(WaitingLimits, ClientMustWaitFromOneMebibyteOfMessagesOn) {
    const uid_t user = new_user();
    const requester client = connect(user);
    fill(client, 1048575);
    EXPECT_FALSE(requester_must_wait(client, 100));
    drop_pending_lines();
    fill(client, 1048576);
    EXPECT_TRUE(requester_must_wait(client, 100));
    EXPECT_FALSE(requester_must_wait(connect(user), 100));
    move(1);
    EXPECT_FALSE(requester_must_wait(client, 100));
}

TEST_F(WaitingLimits, UserMustWaitFrom65536TakesOn) {
    const uid_t user = new_user();
    for (int number = 0; number < 16; ++number)
        ask(connect(user), number == 0 ? 4095 : 4096);
    const requester idle = connect(user);
    EXPECT_FALSE(requester_must_wait(idle, 100));
    EXPECT_FALSE(requester_must_wait(idle, small_packet_bytes + 1));
    ask(idle, 1);
    EXPECT_TRUE(requester_must_wait(idle, small_packet_bytes + 1));
    EXPECT_FALSE(requester_must_wait(idle, small_packet_bytes)) << "a small packet is nobody's flood";
    EXPECT_TRUE(requester_must_wait({900001, user}, small_packet_bytes + 1))
        << "also a connection that is new";
    EXPECT_FALSE(requester_must_wait(connect(), small_packet_bytes + 1));
    move(1);
    EXPECT_FALSE(requester_must_wait(idle, small_packet_bytes + 1));
}

TEST_F(WaitingLimits, UserMustWaitFrom16MebibytesOfMessagesOn) {
    const uid_t user = new_user();
    for (int number = 0; number < 16; ++number)
        fill(connect(user), number == 0 ? 1048575 - 100 : 1048576);
    const requester idle = connect(user);
    fill(idle, 100);
    EXPECT_FALSE(requester_must_wait(idle, small_packet_bytes + 1));
    drop_pending_lines();
    for (int number = 0; number < 16; ++number)
        fill(connect(user), number == 0 ? 1048576 - 100 : 1048576);
    fill(idle, 100);
    EXPECT_TRUE(requester_must_wait(idle, small_packet_bytes + 1));
    EXPECT_FALSE(requester_must_wait(connect(), small_packet_bytes + 1));
    move(1);
    EXPECT_FALSE(requester_must_wait(idle, small_packet_bytes + 1));
}

TEST_F(WaitingLimits, WhenTooMuchWaitsOfConnectionsThatAreGoneNewOnesMustWait) {
    const uid_t user = new_user();
    const requester old = connect(user);
    for (int number = 0; number < 16; ++number) {
        const requester brief = connect(user);
        ask(brief, 4096);
        requester_gone(brief.connection);
    }
    const requester client = connect(user);
    EXPECT_TRUE(requester_must_wait(client, 100));
    EXPECT_FALSE(requester_must_wait(old, 100)) << "it was there before";
    EXPECT_FALSE(requester_must_wait(connect(), 100)) << "another user";
    move(1);
    EXPECT_FALSE(requester_must_wait(client, 100));
}

TEST_F(WaitingLimits, WhatTheDriverItselfSendsCountsForNoClient) {
    const requester client = connect();
    for (int i = 0; i < 30; ++i)
        router_send_message(message(std::string(600000, 'x')));
    EXPECT_FALSE(requester_must_wait(client, 100));
}

TEST_F(WaitingLimits, EachClientIsFreedByItsOwnCommandsOfABatchOfSeveral) {
    commands_reach_backend = false;
    const requester first = connect();
    const requester second = connect();
    ask(first, 4096);
    ask(second, 4096);
    commands_reach_backend = true;
    plan_route_changes();
    EXPECT_TRUE(requester_must_wait(first, 100));
    move(1);
    EXPECT_FALSE(requester_must_wait(first, 100));
    move(4095);
    EXPECT_TRUE(requester_must_wait(second, 100));
    move(1);
    EXPECT_FALSE(requester_must_wait(second, 100));
    ask(first, 4095);
    EXPECT_FALSE(requester_must_wait(first, 100)) << "all of its others were moved";
    move(2000);
    drop_pending_lines();
    for (const requester client : {first, second}) {
        ask(client, 4095);
        EXPECT_FALSE(requester_must_wait(client, 100));
        ask(client, 1);
        EXPECT_TRUE(requester_must_wait(client, 100));
    }
}

} // namespace
