#include "client_limits.h"
#include "client_picture.h"
#include "told_packets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

told_entries page(told_entries entries, const char* sequence = "7") {
    entries.insert(entries.begin(), {{"epoch", first_epoch}, {"sequence", sequence}});
    return entries;
}

// The picture of a description that has one page.
vrdx::router_picture described(const told_entries& entries) {
    vrdx::router_picture picture;
    std::string next;
    EXPECT_TRUE(vrdx::add_page(&picture, told("describe", page(entries)), &next));
    EXPECT_EQ(next, "");
    return picture;
}

} // namespace

TEST(Picture, TellsUnknownNoneAndNumbersOfSourcesApart) {
    const auto picture = described({{"inputs", "4"},
                                    {"outputs", "4"},
                                    {"output 1", "Monitor"},
                                    {"output 1 sources", "3,4"},
                                    {"output 2", "VTR"},
                                    {"output 2 sources", "0,unknown"},
                                    {"output 3", "not said"}});
    EXPECT_EQ(picture.outputs[0].sources, (vrdx::level_sources{3, 4}));
    EXPECT_EQ(picture.outputs[1].sources, (vrdx::level_sources{vrdx::source_none, vrdx::source_unknown}));
    EXPECT_EQ(picture.outputs[2].sources, (vrdx::level_sources{vrdx::source_unknown, vrdx::source_unknown}));
    EXPECT_TRUE(picture.outputs[2].told);
    EXPECT_FALSE(picture.outputs[3].told);
}

TEST(Picture, HoldsWhoTookAndWhatWaitsAndProperties) {
    const auto picture = described({{"inputs", "1"},
                                    {"outputs", "2"},
                                    {"input 1", "Camera 1"},
                                    {"input 1 property format", "1080i50"},
                                    {"output 1", "Monitor 1"},
                                    {"output 1 waits", "812"},
                                    {"output 1 taken", "1000 4711 desk 3"},
                                    {"output 1 property lock", "on"},
                                    {"output 2", "Monitor 2"},
                                    {"output 2 taken", "0 17"}});
    EXPECT_EQ(picture.inputs[0].name, "Camera 1");
    EXPECT_THAT(picture.inputs[0].properties, ElementsAre(vrdx::place_property{"format", "1080i50"}));
    const vrdx::picture_output& first = picture.outputs[0];
    EXPECT_EQ(first.waits_ms, 812U);
    ASSERT_TRUE(first.taken);
    EXPECT_EQ(first.taken->user, 1000U);
    EXPECT_EQ(first.taken->process, 4711U);
    EXPECT_EQ(first.taken->by, "desk 3");
    EXPECT_THAT(first.properties, ElementsAre(vrdx::place_property{"lock", "on"}));
    EXPECT_FALSE(picture.outputs[1].waits_ms);
    ASSERT_TRUE(picture.outputs[1].taken);
    EXPECT_EQ(picture.outputs[1].taken->by, "");
}

TEST(Picture, HoldsStatesCountersAndMessages) {
    const auto picture = described({{"levels", "video,audio"},
                                    {"backend", "starting"},
                                    {"backend text", "exit code 3"},
                                    {"link", "down"},
                                    {"link text", "no route to host"},
                                    {"clients", "12"},
                                    {"uptime", "86400000"},
                                    {"takes asked", "40 7"},
                                    {"takes confirmed", "30 6"},
                                    {"takes refused", "5 1"},
                                    {"takes rolled back", "3 0"},
                                    {"takes unknown", "2 0"},
                                    {"backend starts", "9 4"},
                                    {"last take", "39"},
                                    {"error", "1700000000000 lost the router"},
                                    {"note", "1700000000001 link up"}});
    EXPECT_TRUE(picture.split_levels);
    EXPECT_EQ(picture.backend, vrdx::backend_state::starting);
    EXPECT_EQ(picture.backend_text, "exit code 3");
    EXPECT_EQ(picture.link, vrdx::link_state::down);
    EXPECT_EQ(picture.link_text, "no route to host");
    EXPECT_EQ(picture.clients, 12U);
    EXPECT_EQ(picture.uptime_ms, 86400000U);
    EXPECT_EQ(picture.asked.since_start, 40U);
    EXPECT_EQ(picture.asked.last_hour, 7U);
    EXPECT_EQ(picture.confirmed.since_start, 30U);
    EXPECT_EQ(picture.refused.since_start, 5U);
    EXPECT_EQ(picture.rolled_back.since_start, 3U);
    EXPECT_EQ(picture.unknown.since_start, 2U);
    EXPECT_EQ(picture.backend_starts.last_hour, 4U);
    EXPECT_EQ(picture.last_take, 39U);
    ASSERT_EQ(picture.errors.size(), 1U);
    EXPECT_EQ(picture.errors[0].time_ms, 1700000000000U);
    EXPECT_EQ(picture.errors[0].text, "lost the router");
    ASSERT_EQ(picture.notes.size(), 1U);
    EXPECT_EQ(picture.notes[0].text, "link up");
}

TEST(Picture, PagesAddUpAndSayWhenTheyShowTwoMoments) {
    vrdx::router_picture picture;
    picture.clients = 99; // of an older description
    std::string next;
    auto first = page({{"inputs", "2"}, {"outputs", "0"}, {"input 1", "A"}, {"next", "i2"}});
    ASSERT_TRUE(vrdx::add_page(&picture, told("describe", first), &next));
    EXPECT_EQ(next, "i2");
    EXPECT_EQ(picture.clients, 0U);
    ASSERT_TRUE(vrdx::add_page(&picture, told("describe", page({{"input 2", "B"}}, "8")), &next));
    EXPECT_EQ(next, "");
    EXPECT_EQ(picture.inputs[0].name, "A");
    EXPECT_EQ(picture.inputs[1].name, "B");
    EXPECT_EQ(picture.sequence, 8U);
    EXPECT_TRUE(picture.changed_between_pages);
}

TEST(Picture, OtherRepliesAreNoPage) {
    vrdx::router_picture picture;
    std::string next;
    EXPECT_FALSE(vrdx::add_page(&picture, told_error("unknown command 'describe'"), &next));
    EXPECT_FALSE(vrdx::add_page(&picture, told("describe", {{"inputs", "2"}}), &next));
    EXPECT_FALSE(vrdx::add_page(&picture, told("describe", {{"epoch", "short"}, {"sequence", "1"}}), &next));
    EXPECT_FALSE(
        vrdx::add_page(&picture, told("describe", {{"epoch", first_epoch}, {"sequence", "x"}}), &next));
    EXPECT_FALSE(vrdx::add_page(&picture, told("status", page({})), &next));
    EXPECT_THAT(picture.inputs, IsEmpty());
}

TEST(Picture, UnknownEntriesAndImpossibleNumbersAreSkipped) {
    const auto picture = described({{"inputs", "2"},
                                    {"outputs", "2"},
                                    {"weather", "fine"},
                                    {"input 0", "zero"},
                                    {"input 3", "three"},
                                    {"input 99999999999999999999", "many"},
                                    {"input 1x", "letters"},
                                    {"input ", "none"},
                                    {"input 2 property a", "never told before"},
                                    {"output 1", "Monitor"},
                                    {"output 1 colour", "red"},
                                    {"output 1 waits", "soon"},
                                    {"output 1 sources", "-1,2"},
                                    {"output 1 sources", "4097,1"},
                                    {"output 1 sources", "5"},
                                    {"output 2 sources", "1,1"}});
    EXPECT_FALSE(picture.inputs[0].told);
    EXPECT_FALSE(picture.inputs[1].told);
    EXPECT_EQ(picture.outputs[0].sources, vrdx::level_sources());
    EXPECT_FALSE(picture.outputs[0].waits_ms);
    EXPECT_FALSE(picture.outputs[1].told);
    EXPECT_EQ(picture.outputs[1].sources, vrdx::level_sources());
}

TEST(Picture, SizesNamesAndMessagesAreBounded) {
    told_entries entries{{"inputs", "4294967297"}, {"outputs", "1025"}, {"input 1", std::string(5000, 'n')}};
    for (int i = 0; i < 100; ++i)
        entries.emplace_back("error", std::to_string(i) + " " + std::string(9000, 'e'));
    const auto picture = described(entries);
    EXPECT_EQ(picture.inputs.size(), vrdx::picture_inputs_limit);
    EXPECT_EQ(picture.outputs.size(), vrdx::picture_outputs_limit);
    EXPECT_EQ(picture.inputs[0].name.size(), vrdx::picture_name_limit);
    ASSERT_EQ(picture.errors.size(), vrdx::picture_messages_limit);
    EXPECT_EQ(picture.errors.back().time_ms, 99U);
    EXPECT_EQ(picture.errors.back().text.size(), vrdx::picture_text_limit);
}

TEST(Picture, PropertiesAreBoundedOfOnePlaceAndOfAll) {
    vrdx::router_picture picture;
    vrdx::picture_news news;
    const std::string value(vrdx::property_value_limit, 'v');
    for (int place = 1; place <= 1024; ++place) { // in packets, for all of it is more than one holds
        const std::string input = "input " + std::to_string(place);
        told_entries entries{{"inputs", "1024"}, {input, "Camera"}};
        for (int i = 0; i < 20; ++i)
            entries.emplace_back(input + " property p" + std::to_string(i), value);
        entries.emplace_back(input + " property too long", value + "v");
        entries.emplace_back(input + " property " + std::string(65, 'n'), "v");
        vrdx::enter_packet(&picture, told("change", entries), &news);
    }
    EXPECT_EQ(picture.inputs[0].properties.size(), vrdx::properties_limit);
    EXPECT_LE(picture.property_bytes, vrdx::property_bytes_limit);
    EXPECT_GT(picture.property_bytes, vrdx::property_bytes_limit - 2 * vrdx::property_value_limit);
    EXPECT_TRUE(picture.inputs[1023].told);
    EXPECT_THAT(picture.inputs[1023].properties, IsEmpty());
    vrdx::enter_packet(&picture, told("change", {{"inputs", "0"}}), &news);
    EXPECT_EQ(picture.property_bytes, 0U);
}
