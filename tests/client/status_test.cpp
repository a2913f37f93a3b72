#include "client_request.h"
#include "fresh_driver.h"
#include "router_picture.h"

#include <map>

namespace {

class Status : public fresh_driver {
protected:
    static void make_router(int inputs, int outputs) {
        resize_picture(inputs, outputs, false);
    }
    // The block that ends every reply.
    static std::string block(int in_points, int out_points) {
        const std::string in = std::to_string(in_points);
        const std::string out = std::to_string(out_points);
        return "E N(router|?) N(in points|" + in + ") N(out points|" + out + ") N(input range|1-" + in +
               ") N(output range|1-" + out + ") N(input off setting|0) N(input channels|A,V)";
    }
    static std::size_t count_of(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }
};

TEST_F(Status, OfANewRouterShowsNoSources) {
    make_router(2, 3);
    const client_reply reply = reply_to({"status"});
    EXPECT_EQ(reply.handled, 1);
    EXPECT_EQ(reply.result, 0U);
    EXPECT_EQ(reply.items, "C(status) N(input.name 1|) N(input.name 2|) N(output.name 1|) N(output.name 2|) "
                           "N(output.name 3|) N(output 1|0,0) N(output 2|0,0) N(output 3|0,0) " +
                               block(2, 3));
}

TEST_F(Status, ShowsNamesAndSourcesFromOneOn) {
    make_router(2, 2);
    name_input(0, "Camera 1");
    name_input(1, "VT");
    paint_output(0, {1, 0}, {5, 6}, 77, "Studio");
    paint_output(1, {-1, 2}, {-1, -1}, 0, "Monitor");
    EXPECT_EQ(reply_to({"status"}).items,
              "C(status) N(input.name 1|Camera 1) N(input.name 2|VT) N(output.name 1|Studio) "
              "N(output.name 2|Monitor) N(output 1|2,1) N(output 2|0,3) " +
                  block(2, 2));
}

TEST_F(Status, NamesArePassedOnAsTheyAre) {
    make_router(1, 1);
    name_input(0, "100%s|a\nb");
    name_output(0, "%d");
    EXPECT_EQ(reply_to({"status"}).items,
              "C(status) N(input.name 1|100%s|a\nb) N(output.name 1|%d) N(output 1|0,0) " + block(1, 1));
}

TEST_F(Status, SourceAtTheLimitOfItsNumbersStaysThere) {
    make_router(1, 1);
    report_sources(0, {2147483647, -2147483647 - 1});
    EXPECT_EQ(reply_to({"status"}).items,
              "C(status) N(input.name 1|) N(output.name 1|) N(output 1|2147483647,-2147483647) " +
                  block(1, 1));
}

TEST_F(Status, ListsAtMost128Inputs) {
    make_router(300, 1);
    const std::string items = reply_to({"status"}).items;
    EXPECT_EQ(count_of(items, "N(input.name "), 128U);
    EXPECT_EQ(count_of(items, "N(input.name 128|"), 1U);
    EXPECT_TRUE(items.ends_with(block(128, 1)));
}

TEST_F(Status, ListsAtMost128Outputs) {
    make_router(1, 1024);
    const std::string items = reply_to({"status"}).items;
    EXPECT_EQ(count_of(items, "N(output.name "), 128U);
    EXPECT_EQ(count_of(items, "N(output "), 129U) << "128 outputs and their range";
    EXPECT_TRUE(items.ends_with("N(output 128|0,0) " + block(1, 128)));
}

TEST_F(Status, ListsExactly128Whole) {
    make_router(128, 128);
    const client_reply reply = reply_to({"status"});
    EXPECT_EQ(reply.result, 0U);
    EXPECT_EQ(count_of(reply.items, "N(input.name "), 128U);
    EXPECT_TRUE(reply.items.ends_with(block(128, 128)));
}

TEST_F(Status, BeforeAnyReportIsNoRouter) {
    const client_reply reply = reply_to({"status"});
    EXPECT_EQ(reply.handled, 1);
    EXPECT_EQ(reply.result, 1U);
    EXPECT_EQ(reply.items, "C(status) A(no router) " + block(0, 0));
}

TEST_F(Status, WithoutOutputsIsNoRouter) {
    make_router(4, 0);
    const client_reply reply = reply_to({"status"});
    EXPECT_EQ(reply.result, 1U);
    EXPECT_EQ(reply.items, "C(status) A(no router) " + block(4, 0));
}

TEST_F(Status, WithoutInputsIsNoRouter) {
    make_router(0, 300);
    const client_reply reply = reply_to({"status"});
    EXPECT_EQ(reply.result, 1U);
    EXPECT_EQ(reply.items, "C(status) A(no router) " + block(0, 128));
}

TEST_F(Status, ArgumentsAndEntriesMakeNoDifference) {
    make_router(1, 1);
    const std::string plain = reply_to({"status"}).items;
    EXPECT_EQ(reply_to({"status", {"1=1"}, {{"set", "1=1"}, {"output.1.name", "x"}}}).items, plain);
    EXPECT_TRUE(route_requests.empty());
    EXPECT_EQ(pending_line_count(), 0U);
}

// --- names too long for one packet -------------------------------------------------------------------------

// The names that a status reply shows, by their entries ("input.name 1").
std::map<std::string, std::string> names_shown() {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "status", nullptr);
    comm_socket_v4_packet_write_end(&request);
    comm_socket_v4_packet received;
    EXPECT_TRUE(decode(&received, request.bytes));
    comm_socket_v4_packet reply;
    EXPECT_EQ(my_vrdx_custom_packet(&received, &reply, nullptr, nullptr), 1);
    EXPECT_FALSE(reply.too_large);
    EXPECT_EQ(reply.result, 0U);
    comm_socket_v4_packet arrived;
    EXPECT_TRUE(decode(&arrived, reply.bytes));
    std::map<std::string, std::string> names;
    for (const auto& item : arrived.items) {
        const std::string name(comm_socket_v4_packet_item_name(&arrived, item));
        if (name.find(".name ") != std::string::npos)
            names[name] = comm_socket_v4_packet_item_value(&arrived, item);
    }
    return names;
}

std::string repeated(const std::string& letter, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += letter;
    return text;
}

TEST_F(Status, CutsTheLongestNamesEquallyUntilAllFit) {
    make_router(2, 7);
    name_input(0, "Camera 1");
    name_input(1, std::string(1000, 'v'));
    for (std::int32_t output = 0; output < 5; ++output)
        name_output(output, std::string(300000, static_cast<char>('a' + output)));
    name_output(5, "Studio");
    name_output(6, "");
    const std::map<std::string, std::string> names = names_shown();
    ASSERT_EQ(names.size(), 9U);
    EXPECT_EQ(names.at("input.name 1"), "Camera 1");
    EXPECT_EQ(names.at("input.name 2"), std::string(1000, 'v'));
    EXPECT_EQ(names.at("output.name 6"), "Studio");
    EXPECT_EQ(names.at("output.name 7"), "");
    const std::size_t longest = names.at("output.name 1").size();
    EXPECT_GT(longest, 1048576U / 5 - 1000) << "the packet is used";
    EXPECT_LT(longest, 1048576U / 5);
    for (std::int32_t output = 0; output < 5; ++output)
        EXPECT_EQ(names.at("output.name " + std::to_string(output + 1)),
                  std::string(longest, static_cast<char>('a' + output)));
}

TEST_F(Status, CutsANameAtTheEndOfALetter) {
    for (const std::string letter : {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x8e\xa5"}) {
        make_router(1, 5);
        for (std::int32_t output = 0; output < 5; ++output)
            name_output(output, repeated(letter, 300000 / letter.size()));
        const std::map<std::string, std::string> names = names_shown();
        ASSERT_EQ(names.size(), 6U);
        const std::string& shown = names.at("output.name 1");
        EXPECT_GT(shown.size(), 1048576U / 5 - 1000);
        EXPECT_EQ(shown, repeated(letter, shown.size() / letter.size()));
        for (const char* other : {"output.name 2", "output.name 3", "output.name 4", "output.name 5"})
            EXPECT_EQ(names.at(other), shown);
    }
}

TEST_F(Status, ShowsWholeNamesAgainOnceTheyAreShort) {
    make_router(1, 2);
    name_output(0, std::string(2000000, 'x'));
    name_output(1, std::string(2000000, 'y'));
    EXPECT_LT(names_shown().at("output.name 1").size(), 600000U);
    name_output(1, "y");
    EXPECT_GT(names_shown().at("output.name 1").size(), 1000000U);
    name_output(0, "x");
    EXPECT_EQ(names_shown().at("output.name 1"), "x");
}

TEST_F(Status, IsAnsweredWithoutATrace) {
    make_router(1, 1);
    reply_to({"status"});
    EXPECT_EQ(trace(), "");
}

} // namespace
