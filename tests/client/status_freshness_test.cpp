#include "client.h"
#include "fresh_driver.h"
#include "packet_texts.h"

namespace {

// A status reply is kept until the picture changes; whoever changes it must be seen in the next one.
class StatusFreshness : public fresh_driver {
protected:
    StatusFreshness() {
        report("info", {{"inputs", "2"}, {"outputs", "1"}});
    }
    static void report(const std::string& command, const std::map<std::string, std::string>& fields) {
        for (const std::string& line : {"*COMMAND=" + command, std::string("*TYPE=message")})
            read_backend_report_line(line);
        for (const auto& [name, value] : fields)
            read_backend_report_line(std::string(name).append("=").append(value));
        read_backend_report_line("");
    }
    static std::string status() {
        comm_socket_v4_packet request;
        comm_socket_v4_packet_begin_writing(&request, 0, "status", nullptr);
        comm_socket_v4_packet_write_end(&request);
        comm_socket_v4_packet received;
        EXPECT_TRUE(decode(&received, request.bytes));
        comm_socket_v4_packet reply;
        EXPECT_EQ(my_vrdx_custom_packet(&received, &reply, nullptr, nullptr), 1);
        comm_socket_v4_packet arrived;
        EXPECT_TRUE(decode(&arrived, reply.bytes));
        return texts_of(arrived);
    }
    static bool shows(const std::string& item) {
        return status().find(item) != std::string::npos;
    }
};

TEST_F(StatusFreshness, AnUnchangedPictureGivesTheSameReply) {
    const std::string first = status();
    EXPECT_EQ(status(), first);
}

TEST_F(StatusFreshness, ANewSizeIsSeen) {
    EXPECT_FALSE(shows("N(output 2|0,0)"));
    report("info", {{"inputs", "2"}, {"outputs", "2"}});
    EXPECT_TRUE(shows("N(output 2|0,0)"));
}

TEST_F(StatusFreshness, ARouterThatIsLostIsSeen) {
    EXPECT_FALSE(shows("A(no router)"));
    report("info", {});
    EXPECT_TRUE(shows("A(no router)"));
}

TEST_F(StatusFreshness, AnInputNameIsSeen) {
    EXPECT_TRUE(shows("N(input.name 2|)"));
    report("inputs", {{"i1.name", "VT"}});
    EXPECT_TRUE(shows("N(input.name 2|VT)"));
}

TEST_F(StatusFreshness, AnOutputNameIsSeen) {
    EXPECT_TRUE(shows("N(output.name 1|)"));
    report("outputs", {{"o0.name", "Studio"}});
    EXPECT_TRUE(shows("N(output.name 1|Studio)"));
}

TEST_F(StatusFreshness, AReportedSourceIsSeen) {
    EXPECT_TRUE(shows("N(output 1|0,0)"));
    report("outputs", {{"o0.input.all", "1"}});
    EXPECT_TRUE(shows("N(output 1|2,2)"));
}

TEST_F(StatusFreshness, AnAssumedTakeAndItsRollbackAreSeen) {
    EXPECT_TRUE(shows("N(output 1|0,0)"));
    commands_reach_backend = true;
    ask_for({{1, 1, 0}});
    plan_route_changes();
    EXPECT_TRUE(shows("N(output 1|2,2)"));
    settable_clock_us += assume_timeout;
    expire_assumed_routes();
    EXPECT_TRUE(shows("N(output 1|0,0)"));
}

} // namespace
