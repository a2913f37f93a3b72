#include "gateway/api/event_hub.h"

#include "a_router.h"
#include "gateway/settings/limits.h"

#include <numeric>

namespace gateway {
namespace {

// Reads when a test says so.
class test_sink : public event_sink {
public:
    void wake() override {
        wakes++;
    }
    void close(unsigned code, const std::string&) override {
        closed = code;
    }
    int wakes = 0;
    unsigned closed = 0;
};

class EventReader : public testing::Test {
protected:
    EventReader() {
        routers["studio"] = a_router(300, 300);
        routers["archive"] = a_router(4, 4, "archive");
    }
    std::shared_ptr<event_reader> reader(event_wish wish = {std::make_shared<token>(all_may()), 0, {}}) {
        auto added = hub.add_reader(std::move(wish));
        added->begun(&sink);
        return added;
    }
    static token all_may() {
        token who;
        who.id = 5;
        who.right = role::view;
        return who;
    }
    // As drivers tell it.
    void change(const std::string& router, std::vector<int> outputs, int source = 2) {
        shown_router& shown = routers[router];
        shown.version++;
        shown.picture.sequence++;
        for (const int number : outputs)
            shown.picture.outputs[static_cast<std::size_t>(number - 1)].sources = audio_video(source, source);
        router_news news;
        news.router = &shown;
        news.places.outputs = std::move(outputs);
        hub.hear(news);
    }
    void decide_take(std::uint64_t number) {
        router_news news;
        news.router = &routers["studio"];
        vrdx::take_record record;
        record.number = number;
        record.output = 1;
        record.result = vrdx::take_result_in("confirmed");
        news.takes = {record};
        hub.hear(news);
    }
    static std::vector<json> read_all(event_reader& from) {
        std::vector<json> all;
        while (const shared_text text = from.next())
            all.push_back(json::parse(*text));
        return all;
    }

    std::map<std::string, shown_router, std::less<>> routers;
    picture_shelf shelf{[](std::string_view) { return nullptr; }};
    event_hub hub{shelf, [](std::string_view) { return nullptr; },
                  [this](std::string_view name) -> const shown_router* {
                      const auto found = routers.find(name);
                      return found == routers.end() ? nullptr : &found->second;
                  },
                  [this] {
                      std::vector<const shown_router*> all;
                      for (const auto& [name, router] : routers)
                          all.push_back(&router);
                      return all;
                  }};
    test_sink sink;
};

TEST_F(EventReader, PicturesComeFirst) {
    const auto one = reader();
    const auto events = read_all(*one);
    ASSERT_EQ(events.size(), 2U);
    for (const json& event : events)
        EXPECT_EQ(event["type"], "picture");
}

TEST_F(EventReader, ReadersThatKeepUpShareOneText) {
    const auto one = reader(), two = reader();
    read_all(*one);
    read_all(*two);
    change("studio", {3});
    const shared_text first = one->next(), second = two->next();
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(json::parse(*first)["outputs"][0]["number"], 3);
    EXPECT_EQ(one->next(), nullptr);
}

TEST_F(EventReader, ChangesBehindAPictureThatWaitsAreInIt) {
    const auto one = reader();
    change("studio", {3});
    const auto events = read_all(*one);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[1]["outputs"][2]["sources"]["video"], 2);
}

TEST_F(EventReader, OneThatDoesNotReadGetsTheNewestStateOnce) {
    const auto one = reader();
    read_all(*one);
    for (int source = 1; source <= 1000; source++)
        change("studio", {source % 3 + 1}, source % 300 + 1);
    std::map<int, int> shown;
    int messages = 0;
    for (const json& event : read_all(*one)) {
        messages++;
        EXPECT_EQ(event["type"], "change");
        EXPECT_EQ(event["sequence"], routers["studio"].picture.sequence);
        for (const json& output : event["outputs"])
            shown[output["number"].get<int>()] = output["sources"]["video"].get<int>();
    }
    EXPECT_EQ(messages, 1);
    for (int number = 1; number <= 3; number++)
        EXPECT_EQ(shown[number],
                  routers["studio"].picture.outputs[static_cast<std::size_t>(number - 1)].sources.video);
}

TEST_F(EventReader, WhatItCostsIsBounded) {
    const auto one = reader();
    read_all(*one);
    std::size_t most = 0;
    for (int round = 0; round < 3000; round++) {
        change("studio", {round % 300 + 1}, round % 300 + 1);
        change("archive", {round % 4 + 1});
        decide_take(static_cast<std::uint64_t>(round));
        if (round % 100 == 0)
            one->next();
        most = std::max(most, one->own_bytes());
    }
    EXPECT_LT(most, event_bytes_limit);
    EXPECT_GT(most, 0U);
}

TEST_F(EventReader, MoreThanAMessageHoldsIsThePicture) {
    const auto one = reader();
    read_all(*one);
    std::vector<int> all;
    for (int number = 1; number <= 300; number++)
        all.push_back(number);
    change("studio", all);
    const auto events = read_all(*one);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["type"], "picture");
}

TEST_F(EventReader, LargeChangeIsToldInParts) {
    routers["studio"].picture.outputs[0].name = std::string(1000, 'x');
    const auto one = reader();
    read_all(*one);
    for (int number = 1; number <= 250; number++) {
        routers["studio"].picture.outputs[static_cast<std::size_t>(number - 1)].name = std::string(1000, 'x');
        change("studio", {number});
    }
    std::set<int> told;
    const auto events = read_all(*one);
    ASSERT_GT(events.size(), 1U);
    for (const json& event : events) {
        EXPECT_EQ(event["more"].get<bool>(), &event != &events.back());
        EXPECT_LT(json_text(event).size(), event_merged_bytes_limit + 2000);
        for (const json& output : event["outputs"])
            EXPECT_TRUE(told.insert(output["number"].get<int>()).second);
    }
    EXPECT_EQ(told.size(), 250U);
}

TEST_F(EventReader, LostTakesAreCounted) {
    const auto one = reader();
    read_all(*one);
    for (std::uint64_t number = 1; number <= 1000; number++)
        decide_take(number);
    std::uint64_t lost = 0, told = 0, last = 0;
    for (const json& event : read_all(*one)) {
        if (event["type"] == "lost")
            lost += event["takes"].get<std::uint64_t>();
        else {
            told++;
            EXPECT_GT(event["number"], last);
            last = event["number"];
        }
    }
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(lost + told, 1000U);
    EXPECT_EQ(last, 1000U);
}

TEST_F(EventReader, RouterThatGoesWhileItsChangesWaitIsGone) {
    const auto one = reader();
    read_all(*one);
    for (int round = 0; round < 1000; round++)
        change("archive", {1}, round % 4 + 1);
    const shown_router last = routers["archive"];
    router_news news;
    news.router = &last;
    news.gone = true;
    routers.erase("archive");
    hub.hear(news);
    const auto events = read_all(*one);
    EXPECT_EQ(events.back()["state"], "gone");
    change("studio", {1});
    EXPECT_EQ(read_all(*one).size(), 1U);
}

TEST_F(EventReader, OnlyRoutersThatAreSeenAreTold) {
    token limited = all_may();
    limited.routers = {"archive"};
    const auto one = reader({std::make_shared<token>(limited), 0, {}});
    EXPECT_EQ(read_all(*one).size(), 1U);
    change("studio", {1});
    decide_take(1);
    EXPECT_TRUE(read_all(*one).empty());
    change("archive", {1});
    EXPECT_EQ(read_all(*one).size(), 1U);
}

TEST_F(EventReader, RemovedTokensReadersAreEnded) {
    const auto one = reader();
    hub.end_readers({4}, {0});
    EXPECT_EQ(sink.closed, 0U);
    hub.end_readers({5}, {});
    EXPECT_EQ(sink.closed, close_policy);
}

TEST_F(EventReader, ReaderThatIsGoneIsToldNothing) {
    auto one = reader();
    EXPECT_EQ(hub.readers(), 1U);
    one->ended();
    EXPECT_EQ(hub.readers(), 0U);
    change("studio", {1});
    {
        const auto never_opened = hub.add_reader({std::make_shared<token>(all_may()), 0, {}});
        EXPECT_EQ(hub.readers(), 1U);
    }
    EXPECT_EQ(hub.readers(), 0U);
}

TEST_F(EventReader, AliveIsToldWhenNothingElseIs) {
    const auto one = reader();
    hub.tell_alive();
    hub.tell_alive();
    const auto events = read_all(*one);
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[2]["type"], "alive");
}

namespace {

// Outputs that were locked when they showed input 3, and show something else when their router is first heard
// of.
class AlarmsAfterARestart : public testing::Test {
protected:
    shown_router studio = a_router();
    router_locks locks;
    router_news news;
    const std::shared_ptr<token> who = std::make_shared<token>();
    picture_shelf shelf{[this](std::string_view) { return &locks; }};
    event_hub hub{shelf, [this](std::string_view) { return &locks; },
                  [this](std::string_view) { return &studio; },
                  [this] { return std::vector<const shown_router*>{&studio}; }};

    void begin(const std::vector<int>& locked) {
        for (const int number : locked)
            locks[number] = {lock_state::lock, 1, "boss", "", 0, {3, 3}};
        who->right = role::view;
        news.router = &studio;
        news.whole = true;
        hub.hear(news);
    }
};

} // namespace

TEST_F(AlarmsAfterARestart, AreToldToWhoeverComesBehindThePictures) {
    begin({2});
    for (int times = 0; times < 2; times++) {
        const auto reader = hub.add_reader({who, 0, {}});
        std::vector<std::string> told;
        while (const shared_text text = reader->next())
            told.push_back(json::parse(*text)["type"]);
        EXPECT_EQ(told, (std::vector<std::string>{"picture", "alarm"}));
    }
    const auto other = hub.add_reader({who, 0, {"archive"}});
    EXPECT_EQ(other->next(), nullptr);
    studio.picture.outputs[1].sources = audio_video(4, 4); // while somebody may have heard it
    news.places.outputs = {2};
    hub.hear(news);
    const auto late = hub.add_reader({who, 0, {}});
    std::size_t alarms = 0;
    while (const shared_text text = late->next())
        alarms += json::parse(*text)["type"] == "alarm" ? 1 : 0;
    EXPECT_EQ(alarms, 1U);
}

TEST_F(AlarmsAfterARestart, AreAllToldToAReaderThatKeepsUp) {
    constexpr int outputs = 600;
    static_assert(outputs > static_cast<int>(event_once_limit));
    static_assert(outputs <= static_cast<int>(alarms_after_restart_limit));
    studio = a_router(4, outputs);
    std::vector<int> all(outputs);
    std::iota(all.begin(), all.end(), 1);
    begin(all);
    const auto reader = hub.add_reader({who, 0, {}});
    std::map<std::string, int> told;
    while (const shared_text text = reader->next())
        told[json::parse(*text)["type"]]++;
    EXPECT_EQ(told, (std::map<std::string, int>{{"picture", 1}, {"alarm", outputs}}));
}

} // namespace
} // namespace gateway
