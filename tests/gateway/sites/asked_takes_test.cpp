#include "gateway/sites/asked_takes.h"

#include "gateway/sites/site_limits.h"
#include "played_way.h"
#include "told_picture.h"

#include <gtest/gtest.h>

using namespace gateway;

namespace {

using kind = decltype(take_ending::kind);

class AskedTakes : public testing::Test {
protected:
    void SetUp() override {
        seen.hear_alive();
        ASSERT_TRUE(seen.answer_page(picture_of(4, 3)));
    }
    void take(const std::string& lane = "1") {
        vrdx::take_order order;
        order.takes = {{1, {2, 2}}, {3, {0, 0}}};
        order.by = "desk";
        order.within_ms = 1000;
        asked.take(seen.site, "studio", lane, order, false,
                   [this](take_ending ending) { endings.push_back(std::move(ending)); });
    }
    void rename() {
        name_ask wish;
        wish.output = true;
        wish.number = 1;
        wish.name = "x";
        asked.rename(seen.site, "studio", "1", wish,
                     [this](take_ending ending) { endings.push_back(std::move(ending)); });
    }
    void answer(const site_message& to, const ask_answer& said) {
        seen.requests.hear({to.reply, "", ask_answer_text(said), false});
    }
    // What the only take ended as: for both outputs the same.
    std::string result() {
        loop.restart();
        loop.run();
        if (endings.size() != 1 || endings[0].owner_answers.size() != 2)
            return "ended " + std::to_string(endings.size()) + " times";
        const auto& said = endings[0].owner_answers;
        EXPECT_EQ(said[0].output, 1);
        EXPECT_EQ(said[1].output, 3);
        EXPECT_EQ(said[0].result, said[1].result);
        return said[0].result;
    }
    kind ended_as() {
        loop.restart();
        loop.run();
        return endings.at(0).kind;
    }

    boost::asio::io_context loop;
    seen_site seen;
    asked_takes asked{loop, seen.around, "control"};
    std::vector<take_ending> endings;
};

} // namespace

TEST_F(AskedTakes, CarryTheNewestBeatOfTheOwner) {
    seen.site.hear_alive(alive_text({0, {"run", 777}, {{"studio", router_state::up, 1}}}));
    take();
    const site_message sent = seen.way.next();
    EXPECT_EQ(sent.subject, "vr.north.studio.take.control");
    const auto ask = read_take_ask(sent.data);
    ASSERT_TRUE(ask);
    EXPECT_EQ(ask->beat, (site_beat{"run", 777}));
    EXPECT_EQ(ask->by, "desk");
    EXPECT_EQ(ask->takes.size(), 2U);
}

TEST_F(AskedTakes, AreAnsweredByTheOwner) {
    take();
    const site_message sent = seen.way.next();
    ask_answer said;
    said.ended = "done";
    said.outputs = {{1, "confirmed", "", {}, {}}, {3, "confirmed", "", {}, {}}};
    answer(sent, said);
    EXPECT_TRUE(endings.empty()) << "from the loop and not before";
    EXPECT_EQ(result(), "confirmed");
    answer(sent, said);
    loop.restart();
    loop.run();
    EXPECT_EQ(endings.size(), 1U) << "once";
}

TEST_F(AskedTakes, AreRefusedWhenNobodyListens) {
    take();
    seen.requests.hear({seen.way.next().reply, "", "", true});
    EXPECT_EQ(result(), "refused");
}

TEST_F(AskedTakes, AreUnknownWithoutAnAnswerInTime) {
    take();
    seen.now_ms += 1000 + far_late_answer_ms;
    seen.requests.look_at_clock(seen.now_ms);
    loop.run();
    EXPECT_TRUE(endings.empty());
    seen.requests.look_at_clock(seen.now_ms + 1);
    EXPECT_EQ(result(), "unknown");
}

TEST_F(AskedTakes, AreUnknownWhenTheWayBreaks) {
    take();
    seen.requests.lose_all();
    EXPECT_EQ(result(), "unknown");
}

TEST_F(AskedTakes, AreUnknownWhenTheAnswerDoesNotFit) {
    take();
    ask_answer said;
    said.ended = "done";
    said.outputs = {{1, "confirmed", "", {}, {}}};
    answer(seen.way.next(), said);
    EXPECT_EQ(result(), "unknown");
}

TEST_F(AskedTakes, AreUnknownWhereALaterRunOfTheOwnerAnswers) {
    take();
    answer(seen.way.next(), {0, "unknown", "an earlier run", {}});
    EXPECT_EQ(result(), "unknown");
    EXPECT_EQ(endings[0].owner_answers[0].reason, "an earlier run");
}

TEST_F(AskedTakes, AreRefusedWhereTheOwnerRefusesThem) {
    take();
    answer(seen.way.next(), {0, "refused", "the role", {}});
    EXPECT_EQ(result(), "refused");
    EXPECT_EQ(endings[0].owner_answers[0].reason, "the role");
}

TEST_F(AskedTakes, AreNotSentWithoutAWay) {
    seen.way.connected = false;
    take();
    EXPECT_EQ(ended_as(), kind::unavailable);
    seen.way.connected = true;
    EXPECT_TRUE(seen.way.sent.empty());
}

TEST_F(AskedTakes, AreNotSentToASiteThatIsNotHeard) {
    seen.now_ms += site_silence_limit_ms + 1;
    take();
    EXPECT_EQ(ended_as(), kind::unavailable);
    EXPECT_TRUE(seen.way.sent.empty());
}

TEST_F(AskedTakes, HaveALimitForEachLane) {
    for (std::size_t number = 0; number <= far_lane_requests_limit; number++)
        take();
    EXPECT_EQ(ended_as(), kind::too_many);
    EXPECT_EQ(endings.size(), 1U);
    take("2");
    EXPECT_EQ(seen.way.sent.size(), far_lane_requests_limit + 1);
}

TEST_F(AskedTakes, OfALaneThatIsDroppedAreUnknown) {
    take("1");
    take("2");
    asked.drop_lane("1");
    EXPECT_EQ(result(), "unknown");
}

TEST_F(AskedTakes, NamesAreHandedOn) {
    rename();
    const site_message sent = seen.way.next();
    EXPECT_EQ(sent.subject, "vr.north.studio.name.control");
    answer(sent, {0, "done", "", {}});
    EXPECT_EQ(ended_as(), kind::answered);
    EXPECT_EQ(endings[0].answer.error, "");
}

TEST_F(AskedTakes, NamesThatAreRefusedSaySo) {
    rename();
    answer(seen.way.next(), {0, "refused", "the role", {}});
    EXPECT_EQ(ended_as(), kind::answered);
    EXPECT_EQ(endings[0].answer.error, "the role");
}
