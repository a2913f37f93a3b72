#include "gateway_picture.h"

#include "client_limits.h"

#include <gtest/gtest.h>

namespace {

using vrdx::take_word;

const char* const studio = R"({"type": "picture", "router": "studio", "state": "up", "reason": "",
  "epoch": "0123456789abcdef", "sequence": 7, "levels": ["video", "audio"],
  "inputs": [{"number": 1, "name": "Cam 1", "properties": {"status": "ok"}}, {"number": 2, "name": "Cam 2", "properties": {}}],
  "outputs": [{"number": 1, "name": "Monitor", "sources": {"video": 2, "audio": null}, "pending": true,
    "taken_by": {"user": 997, "process": 12, "by": "gallery"}, "lock": null, "properties": {}}]})";

vrdx::router_picture picture_of(const std::string& text) {
    vrdx::router_picture picture;
    EXPECT_TRUE(read_picture(gateway_json::parse(text), &picture));
    return picture;
}

TEST(GatewayPicture, IsReadWhole) {
    const vrdx::router_picture picture = picture_of(studio);
    EXPECT_TRUE(picture.split_levels);
    EXPECT_EQ(picture.sequence, 7U);
    EXPECT_EQ(picture.backend, vrdx::backend_state::running);
    ASSERT_EQ(picture.inputs.size(), 2U);
    EXPECT_EQ(picture.inputs[0].properties.at(0).value, "ok");
    ASSERT_EQ(picture.outputs.size(), 1U);
    const vrdx::picture_output& output = picture.outputs[0];
    EXPECT_EQ(output.sources, (vrdx::level_sources{vrdx::source_unknown, 2}));
    EXPECT_EQ(output.waits_ms, std::uint64_t{0});
    EXPECT_EQ(output.taken->by, "gallery");
}

TEST(GatewayPicture, TakesAChangeIn) {
    vrdx::router_picture picture = picture_of(studio);
    vrdx::picture_news news;
    enter_change(gateway_json::parse(R"({"sequence": 8, "inputs": [{"number": 2, "name": "Desk"}],
        "outputs": [{"number": 1, "name": "Monitor", "sources": {"video": 1, "audio": 1}, "pending": false}]})"),
                 &picture, &news);
    EXPECT_EQ(picture.sequence, 8U);
    EXPECT_EQ(picture.inputs[1].name, "Desk");
    EXPECT_EQ(picture.outputs[0].sources, (vrdx::level_sources{1, 1}));
    EXPECT_FALSE(picture.outputs[0].waits_ms);
    EXPECT_EQ(news.inputs, std::vector<int>{2});
    EXPECT_EQ(news.outputs, std::vector<int>{1});
}

TEST(GatewayPicture, SkipsWhatDoesNotFit) {
    vrdx::router_picture picture = picture_of(studio);
    vrdx::picture_news news;
    for (
        const char* change :
        {"[]", "null", "3", R"({"inputs": 3, "outputs": "x"})",
         R"({"inputs": [1, null, [], {"number": "1"}]})",
         R"({"outputs": [{"number": 0}, {"number": 2}, {"number": -1}, {"number": 1.5}, {"number": 99999999999}]})"})
        enter_change(gateway_json::parse(change), &picture, &news);
    EXPECT_TRUE(news.inputs.empty() && news.outputs.empty());
    EXPECT_EQ(picture.outputs[0].name, "Monitor");
}

TEST(GatewayPicture, IsNoneWithoutItsListsOrWithTooLongOnes) {
    vrdx::router_picture picture;
    for (const char* text : {"{}", "[]", "null", R"({"inputs": [], "outputs": 1})"})
        EXPECT_FALSE(read_picture(gateway_json::parse(text), &picture)) << text;
    gateway_json large = {{"inputs", gateway_json::array()}, {"outputs", gateway_json::array()}};
    large["outputs"].get_ref<gateway_json::array_t&>().resize(vrdx::picture_outputs_limit + 1);
    EXPECT_FALSE(read_picture(large, &picture));
}

TEST(GatewayPicture, StatesTellBackendAndLink) {
    vrdx::router_picture picture = picture_of(studio);
    enter_state(&picture, {"link down", "The backend does not reach its router."});
    EXPECT_EQ(picture.link, vrdx::link_state::down);
    EXPECT_EQ(picture.link_text, "The backend does not reach its router.");
    enter_state(&picture, {"no backend", "The item names no backend."});
    EXPECT_EQ(picture.backend, vrdx::backend_state::none);
    EXPECT_EQ(picture.link, vrdx::link_state::unknown);
    EXPECT_TRUE(is_true_now({"no backend", ""}));
    for (const char* state : {"reading", "no driver", "stale", "gone", ""})
        EXPECT_FALSE(is_true_now({state, ""})) << state;
}

TEST(GatewayResult, IsTheDriversWordOrWhatALockDecided) {
    const auto result = [](const char* text) { return gateway_result(gateway_json::parse(text)); };
    EXPECT_EQ(result(R"({"output": 1, "result": "confirmed"})").word, take_word::confirmed);
    const auto refused = result(R"({"result": "refused", "reason": "no backend"})");
    EXPECT_EQ(refused.word, take_word::refused);
    EXPECT_EQ(refused.text, "no backend");
    const auto shows = result(R"({"result": "shows", "sources": {"video": 4, "audio": 5}})");
    EXPECT_EQ(shows.word, take_word::shows);
    EXPECT_EQ(shows.sources, (vrdx::level_sources{5, 4}));
    EXPECT_EQ(result(R"({"result": "replaced unsent", "reason": "1000 7 desk"})").word,
              take_word::replaced_unsent);
    const auto locked = result(R"({"result": "locked", "reason": "locked by \"boss\""})");
    EXPECT_EQ(locked.word, take_word::refused);
    EXPECT_EQ(locked.text, "locked by \"boss\"");
    EXPECT_EQ(result(R"({"result": "unavailable", "reason": "no driver"})").word, take_word::withdrawn);
    for (const char* text : {"{}", "[]", "null", R"({"result": 3})"})
        EXPECT_EQ(result(text).word, take_word::other) << text;
}

} // namespace
