#include "gateway/fronts/videohub/untold.h"

#include "a_router.h"
#include "videohub_model.h"

#include <gtest/gtest.h>

#include <random>

using namespace gateway;

namespace {

constexpr std::size_t much = 1UL << 20U;

videohub_settings server() {
    videohub_settings wish;
    wish.router = "studio";
    return wish;
}

char unlocked(int) {
    return 'U';
}

// Enters a text as a client would.
void read(videohub_model& model, std::string_view text) {
    videohub_reader reader;
    std::vector<videohub_block> blocks;
    ASSERT_TRUE(read_videohub_bytes(reader, text, blocks));
    ASSERT_TRUE(reader.line.empty() && reader.block.header.empty()) << "half a block";
    for (const videohub_block& block : blocks)
        apply_videohub_block(model, block);
}

void expect_same(const videohub_model& model, const shown_hub& hub) {
    ASSERT_EQ(static_cast<int>(model.inputs.size()), hub.size().inputs);
    ASSERT_EQ(static_cast<int>(model.outputs.size()), hub.size().outputs);
    for (int input = 0; input < hub.size().inputs; ++input)
        EXPECT_EQ(model.inputs[static_cast<std::size_t>(input)].label, hub.input_label(input));
    for (int output = 0; output < hub.size().outputs; ++output) {
        const videohub_output& told = model.outputs[static_cast<std::size_t>(output)];
        EXPECT_EQ(told.label, hub.output_label(output));
        EXPECT_EQ(told.source, hub.source(output));
        EXPECT_TRUE(told.lock_known);
    }
}

} // namespace

TEST(Untold, BeginsWithEverything) {
    const shown_router router = a_router();
    shown_hub hub(server());
    hub.see(&router);
    untold news;
    EXPECT_TRUE(news.is_empty());
    news.begin(hub);
    EXPECT_EQ(news.next(hub, unlocked, much).substr(0, 34), "PROTOCOL PREAMBLE:\nVersion: 2.8\n\nV");
    EXPECT_TRUE(news.is_empty());
    EXPECT_EQ(news.next(hub, unlocked, much), "");
}

TEST(Untold, OfAMissingDeviceIsThatItIsMissing) {
    shown_hub hub(server());
    hub.see(nullptr);
    untold news;
    news.anew(hub);
    EXPECT_EQ(news.next(hub, unlocked, much), "VIDEOHUB DEVICE:\nDevice present: false\n\n");
    EXPECT_TRUE(news.is_empty());
}

TEST(Untold, HoldsEachNumberOnce) {
    const shown_router router = a_router();
    shown_hub hub(server());
    hub.see(&router);
    untold news;
    for (int i = 0; i < 1000; ++i) {
        news.add(videohub_topic::routing, 2);
        news.add(videohub_topic::routing, 0);
    }
    EXPECT_EQ(news.next(hub, unlocked, much), "VIDEO OUTPUT ROUTING:\n0 0\n2 0\n\n");
    EXPECT_TRUE(news.is_empty());
}

TEST(Untold, WhatIsBeyondTheSizeIsLeftOut) {
    const shown_router router = a_router(4, 2);
    shown_hub hub(server());
    hub.see(&router);
    untold news;
    news.add(videohub_topic::routing, 1);
    news.add(videohub_topic::routing, 700);
    news.add(videohub_topic::routing, -1);
    EXPECT_EQ(news.next(hub, unlocked, much), "VIDEO OUTPUT ROUTING:\n1 0\n\n");
}

TEST(Untold, LocksAreThoseOfTheClient) {
    const shown_router router = a_router();
    shown_hub hub(server());
    hub.see(&router);
    untold news;
    news.add_whole(videohub_topic::locks, hub);
    EXPECT_EQ(news.next(
                  hub, [](int output) { return "OLU"[output]; }, much),
              "VIDEO OUTPUT LOCKS:\n0 O\n1 L\n2 U\n\n");
}

TEST(Untold, EndOfThePreludeComesLastHoweverLittleIsWritten) {
    const shown_router router = a_router(40, 30);
    shown_hub hub(server());
    hub.see(&router);
    untold news;
    news.begin(hub);
    videohub_model model;
    int texts = 0;
    while (!news.is_empty()) {
        EXPECT_FALSE(model.prelude_ended);
        const std::string text = news.next(hub, unlocked, 100);
        EXPECT_LT(text.size(), 500U);
        read(model, text);
        ++texts;
    }
    EXPECT_GT(texts, 10);
    EXPECT_TRUE(model.prelude_ended);
    expect_same(model, hub);
}

// A client that takes its news now and then, in small pieces, while names, sources and sizes change.
TEST(Untold, SlowClientEndsWithTheNewestState) {
    for (unsigned seed = 1; seed <= 50; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&](std::size_t count) { return static_cast<int>(random() % count); };
        shown_router router = a_router(6, 5);
        shown_hub hub(server());
        hub.see(&router);
        untold news;
        news.begin(hub);
        videohub_model model;
        for (int step = 0; step < 300; ++step) {
            router_news heard;
            heard.router = &router;
            vrdx::router_picture& picture = router.picture;
            const int output = below(picture.outputs.size()) + 1, input = below(picture.inputs.size()) + 1;
            switch (below(12)) {
            case 0:
                router.state = router.state == router_state::up ? router_state::link_down : router_state::up;
                break;
            case 1:
                router.picture =
                    a_router(static_cast<std::size_t>(below(9)) + 1, static_cast<std::size_t>(below(9)) + 1)
                        .picture;
                heard.whole = true;
                break;
            case 2:
                picture.inputs[static_cast<std::size_t>(input - 1)].name = "in " + std::to_string(step);
                heard.places.inputs = {input};
                break;
            case 3:
                picture.outputs[static_cast<std::size_t>(output - 1)].name = "out " + std::to_string(step);
                heard.places.outputs = {output};
                break;
            default:
                picture.outputs[static_cast<std::size_t>(output - 1)].sources = audio_video(input, input);
                heard.places.outputs = {output};
            }
            const hub_news told = hub.hear(heard);
            if (told.anew)
                news.anew(hub);
            for (const int number : told.input_labels)
                news.add(videohub_topic::input_labels, number);
            for (const int number : told.output_labels)
                news.add(videohub_topic::output_labels, number);
            for (const int number : told.routing)
                news.add(videohub_topic::routing, number);
            if (below(3) == 0)
                read(model, news.next(hub, unlocked, 40));
        }
        while (!news.is_empty())
            read(model, news.next(hub, unlocked, 40));
        EXPECT_EQ(model.presence == videohub_presence::present, hub.is_present());
        if (hub.is_present())
            expect_same(model, hub);
    }
}
