// What is told of a take whose levels were reported one by one, and of a property that has outgrown its
// limit.
#include "planned_takes.h"

#include <vector>

namespace {

std::vector<decided_take> decided; // nobody can stop listening

void keep_decided(const decided_take& take) {
    decided.push_back(take);
}

class ReportedLevels : public planned_takes {
protected:
    ReportedLevels() {
        static const bool listening = [] {
            watch_takes(keep_decided);
            return true;
        }();
        EXPECT_TRUE(listening);
        decided.clear();
        resize_picture(8, 4, true);
    }
    // Takes audio 1 and video 2 to the first output, and writes it to the backend.
    static void take_and_write() {
        ask_takes({{0, {1, 2}, std::nullopt}}, {{}, "", 3000000, 1});
        while (pending_line() != nullptr)
            pending_to_buffer();
    }
    static void report(bool audio, bool video, std::int32_t source) {
        report_source(0, audio, video, source);
        takes_hear_source(0, audio, video, source, true);
    }
    static decided_take decision_at_the_deadline() {
        settable_clock_us += 3000000;
        expire_assumed_routes();
        expire_takes();
        return decided.empty() ? decided_take{} : decided.back();
    }
};

// Audio passes through another source; of video nothing is ever heard.
TEST_F(ReportedLevels, TakeOfWhichOneLevelWasNeverReportedDoesNotShowWhatWasAsked) {
    take_and_write();
    report(true, false, 5);
    report(true, false, 1);
    const decided_take take = decision_at_the_deadline();
    EXPECT_EQ(take.result, take_result::unknown)
        << take_result_word(take.result) << " " << take.detail << ", which is what was asked for";
}

TEST_F(ReportedLevels, PropertyThatOutgrowsItsLimitDoesNotKeepItsOldValue) {
    report_input_property(0, "format", "1080i");
    report_input_property(0, "format", std::string(property_value_bytes + 1, 'x'));
    EXPECT_EQ(router_inputs[0].properties.count("format"), 0U) << "the router says something else now";
}

} // namespace
