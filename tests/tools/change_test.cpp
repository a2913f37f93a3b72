#include "change.h"
#include "example_router.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> lines_between(const watched_state& before, const watched_state& after) {
    std::vector<std::string> lines;
    for (const change& one : changes_between(before, after))
        lines.push_back(one.line);
    return lines;
}

} // namespace

TEST(Change, NothingIsToldWhileNothingChanges) {
    const watched_state state{example_router(4, 4), true};
    EXPECT_THAT(lines_between(state, state), IsEmpty());
    EXPECT_THAT(lines_between({}, {}), IsEmpty());
}

TEST(Change, NamesAndSourcesAreToldOneByOne) {
    const watched_state before{example_router(4, 4), true};
    watched_state after = before;
    after.router->inputs[1] = "Studio\n";
    after.router->outputs[2] = {"Wall", {2, 3}};
    EXPECT_THAT(lines_between(before, after), ElementsAre(R"(input 2 name "Camera 2" -> "Studio\n")",
                                                          R"(output 3 name "Monitor 3" -> "Wall")",
                                                          "output 3 source 1 -> audio 2, video 3"));
}

TEST(Change, IsTheSameForPrograms) {
    const watched_state before{example_router(1, 1), true};
    watched_state after = before;
    after.router->inputs[0] = "\xff";
    after.router->outputs[0].source = {0, 1};
    const auto changes = changes_between(before, after);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(json_line(changes[0].object),
              "{\"change\":\"input name\",\"input\":1,\"before\":\"Camera 1\",\"after\":\"\ufffd\"}");
    EXPECT_EQ(json_line(changes[1].object), R"({"change":"source","output":1,"before":{"audio":1,"video":1},)"
                                            R"("after":{"audio":0,"video":1}})");
}

TEST(Change, BackendThatComesOrGoesIsTold) {
    EXPECT_THAT(lines_between({std::nullopt, false}, {std::nullopt, true}), ElementsAre("backend connected"));
    EXPECT_THAT(lines_between({std::nullopt, true}, {std::nullopt, false}),
                ElementsAre("backend not connected"));
}

TEST(Change, RouterThatAppearsIsToldWithWhatItShows) {
    watched_state after{example_router(1, 2, {0, 0}), false};
    after.router->outputs[1] = {"", {1, 1}};
    EXPECT_THAT(lines_between({}, after),
                ElementsAre("size no router -> 1x2", R"(input 1 name "" -> "Camera 1")",
                            R"(output 1 name "" -> "Monitor 1")", "output 2 source none -> 1"));
}

TEST(Change, RouterThatGoesIsToldByItsSizeAlone) {
    EXPECT_THAT(lines_between({example_router(4, 2), false}, {}), ElementsAre("size 4x2 -> no router"));
    EXPECT_THAT(lines_between({example_router(4, 2), false}, {example_router(3, 1), false}),
                ElementsAre("size 4x2 -> 3x1"));
}
