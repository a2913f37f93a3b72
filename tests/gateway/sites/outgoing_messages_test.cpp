#include "gateway/sites/outgoing_messages.h"

#include "gateway/sites/site_limits.h"

#include <gtest/gtest.h>

using namespace gateway;

namespace {

constexpr std::size_t page_bytes = 100000;

site_message page(const std::string& subject = "page") {
    site_message message{subject, "", std::string(page_bytes, 'p')};
    message.is_page = true;
    return message;
}

std::string subjects(const std::deque<site_message>& batch) {
    std::string all;
    for (const site_message& each : batch)
        all += each.subject + ' ';
    return all;
}

} // namespace

TEST(OutgoingMessages, GoInTheirOrderAndPagesBehindThem) {
    outgoing_messages outgoing;
    EXPECT_TRUE(outgoing.is_empty());
    for (const char* name : {"page1", "page2", "page3"})
        EXPECT_TRUE(outgoing.add(page(name)));
    EXPECT_TRUE(outgoing.add({"take", "", "t"}));
    EXPECT_TRUE(outgoing.add({"beat", "", "b"}));
    EXPECT_EQ(subjects(outgoing.next()), "take beat page1 page2 ");
    EXPECT_FALSE(outgoing.is_empty());
    EXPECT_TRUE(outgoing.add({"answer", "", "a"}));
    EXPECT_EQ(subjects(outgoing.next()), "answer page3 ") << "what came meanwhile goes before the rest";
    EXPECT_TRUE(outgoing.is_empty());
    EXPECT_EQ(subjects(outgoing.next()), "");
}

TEST(OutgoingMessages, OfWhichPagesHaveHalfTheRoomAndLeaveTheRestToTakes) {
    outgoing_messages outgoing;
    std::size_t pages = 0;
    while (outgoing.has_room_for_page() && outgoing.add(page()))
        pages++;
    EXPECT_EQ(pages, outgoing_page_bytes_limit / page_bytes);
    EXPECT_FALSE(outgoing.add(page()));
    const std::string large(outgoing_message_bytes_limit - outgoing_page_bytes_limit, 'x');
    EXPECT_TRUE(outgoing.add({"take", "", large}));
    outgoing.next();
    EXPECT_TRUE(outgoing.add(page())) << "room again";
}

TEST(OutgoingMessages, AreLimitedInAll) {
    outgoing_messages outgoing;
    for (std::size_t count = 0; count < outgoing_messages_limit; count++)
        EXPECT_TRUE(outgoing.add({"take", "", "x"}));
    EXPECT_FALSE(outgoing.add({"take", "", "x"}));
    EXPECT_FALSE(outgoing.has_room_for_page());
    outgoing.clear();
    EXPECT_TRUE(outgoing.is_empty());
    EXPECT_TRUE(outgoing.add({"take", "", std::string(outgoing_message_bytes_limit, 'x')}));
    EXPECT_FALSE(outgoing.add({"take", "", "x"}));
    EXPECT_EQ(subjects(outgoing.next()), "take ");
    EXPECT_TRUE(outgoing.add({"take", "", "x"}));
}
