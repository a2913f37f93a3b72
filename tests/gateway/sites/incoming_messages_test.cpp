#include "gateway/sites/incoming_messages.h"

#include "gateway/sites/site_limits.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <gtest/gtest.h>

#include <thread>

using namespace gateway;

TEST(IncomingMessages, ComeInTheirOrderFromAnyThread) {
    boost::asio::io_context loop;
    std::vector<std::string> heard;
    const auto incoming = std::make_shared<incoming_messages>(
        loop, 1, [&](const site_message& message) { heard.push_back(message.data); });
    std::thread other([&] {
        for (int number = 0; number < 500; number++)
            EXPECT_TRUE(incoming->add(0, {"s", "", std::to_string(number), false}));
    });
    other.join();
    loop.run();
    ASSERT_EQ(heard.size(), 500U);
    for (int number = 0; number < 500; number++)
        EXPECT_EQ(heard[static_cast<std::size_t>(number)], std::to_string(number));
}

TEST(IncomingMessages, OfOneWhoFloodsTakeNobodysPlace) {
    boost::asio::io_context loop;
    std::size_t of_flood = 0, place_of_other = 0;
    const auto incoming = std::make_shared<incoming_messages>(loop, 2, [&](const site_message& message) {
        if (message.subject == "other")
            place_of_other = of_flood + 1;
        else
            of_flood++;
    });
    for (std::size_t number = 0; number < 3 * incoming_messages_limit; number++)
        EXPECT_EQ(incoming->add(0, {"flood", "", "x", false}), number < incoming_messages_limit);
    EXPECT_TRUE(incoming->add(1, {"other", "", "x", false}));
    EXPECT_EQ(incoming->take_lost(), 2 * incoming_messages_limit);
    EXPECT_EQ(incoming->take_lost(), 0U);
    loop.run();
    EXPECT_EQ(of_flood, incoming_messages_limit);
    EXPECT_GT(place_of_other, 0U);
    EXPECT_LE(place_of_other, 3U) << "each queue has its turn";
}

TEST(IncomingMessages, AreLimitedInBytes) {
    boost::asio::io_context loop;
    const auto incoming = std::make_shared<incoming_messages>(loop, 1, [](const site_message&) {});
    const std::string large(incoming_bytes_limit / 2, 'x');
    EXPECT_TRUE(incoming->add(0, {"s", "", large, false}));
    EXPECT_TRUE(incoming->add(0, {"s", "", large, false}));
    EXPECT_FALSE(incoming->add(0, {"s", "", "x", false}));
    loop.run();
    EXPECT_TRUE(incoming->add(0, {"s", "", large, false})) << "room again";
}

TEST(IncomingMessages, LetOthersInTheLoopHaveTheirTurn) {
    boost::asio::io_context loop;
    int heard = 0, heard_before_other = 0;
    const auto incoming = std::make_shared<incoming_messages>(loop, 1, [&](const site_message&) { heard++; });
    for (int number = 0; number < 10 * messages_per_turn; number++)
        incoming->add(0, {"s", "", "x", false});
    boost::asio::post(loop, [&] { heard_before_other = heard; });
    loop.run();
    EXPECT_EQ(heard, 10 * messages_per_turn);
    EXPECT_EQ(heard_before_other, messages_per_turn);
}

TEST(IncomingMessages, OfAKindThatCostsMuchAreHeardFewInATurnBesideAllOthers) {
    boost::asio::io_context loop;
    std::string heard, heard_in_first_turn;
    const auto incoming = std::make_shared<incoming_messages>(
        loop, 2, [&](const site_message& message) { heard += message.data; });
    incoming->pace(0, 2);
    for (int number = 0; number < 5; number++)
        incoming->add(0, {"s", "", "p", false});
    for (int number = 0; number < 7; number++)
        incoming->add(1, {"s", "", "t", false});
    boost::asio::post(loop, [&] { heard_in_first_turn = heard; });
    loop.run();
    EXPECT_EQ(heard_in_first_turn, "ptptttttt") << "a turn ends when only those are left";
    EXPECT_EQ(heard, "ptptttttt"
                     "ppp");
    incoming->add(0, {"s", "", "p", false});
    loop.restart();
    loop.run();
    EXPECT_EQ(heard, "ptptttttt"
                     "pppp")
        << "and it goes on afterwards";
}

TEST(IncomingMessages, AreNotHeardOnceClosed) {
    boost::asio::io_context loop;
    int heard = 0;
    const auto incoming = std::make_shared<incoming_messages>(loop, 1, [&](const site_message&) { heard++; });
    incoming->add(0, {"s", "", "x", false});
    incoming->close();
    EXPECT_FALSE(incoming->add(0, {"s", "", "x", false}));
    loop.run();
    EXPECT_EQ(heard, 0);
}
