#include "client_request.h"
#include "fresh_driver.h"

namespace {

// The places of a page are kept until the picture changes; whoever changes it must be seen in the next one.
class DescribeFreshness : public fresh_driver {
protected:
    DescribeFreshness() {
        report("info", {{"inputs", "2"}, {"outputs", "1"}});
        report("outputs", {{"o0.input.all", "0"}});
        describe();
    }
    static void report(const std::string& command, const std::map<std::string, std::string>& fields) {
        for (const std::string& line : {"*COMMAND=" + command, std::string("*TYPE=message")})
            read_backend_report_line(line);
        for (const auto& [name, value] : fields)
            read_backend_report_line(std::string(name).append("=").append(value));
        read_backend_report_line("");
    }
    static std::string describe(const std::vector<std::string>& from = {}) {
        return reply_to({"describe", from}).items;
    }
    static bool shows(const std::string& item) {
        return describe().find(item) != std::string::npos;
    }
    static void take(std::int32_t input) {
        commands_reach_backend = true;
        ask_for({{input, input, 0}});
        plan_route_changes();
    }
};

TEST_F(DescribeFreshness, AnUnchangedPictureGivesTheSamePlaces) {
    const std::string first = describe({"input 1"});
    EXPECT_NE(first.find("N(output 1 sources|1,1)"), std::string::npos);
    EXPECT_EQ(describe({"input 1"}), first);
}

TEST_F(DescribeFreshness, ANewSizeIsSeen) {
    EXPECT_FALSE(shows("N(output 2|)"));
    report("info", {{"inputs", "2"}, {"outputs", "2"}});
    EXPECT_TRUE(shows("N(output 2|)"));
}

TEST_F(DescribeFreshness, NamesSourcesAndPropertiesAreSeen) {
    report("inputs", {{"i1.name", "VT"}});
    EXPECT_TRUE(shows("N(input 2|VT)"));
    report("outputs", {{"o0.name", "Studio"}});
    EXPECT_TRUE(shows("N(output 1|Studio)"));
    report("outputs", {{"o0.input.all", "1"}});
    EXPECT_TRUE(shows("N(output 1 sources|2,2)"));
    report("outputs", {{"o0.lock", "on"}});
    EXPECT_TRUE(shows("N(output 1 property lock|on)"));
}

TEST_F(DescribeFreshness, AShownTakeAndItsRollbackAreSeen) {
    take(1);
    EXPECT_TRUE(shows("N(output 1 sources|2,2)"));
    settable_clock_us += assume_timeout;
    expire_assumed_routes();
    EXPECT_TRUE(shows("N(output 1 sources|1,1)"));
    EXPECT_FALSE(shows("N(output 1 waits|"));
}

TEST_F(DescribeFreshness, TheTimeThatATakeWaitsGoesOnThoughNothingElseChanges) {
    take(1);
    EXPECT_TRUE(shows("N(output 1 waits|1000)"));
    settable_clock_us += 400000;
    EXPECT_TRUE(shows("N(output 1 waits|600)"));
}

TEST_F(DescribeFreshness, PagesThatBeginElsewhereAreNotMixedUp) {
    EXPECT_NE(describe({"input 2"}).find("N(input 2|)"), std::string::npos);
    EXPECT_EQ(describe({"input 2"}).find("N(input 1|)"), std::string::npos);
    EXPECT_EQ(describe({"output 1"}).find("N(input 2|)"), std::string::npos);
    EXPECT_TRUE(shows("N(input 1|)"));
}

} // namespace
