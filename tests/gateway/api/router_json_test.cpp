#include "gateway/api/router_json.h"

#include "a_router.h"

namespace gateway {
namespace {

TEST(RouterJson, SourcesStandPerLevel) {
    const auto sources = audio_video(4, 3);
    EXPECT_EQ(json_text(sources_json(true, sources)), R"({"video":3,"audio":4})");
    EXPECT_EQ(json_text(sources_json(true, audio_video(vrdx::source_unknown, vrdx::source_none))),
              R"({"video":0,"audio":null})");
    EXPECT_EQ(json_text(sources_json(false, audio_video(3, 3))), R"({"all":3})");
    EXPECT_EQ(json_text(sources_json(false, audio_video(3, vrdx::source_unknown))), R"({"all":3})");
}

TEST(RouterJson, OutputHasAllThatIsKnownOfIt) {
    shown_router router = a_router();
    vrdx::picture_output& output = router.picture.outputs[1];
    output.waits_ms = 250;
    output.taken = {1000, 4711, "desk 3"};
    output.properties = {{"lock", "owned"}};
    const output_lock lock{lock_state::protect, 5, "desk", "on air", 0};
    EXPECT_EQ(
        json_text(output_json(router, 2, &lock)),
        R"({"number":2,"name":"Output 2","sources":{"video":1,"audio":1},"previous":null,"pending":true,)"
        R"("confirmed":null,"taken_by":{"user":1000,"user_name":null,"process":4711,"by":"desk 3"},)"
        R"("lock":{"state":"protect","owner":"desk","reason":"on air","since":"1970-01-01T00:00:00Z"},)"
        R"("properties":{"lock":"owned"}})");
    EXPECT_EQ(
        json_text(output_json(router, 1, nullptr)),
        R"({"number":1,"name":"Output 1","sources":{"video":1,"audio":1},"previous":null,"pending":false,)"
        R"("taken_by":null,"lock":null,"properties":{}})");
}

TEST(RouterJson, WhileATakeWaitsTheConfirmedSourcesStandBesideIt) {
    shown_router router = a_router();
    vrdx::picture_output& output = router.picture.outputs[0];
    router.earlier.note_anew(router.picture);
    output.sources = audio_video(4, 3);
    output.waits_ms = 250;
    router.earlier.note(router.picture, 1);
    const json waits = output_json(router, 1, nullptr);
    EXPECT_EQ(json_text(waits["sources"]), R"({"video":3,"audio":4})");
    EXPECT_EQ(json_text(waits["confirmed"]), R"({"video":1,"audio":1})");
    output.waits_ms.reset();
    router.earlier.note(router.picture, 1);
    EXPECT_FALSE(output_json(router, 1, nullptr).contains("confirmed"));
}

TEST(RouterJson, ARowTellsSinceWhen) {
    shown_router router = a_router();
    router.since_ms = 1709208000250;
    EXPECT_EQ(router_row_json(router)["since"], "2024-02-29T12:00:00.250Z");
    EXPECT_EQ(picture_json(router, nullptr)["since"], "2024-02-29T12:00:00.250Z");
}

TEST(RouterJson, NamesThatAreNoTextAreStillJson) {
    shown_router router = a_router();
    router.picture.inputs[0].name = "\xff\x01\"\n";
    EXPECT_EQ(json_text(input_json(router.picture, 1)),
              "{\"number\":1,\"name\":\"\xef\xbf\xbd\\u0001\\\"\\n\",\"properties\":{}}");
}

TEST(RouterJson, PictureHasItsLocks) {
    const shown_router router = a_router(1, 2);
    const router_locks locks{{2, {lock_state::lock, 1, "boss", "", 0}}, {9, {}}};
    const json picture = picture_json(router, &locks);
    EXPECT_EQ(picture["outputs"][0]["lock"], json());
    EXPECT_EQ(picture["outputs"][1]["lock"]["owner"], "boss");
    EXPECT_EQ(picture["outputs"].size(), 2U);
    EXPECT_EQ(picture["type"], "picture");
    EXPECT_EQ(picture["levels"], json::array({"video", "audio"}));
}

TEST(RouterJson, ResultsHaveTheDriversWords) {
    vrdx::take_result result = vrdx::take_result_in("shows 2,5");
    EXPECT_EQ(json_text(result_json(answer_of(1, result), true)),
              R"({"output":1,"result":"shows","sources":{"video":5,"audio":2}})");
    result = vrdx::take_result_in("refused by the router: no");
    EXPECT_EQ(json_text(result_json(answer_of(1, result), true)),
              R"({"output":1,"result":"refused","reason":"by the router: no"})");
    EXPECT_EQ(json_text(result_json(answer_of(1, vrdx::take_result_in("confirmed")), true)),
              R"({"output":1,"result":"confirmed"})");
    EXPECT_EQ(result_json(answer_of(1, vrdx::take_result_in("replaced unsent 1 2")), true)["result"],
              "replaced unsent");
    EXPECT_EQ(result_json(answer_of(1, vrdx::take_result_in("postponed")), true)["result"], "other");
}

} // namespace
} // namespace gateway
