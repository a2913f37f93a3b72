#include "gateway/sites/history_sender.h"

#include "gateway/settings/limits.h"
#include "temporary_directory.h"

#include <gtest/gtest.h>

using namespace gateway;

namespace {

constexpr std::uint64_t patience_ms = 60000;
constexpr std::int64_t day_us = 86400000000;

// A broker with one stream, which may be made anew at any moment.
struct played_stream {
    std::string created = "monday";
    std::vector<std::string> stored;
    std::int64_t begun = 0; // counts what was begun anew
    bool answers = true;

    std::vector<broker_answer> ask(const std::vector<broker_question>& questions) {
        std::vector<broker_answer> said(questions.size());
        for (std::size_t at = 0; at < questions.size() && answers; ++at) {
            said[at].came = true;
            said[at].data =
                questions[at].subject == stream_info_subject() ? state() : store(questions[at].data);
        }
        return said;
    }
    void lose_all() {
        stored.clear();
        ++begun;
    }

private:
    std::string state() const {
        const std::string count = std::to_string(stored.size());
        return R"({"created":")" + created + R"(","state":{"messages":)" + count +
               R"(,"first_seq":1,"last_seq":)" + count + R"(,"first_ts":"start-)" + std::to_string(begun) +
               R"("}})";
    }
    std::string store(const std::string& text) {
        stored.push_back(text);
        return R"({"stream":"VR_AUDIT","seq":)" + std::to_string(stored.size()) + "}";
    }
};

class HistorySender : public testing::Test {
protected:
    temporary_directory state;
    history_writer writer{{state.path(), ""}, {history_usual_days, history_usual_bytes}, [] {}};
    std::unique_ptr<history_sender> sender = begun();
    played_stream stream;

    std::unique_ptr<history_sender> begun() {
        return std::make_unique<history_sender>("north", state.path(), writer);
    }
    void note(const std::string& reason, std::int64_t age_us = 0) {
        history_entry entry;
        entry.kind = entry_kind::lock;
        entry.reason = reason;
        entry.time_us = microseconds_since_1970() - age_us;
        writer.push(entry);
        writer.wait_until_written(patience_ms);
    }
    std::string send_all() {
        std::string problem;
        while (sender->step([&](const auto& questions) { return stream.ask(questions); }, &problem))
            continue;
        writer.wait_until_written(patience_ms);
        return problem;
    }
    bool has(std::size_t place, const std::string& reason) const {
        return place < stream.stored.size() &&
               stream.stored[place].find("\"" + reason + "\"") != std::string::npos;
    }
};

} // namespace

TEST_F(HistorySender, EachEntryIsSentOnceAlsoByTheNextStart) {
    note("one");
    note("two");
    EXPECT_EQ(send_all(), "");
    ASSERT_EQ(stream.stored.size(), 2U);
    EXPECT_TRUE(has(0, "one") && has(1, "two"));
    sender = begun();
    EXPECT_EQ(send_all(), "");
    EXPECT_EQ(stream.stored.size(), 2U);
    note("three");
    send_all();
    EXPECT_EQ(stream.stored.size(), 3U);
    EXPECT_EQ(sender->unsent(), 0U);
}

TEST_F(HistorySender, AllIsSentAgainToAStreamThatWasMadeAnew) {
    note("one");
    send_all();
    stream.created = "tuesday";
    stream.lose_all();
    send_all();
    EXPECT_TRUE(has(0, "one")) << "with nothing new to send";
    note("two");
    send_all();
    EXPECT_EQ(stream.stored.size(), 2U);
}

// In a cluster the others know when it was made; and what others have sent may be more than was there before.
TEST_F(HistorySender, AllIsSentAgainToAStreamThatLostAllAndHasMoreThanBefore) {
    note("one");
    send_all();
    note("two"); // now the stream is known with something in it
    send_all();
    sender = begun();
    stream.lose_all();
    stream.stored.assign(10, "of others");
    send_all();
    ASSERT_EQ(stream.stored.size(), 12U);
    EXPECT_TRUE(has(10, "one") && has(11, "two"));
}

TEST_F(HistorySender, AllIsSentAgainWhenTheNewestAreLost) {
    note("one");
    note("two");
    send_all();
    stream.stored.pop_back();
    send_all();
    EXPECT_TRUE(has(1, "one") && has(2, "two"));
}

TEST_F(HistorySender, WhatIsOlderThanTheStreamKeepsItIsSentOnceAlone) {
    note("old", 40 * day_us);
    note("young");
    send_all();
    ASSERT_EQ(stream.stored.size(), 2U) << "it was never sent before";
    stream.created = "tuesday";
    stream.lose_all();
    send_all();
    ASSERT_EQ(stream.stored.size(), 1U);
    EXPECT_TRUE(has(0, "young"));
}

TEST_F(HistorySender, BrokerThatSaysNothingIsToldAndNothingIsLost) {
    note("one");
    stream.answers = false;
    EXPECT_NE(send_all(), "");
    stream.answers = true;
    EXPECT_EQ(send_all(), "");
    EXPECT_EQ(stream.stored.size(), 1U);
}

// --- asking through a leaf node ----------------------------------------------------------------------------

TEST(AskedStream, IsAskedByItsDomainWhereALeafNodeKeepsItsSubjectsBack) {
    std::vector<std::string> asked;
    const ask_broker ask = [&](const std::vector<broker_question>& questions) {
        asked.push_back(questions.front().subject);
        std::vector<broker_answer> said(1);
        said[0].came = asked.back().starts_with("$JS.vrdx.API.") || asked.back().starts_with("vr.");
        said[0].nobody = !said[0].came;
        return said;
    };
    bool by_domain = false;
    EXPECT_TRUE(ask_service(ask, {{stream_info_subject(), {}, {}}}, &by_domain).front().came);
    EXPECT_TRUE(ask_service(ask, {{stream_info_subject(), {}, {}}}, &by_domain).front().came);
    EXPECT_TRUE(ask_service(ask, {{"vr.north.history", {}, {}}}, &by_domain).front().came);
    EXPECT_EQ(asked,
              (std::vector<std::string>{"$JS.API.STREAM.INFO.VR_AUDIT", "$JS.vrdx.API.STREAM.INFO.VR_AUDIT",
                                        "$JS.vrdx.API.STREAM.INFO.VR_AUDIT", "vr.north.history"}));
}
