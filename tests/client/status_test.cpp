#include "client_request.h"
#include "fresh_driver.h"

namespace {

class Status : public fresh_driver {
protected:
    static void make_router(int inputs, int outputs) {
        input_count = inputs;
        output_count = outputs;
        input_names.resize(static_cast<std::size_t>(inputs));
        router_outputs.resize(static_cast<std::size_t>(outputs));
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
    input_names = {"Camera 1", "VT"};
    router_outputs[0] = {1, 0, 5, 6, 77, "Studio"};
    router_outputs[1] = {-1, 2, -1, -1, 0, "Monitor"};
    EXPECT_EQ(reply_to({"status"}).items,
              "C(status) N(input.name 1|Camera 1) N(input.name 2|VT) N(output.name 1|Studio) "
              "N(output.name 2|Monitor) N(output 1|2,1) N(output 2|0,3) " +
                  block(2, 2));
}

TEST_F(Status, NamesArePassedOnAsTheyAre) {
    make_router(1, 1);
    input_names[0] = "100%s|a\nb";
    router_outputs[0].name = "%d";
    EXPECT_EQ(reply_to({"status"}).items,
              "C(status) N(input.name 1|100%s|a\nb) N(output.name 1|%d) N(output 1|0,0) " + block(1, 1));
}

TEST_F(Status, SourceAtTheLimitOfItsNumbersStaysThere) {
    make_router(1, 1);
    router_outputs[0].audio_input = 2147483647;
    router_outputs[0].video_input = -2147483647 - 1;
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

TEST_F(Status, NegativeCountsCountAsNone) {
    input_count = -5;
    output_count = -7;
    EXPECT_EQ(reply_to({"status"}).items, "C(status) A(no router) " + block(0, 0));
}

TEST_F(Status, ArgumentsAndEntriesMakeNoDifference) {
    make_router(1, 1);
    const std::string plain = reply_to({"status"}).items;
    EXPECT_EQ(reply_to({"status", {"1=1"}, {{"set", "1=1"}, {"output.1.name", "x"}}}).items, plain);
    EXPECT_TRUE(route_requests.empty());
    EXPECT_TRUE(pending_lines.empty());
}

TEST_F(Status, IsAnsweredWithoutATrace) {
    make_router(1, 1);
    reply_to({"status"});
    EXPECT_EQ(trace(), "");
}

} // namespace
