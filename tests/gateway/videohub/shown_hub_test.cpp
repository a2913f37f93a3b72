#include "gateway/fronts/videohub/shown_hub.h"

#include "a_router.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace gateway;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

videohub_settings server_of(const std::string& outputs = "", const std::string& inputs = "") {
    videohub_settings server;
    std::string ignored;
    server.router = "studio";
    if (!outputs.empty())
        server.outputs = number_list::parse(outputs, &ignored).value();
    if (!inputs.empty())
        server.inputs = number_list::parse(inputs, &ignored).value();
    return server;
}

// A router and what is shown of it.
struct shown {
    explicit shown(const videohub_settings& server = server_of()) : hub(server) {
        hub.see(&router);
    }
    vrdx::picture_output& output(int number) {
        return router.picture.outputs.at(static_cast<std::size_t>(number - 1));
    }
    hub_news hear_outputs(const std::vector<int>& numbers) {
        router_news news;
        news.router = &router;
        news.places.outputs = numbers;
        return hub.hear(news);
    }
    hub_news hear_take(int number, vrdx::take_word word, int wanted, int before = 1) {
        router_news news;
        news.router = &router;
        news.takes.emplace_back();
        news.takes.back().output = number;
        news.takes.back().before = audio_video(before, before);
        news.takes.back().wanted = audio_video(wanted, wanted);
        news.takes.back().result.word = word;
        return hub.hear(news);
    }
    // The driver shows it, and the router has not confirmed it.
    void assume(int number, int source) {
        output(number).sources = audio_video(source, source);
        output(number).waits_ms = 1000;
    }
    void confirm(int number, int source) {
        output(number).sources = audio_video(source, source);
        output(number).waits_ms.reset();
    }

    shown_router router = a_router(4, 3);
    shown_hub hub;
};

} // namespace

TEST(ShownHub, HasOneMoreInputForEverythingElse) {
    shown one;
    EXPECT_EQ(one.hub.size().inputs, 5);
    EXPECT_EQ(one.hub.input_label(4), "None/other");
    EXPECT_EQ(one.hub.router_input(4), vrdx::source_none);
    EXPECT_EQ(one.hub.router_input(0), 1);
    one.confirm(1, vrdx::source_none);
    one.hear_outputs({1});
    EXPECT_EQ(one.hub.source(0), 4);
    one.confirm(1, vrdx::source_unknown);
    one.hear_outputs({1});
    EXPECT_EQ(one.hub.source(0), 4);
}

TEST(ShownHub, ShowsTheVideoLevel) {
    shown one;
    one.output(1).sources = audio_video(2, 4);
    EXPECT_THAT(one.hear_outputs({1}).routing, ElementsAre(0));
    EXPECT_EQ(one.hub.source(0), 3);
}

TEST(ShownHub, UnknownVideoIsWhatAudioShowsWhereLevelsAreNotSeparate) {
    shown one;
    one.output(1).sources = audio_video(3, vrdx::source_unknown);
    one.hear_outputs({1});
    EXPECT_EQ(one.hub.source(0), 4);
    one.router.picture.split_levels = false;
    EXPECT_TRUE(one.hear_outputs({}).anew);
    EXPECT_EQ(one.hub.source(0), 2);
}

TEST(ShownHub, OutputWhoseTakeWaitsDoesNotShowOther) {
    shown one(server_of("", "2-4"));
    EXPECT_TRUE(one.hub.shows_other(0)); // input 1 is not among them
    one.assume(1, 3);
    one.hear_outputs({1});
    EXPECT_FALSE(one.hub.shows_other(0));
    one.confirm(1, 3);
    one.hear_outputs({1});
    EXPECT_FALSE(one.hub.shows_other(0));
}

TEST(ShownHub, ShowsOnlyWhatIsConfirmed) {
    shown one;
    one.assume(1, 3);
    EXPECT_THAT(one.hear_outputs({1}).routing, IsEmpty());
    EXPECT_EQ(one.hub.source(0), 0);
    one.confirm(1, 3);
    EXPECT_THAT(one.hear_outputs({1}).routing, ElementsAre(0));
    EXPECT_EQ(one.hub.source(0), 2);
}

TEST(ShownHub, TakeThatWaitsAtTheBeginningIsNotShown) {
    shown one;
    one.assume(1, 3);
    one.hub.see(&one.router);
    EXPECT_EQ(one.hub.source(0), 4);
}

TEST(ShownHub, DecidedTakeIsToldAlsoWhenNothingChanges) {
    shown one;
    EXPECT_THAT(one.hear_take(2, vrdx::take_word::confirmed, 1).routing, ElementsAre(1));
    EXPECT_THAT(one.hear_take(2, vrdx::take_word::refused, 4).routing, ElementsAre(1));
    EXPECT_THAT(one.hear_take(2, vrdx::take_word::unknown, 4).routing, ElementsAre(1));
}

TEST(ShownHub, ChangeAndRecordOfATakeAreToldOnce) {
    shown one;
    for (const int source : {3, 1, 4}) {
        one.assume(2, source);
        one.hear_outputs({2});
        one.confirm(2, source);
        EXPECT_THAT(one.hear_outputs({2}).routing, ElementsAre(1));
        EXPECT_THAT(one.hear_take(2, vrdx::take_word::confirmed, source, 2).routing, IsEmpty());
        EXPECT_THAT(one.hear_take(2, vrdx::take_word::confirmed, source, source).routing, ElementsAre(1));
    }
}

TEST(ShownHub, TakeWhoseChangeWasMergedAwayIsTold) {
    shown one; // input 1, by way of input 3
    EXPECT_THAT(one.hear_take(2, vrdx::take_word::confirmed, 1, 3).routing, ElementsAre(1));
}

TEST(ShownHub, ConfirmedTakeIsNotToldBeforeItsChange) {
    shown one;
    EXPECT_THAT(one.hear_take(2, vrdx::take_word::confirmed, 4).routing, IsEmpty());
}

TEST(ShownHub, DecidedTakeUnderALaterOneIsToldWithThatOne) {
    shown one;
    one.assume(1, 3);
    one.hear_outputs({1});
    EXPECT_THAT(one.hear_take(1, vrdx::take_word::replaced_sent, 2).routing, IsEmpty());
    one.confirm(1, 1); // it fell back to what was shown before
    EXPECT_THAT(one.hear_outputs({1}).routing, ElementsAre(0));
    EXPECT_THAT(one.hear_outputs({1}).routing, IsEmpty());
}

TEST(ShownHub, LostTakesMakeAllOutputsTold) {
    shown one;
    router_news news;
    news.router = &one.router;
    news.takes_lost = 3;
    EXPECT_THAT(one.hub.hear(news).routing, ElementsAre(0, 1, 2));
}

TEST(ShownHub, RenumbersSomeOfARouter) {
    shown one(server_of("2-3,9", "4"));
    EXPECT_EQ(one.hub.size().outputs, 2);
    EXPECT_EQ(one.hub.size().inputs, 2);
    EXPECT_EQ(one.hub.output_label(0), "Output 2");
    EXPECT_EQ(one.hub.input_label(0), "Input 4");
    EXPECT_EQ(one.hub.router_output(1), 3);
    EXPECT_EQ(one.hub.hub_output(1), -1);
    EXPECT_EQ(one.hub.hub_output(3), 1);
    EXPECT_EQ(one.hub.source(0), 1); // input 1 is not among them
    one.confirm(1, 4);
    one.confirm(2, 4);
    EXPECT_THAT(one.hear_outputs({1, 2}).routing, ElementsAre(0));
    EXPECT_EQ(one.hub.source(0), 0);
}

TEST(ShownHub, IsGoneWhileTheRouterIsNotUp) {
    shown one;
    for (const auto state : {router_state::link_down, router_state::no_backend, router_state::reading,
                             router_state::no_driver, router_state::stale}) {
        one.router.state = state;
        EXPECT_TRUE(one.hear_outputs({}).anew);
        EXPECT_FALSE(one.hub.is_present());
        EXPECT_EQ(one.hub.size().outputs, 0);
        EXPECT_FALSE(one.hear_outputs({1}).anew) << "told once";
        one.router.state = router_state::up;
        EXPECT_TRUE(one.hear_outputs({}).anew);
        EXPECT_EQ(one.hub.size().outputs, 3);
    }
}

TEST(ShownHub, TellsNewNamesOnce) {
    shown one;
    router_news news;
    news.router = &one.router;
    one.router.picture.inputs[1].name = "VTR";
    one.output(3).name = "Air";
    news.places.inputs = {1, 2};
    news.places.outputs = {3};
    const hub_news told = one.hub.hear(news);
    EXPECT_THAT(told.input_labels, ElementsAre(1));
    EXPECT_THAT(told.output_labels, ElementsAre(2));
    EXPECT_THAT(told.routing, IsEmpty());
    EXPECT_EQ(one.hub.input_label(1), "VTR");
    EXPECT_THAT(one.hub.hear(news).input_labels, IsEmpty());
}

TEST(ShownHub, EchoWaitsForTheConfirmation) {
    shown one;
    one.assume(1, 3);
    one.hear_outputs({1});
    EXPECT_THAT(one.hub.echo({0, 1, 77}), ElementsAre(1));
    one.confirm(1, 1);
    EXPECT_THAT(one.hear_outputs({1}).routing, ElementsAre(0));
}

TEST(ShownHub, IdentityIsThatOfItsConfiguration) {
    const std::string id = shown_hub(server_of()).device().unique_id;
    EXPECT_EQ(id, shown_hub(server_of()).device().unique_id);
    EXPECT_NE(id, shown_hub(server_of("1-2")).device().unique_id);
    EXPECT_EQ(id.size(), 12U);
}

TEST(HubLabel, IsALineOfText) {
    EXPECT_EQ(hub_label("Süd: ☃"), "Süd: ☃");
    EXPECT_EQ(hub_label("a\nEND PRELUDE:\n\n"), "a END PRELUDE:  ");
    EXPECT_EQ(hub_label(std::string_view("\0\x1b\x7f", 3)), "   ");
    EXPECT_EQ(hub_label("S\xfc"
                        "d"),
              "S?d");
    EXPECT_EQ(hub_label(std::string(65536, 'x')).size(), 1024U);
}
