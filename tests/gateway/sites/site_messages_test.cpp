#include "gateway/sites/site_messages.h"

#include "gateway/sites/site_limits.h"
#include "told_picture.h"

#include <gtest/gtest.h>

#include <random>

using namespace gateway;

namespace {

const state_and_reason up{router_state::up, {}};

bool same_places(const vrdx::picture_output& one, const vrdx::picture_output& two) {
    const bool same_taker =
        one.taken.has_value() == two.taken.has_value() &&
        (!one.taken || (one.taken->user == two.taken->user && one.taken->process == two.taken->process &&
                        one.taken->by == two.taken->by));
    return one.name == two.name && one.sources == two.sources && one.waits_ms == two.waits_ms && same_taker &&
           one.properties == two.properties;
}

// One of each kind, all members set.
std::vector<std::string> messages() {
    const vrdx::router_picture picture = picture_of(3, 2);
    const output_locks locks = locks_of_first_output();
    const router_excerpt router{up, picture, &locks};
    change_message change;
    change.run = "run";
    change.to = 1;
    change.takes.resize(1);
    change.takes_lost = 2;
    ask_answer answer;
    answer.ended = "done";
    answer.reason = "why";
    answer.outputs = {{1, "locked", "r", vrdx::level_sources{1, 2}, owner_answer::lock{true, "o", "r", 5}}};
    return {alive_text({1, {"run", 5}, {{"a.b", router_state::stale, 9}}}),
            change_text(change, router, {{1, 3}, {1}, false, false}),
            page_text("run", 5, router, 0),
            page_request_text(7),
            take_ask_text({1, {"run", 5}, "by", 100, true, {{1, {2, 3}}}, {{1, {4, 5}}}}),
            name_ask_text({1, {"run", 5}, true, 3, "name"}),
            ask_answer_text(answer)};
}

// Reads it as everything.
int read_all(const std::string& text) {
    return static_cast<int>(read_alive(text).has_value()) + static_cast<int>(read_change(text).has_value()) +
           static_cast<int>(read_page(text).has_value()) +
           static_cast<int>(read_page_request(text).has_value()) +
           static_cast<int>(read_take_ask(text).has_value()) +
           static_cast<int>(read_name_ask(text).has_value()) +
           static_cast<int>(read_ask_answer(text).has_value());
}

} // namespace

TEST(SiteMessages, TellThatASiteIsThere) {
    const auto read = read_alive(alive_text(
        {0, {"run", 12345}, {{"a.b", router_state::link_down, 9}, {"c\xff", router_state::up, 1}}}));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->version, 1);
    EXPECT_EQ(read->beat, (site_beat{"run", 12345}));
    ASSERT_EQ(read->routers.size(), 2U);
    EXPECT_EQ(read->routers[0].router, "a.b");
    EXPECT_EQ(read->routers[0].state, router_state::link_down);
    EXPECT_EQ(read->routers[0].at, 9U);
    EXPECT_EQ(read->routers[1].router, "c\xff") << "a name may be no text";
}

TEST(SiteMessages, TellWhatHasChanged) {
    const vrdx::router_picture picture = picture_of(3, 2);
    const output_locks locks = locks_of_first_output();
    change_message change;
    change.run = "run";
    change.from = 4;
    change.to = 5;
    vrdx::take_record record;
    record.number = 8;
    record.by = "desk";
    record.output = 1;
    record.before = {1, 2};
    record.wanted = {3, 4};
    record.result = {vrdx::take_word::shows, "", {5, 6}};
    change.takes = {record};
    const auto read = read_change(change_text(change, {{router_state::no_backend, "why"}, picture, &locks},
                                              {{2}, {1, 2}, false, false}));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->run, "run");
    EXPECT_EQ(read->from, 4U);
    EXPECT_EQ(read->to, 5U);
    EXPECT_FALSE(read->anew);
    EXPECT_EQ(read->router.state, (state_and_reason{router_state::no_backend, "why"}));
    EXPECT_EQ(read->router.input_count, 3U);
    EXPECT_EQ(read->router.head.epoch, picture.epoch);
    EXPECT_EQ(read->router.head.link, vrdx::link_state::up);
    EXPECT_TRUE(read->router.head.split_levels);
    ASSERT_EQ(read->router.inputs.size(), 1U);
    EXPECT_EQ(read->router.inputs[0].first, 2);
    EXPECT_EQ(read->router.inputs[0].second.properties, picture.inputs[1].properties);
    ASSERT_EQ(read->router.outputs.size(), 2U);
    EXPECT_TRUE(same_places(read->router.outputs[0].second, picture.outputs[0]));
    EXPECT_TRUE(same_places(read->router.outputs[1].second, picture.outputs[1]));
    ASSERT_EQ(read->router.locks.size(), 1U);
    EXPECT_EQ(read->router.locks.at(1), locks.at(1));
    ASSERT_EQ(read->takes.size(), 1U);
    EXPECT_EQ(read->takes[0].result.word, vrdx::take_word::shows);
    EXPECT_EQ(read->takes[0].result.sources, record.result.sources);
    EXPECT_EQ(read->takes[0].before, record.before);
}

TEST(SiteMessages, TellNoChangeThatIsTooLarge) {
    vrdx::router_picture picture = picture_of(0, 1000);
    vrdx::picture_news all;
    for (int number = 1; number <= 1000; number++) {
        picture.outputs[static_cast<std::size_t>(number - 1)].name = std::string(1000, 'x');
        all.outputs.push_back(number);
    }
    change_message change;
    change.to = 1;
    EXPECT_EQ(change_text(change, {up, picture, nullptr}, all), "");
}

TEST(SiteMessages, TellAPictureInPages) {
    vrdx::router_picture picture = picture_of(2000, 1000);
    for (auto& output : picture.outputs)
        output.name = std::string(500, 'x');
    std::size_t begin = 0, pages = 0, inputs = 0, outputs = 0;
    for (bool more = true; more; pages++) {
        const std::string text = page_text("run", 3, {up, picture, nullptr}, begin);
        EXPECT_LT(text.size(), 2 * page_bytes_aim);
        const auto page = read_page(text);
        ASSERT_TRUE(page);
        EXPECT_EQ(page->at, 3U);
        for (const auto& [number, input] : page->router.inputs)
            EXPECT_EQ(number, static_cast<int>(++inputs));
        for (const auto& [number, output] : page->router.outputs)
            EXPECT_EQ(number, static_cast<int>(++outputs));
        more = page->next.has_value();
        begin = page->next.value_or(0);
    }
    EXPECT_GT(pages, 2U);
    EXPECT_EQ(inputs, 2000U);
    EXPECT_EQ(outputs, 1000U);
    const auto beyond = read_page(page_text("run", 3, {up, picture, nullptr}, 100000));
    ASSERT_TRUE(beyond);
    EXPECT_TRUE(beyond->router.inputs.empty() && beyond->router.outputs.empty() && !beyond->next);
}

TEST(SiteMessages, AskForTakesAndNames) {
    const auto take =
        read_take_ask(take_ask_text({0, {"run", 5}, "by", 100, true, {{1, {2, 3}}}, {{1, {4, 5}}}}));
    ASSERT_TRUE(take);
    EXPECT_EQ(take->beat, (site_beat{"run", 5}));
    EXPECT_EQ(take->by, "by");
    EXPECT_EQ(take->within_ms, 100U);
    EXPECT_TRUE(take->all_or_nothing);
    EXPECT_EQ(take->takes, (std::vector<vrdx::output_take>{{1, {2, 3}}}));
    EXPECT_EQ(take->expect, (std::vector<vrdx::output_take>{{1, {4, 5}}}));
    const auto name = read_name_ask(name_ask_text({0, {"run", 5}, true, 3, "name"}));
    ASSERT_TRUE(name);
    EXPECT_TRUE(name->output);
    EXPECT_EQ(name->number, 3);
    EXPECT_EQ(name->name, "name");
}

TEST(SiteMessages, AnswerOutputByOutput) {
    ask_answer answer;
    answer.ended = "done";
    answer.outputs = {{1, "locked", "by desk", {}, owner_answer::lock{true, "desk", "on air", 5}},
                      {2, "shows", "", vrdx::level_sources{3, 4}, {}}};
    const auto read = read_ask_answer(ask_answer_text(answer));
    ASSERT_TRUE(read);
    ASSERT_EQ(read->outputs.size(), 2U);
    EXPECT_EQ(read->outputs[0].result, "locked");
    ASSERT_TRUE(read->outputs[0].held);
    EXPECT_TRUE(read->outputs[0].held->protects);
    EXPECT_EQ(read->outputs[0].held->owner, "desk");
    EXPECT_EQ(read->outputs[1].sources, (vrdx::level_sources{3, 4}));
}

TEST(SiteMessages, OfAnotherVersionSayWhichAndNoMore) {
    const auto alive = read_alive(R"({"v":2,"whatever":[]})");
    ASSERT_TRUE(alive);
    EXPECT_EQ(alive->version, 2);
    EXPECT_TRUE(alive->routers.empty());
    EXPECT_FALSE(read_page_request(R"({"v":2,"begin":0})"));
}

TEST(SiteMessages, HaveMembersThatNobodyKnowsYet) {
    const auto alive =
        read_alive(R"({"v":1,"run":"r","beat":1,"routers":[["a","up",1,{"x":1}]],"new":{"a":[]}})");
    ASSERT_TRUE(alive);
    ASSERT_EQ(alive->routers.size(), 1U);
    const auto state = read_alive(R"({"v":1,"run":"r","beat":1,"routers":[["a","of tomorrow",1]]})");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->routers.at(0).state, router_state::stale);
}

TEST(SiteMessages, ThatDoNotFitAreNone) {
    for (const char* const wrong :
         {"", "1", "[]", "{}", R"({"v":"1"})", R"({"v":1})", R"({"v":1,"run":1,"beat":1})", "{\"v\":1"})
        EXPECT_EQ(read_all(wrong) - static_cast<int>(read_page_request(wrong).has_value()), 0) << wrong;
    const std::string head = R"("state":"up","reason":"","picture":{"inputs":1,"outputs":1})";
    EXPECT_TRUE(read_page(R"({"v":1,"run":"r","at":1,)" + head + "}"));
    for (const char* const wrong : {R"({"number":0,"sources":[1,1]})", R"({"number":2,"sources":[1,1]})",
                                    R"({"number":-1,"sources":[1,1]})", R"({"sources":[1,1]})", "1"})
        EXPECT_FALSE(read_page(R"({"v":1,"run":"r","at":1,)" + head + R"(,"outputs":[)" + wrong + "]}"))
            << wrong;
    EXPECT_FALSE(read_page(R"({"v":1,"run":"r","at":1,"state":"up","picture":{"inputs":4097,"outputs":1}})"));
    EXPECT_FALSE(read_change(R"({"v":1,"run":"r","from":2,"to":2,)" + head + "}")) << "it leads nowhere";
}

TEST(SiteMessages, ThatAreDamagedHarmNobody) {
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same each time
    int read = 0;
    for (const std::string& message : messages()) {
        EXPECT_GE(read_all(message), 1) << message;
        for (int turn = 0; turn < 2000; turn++) {
            std::string damaged = message;
            for (auto times = 1 + random() % 3; times > 0; times--)
                damaged[random() % damaged.size()] = "0123456789-\"{}[],:x"[random() % 19];
            read += read_all(damaged);
        }
    }
    EXPECT_GT(read, 0) << "some are still messages";
}
