#include "example_router.h"
#include "router_line.h"
#include "written_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class RouterLook : public testing::Test {
protected:
    std::string item(const std::string& content) {
        write_file(directory.file("x.item"), content);
        return directory.file("x.item");
    }

    temporary_directory directory;
    router_look look{example_router(4, 2), {true, true, {}, {}, {}}, {}};
    const std::string usable = "driver=route_x\n";
};

} // namespace

TEST_F(RouterLook, ConnectedBackendIsNoProblem) {
    EXPECT_EQ(backend_state_of(look.report, item(usable)), backend_state::connected);
    EXPECT_THAT(problems_of(look, item(usable)), IsEmpty());
    EXPECT_THAT(problems_of(look, ""), IsEmpty());
}

TEST_F(RouterLook, ItemFileTellsWhetherABackendIsWanted) {
    look.report.connected = false;
    EXPECT_THAT(problems_of(look, item(usable)), ElementsAre("backend restarting"));
    EXPECT_THAT(problems_of(look, item("driver=x\n")),
                ElementsAre("no backend: the item file names no usable driver: \"x\""));
    EXPECT_THAT(problems_of(look, item("")), ElementsAre("no backend: the item file names no driver"));
}

TEST_F(RouterLook, WithoutAnItemFileTheNotesTell) {
    look.report.connected = false;
    EXPECT_THAT(problems_of(look, ""), ElementsAre("no backend"));
    look.report.notes = {"Starting backend driver", "Stopping backend driver"};
    EXPECT_THAT(problems_of(look, ""), ElementsAre("backend restarting"));
}

TEST_F(RouterLook, BrokenItemFileIsNamedWhileItsOldBackendRuns) {
    EXPECT_THAT(problems_of(look, item("")), ElementsAre("the item file names no driver"));
}

TEST_F(RouterLook, NoRouterTellsHowOftenTheBackendBegan) {
    look.router.reset();
    EXPECT_THAT(problems_of(look, ""), ElementsAre("no router"));
    look.report.notes = {"Starting backend driver", "Stopping backend driver", "Starting backend driver"};
    EXPECT_THAT(problems_of(look, ""), ElementsAre("no router, backend started again 1 time"));
    look.report.notes.emplace_back("Starting backend driver");
    EXPECT_THAT(problems_of(look, ""), ElementsAre("no router, backend started again 2 times"));
}

TEST_F(RouterLook, DriverThatDoesNotSayIsNotJudged) {
    look.report = {};
    EXPECT_EQ(backend_state_of(look.report, item("")), backend_state::unknown);
    EXPECT_THAT(problems_of(look, ""), IsEmpty());
}

TEST_F(RouterLook, RollbacksAreCountedAndNamed) {
    EXPECT_EQ(rollbacks_text({}, 60000000), "");
    EXPECT_EQ(rollbacks_text({{5, {9, 9}, {5, 5}}}, 60000000), "1 take rolled back in 60 s: output 5 (9)");
    const std::vector<rollback> many(9, {2, {0, 3}, {1, 1}});
    EXPECT_THAT(
        rollbacks_text(many, 1500000),
        testing::StartsWith("9 takes rolled back in 1.5 s: output 2 (audio none, video 3), output 2"));
    EXPECT_THAT(rollbacks_text(many, 1500000), testing::EndsWith(", ..."));
}

TEST_F(RouterLook, LinesOfRoutersAreATable) {
    std::vector<router_line> lines(3);
    lines[0].name = "gallery";
    lines[0].running = false;
    lines[0].problems = {"not running", "the item file names no driver"};
    lines[1] = {"studio", true, backend_state::connected, example_router(128, 8), {}, "output 5\x1b locked",
                {}};
    lines[2].name = "x";
    EXPECT_EQ(
        router_lines_table(lines, 120, false),
        "Router   Running  Size    Backend    What is wrong                               Last error\n"
        "gallery  no       -       -          not running; the item file names no driver  -\n"
        "studio   yes      128+x8  connected  -                                           output 5? locked\n"
        "x        ?        -       -          -                                           -\n");
    EXPECT_EQ(json_line(json_of_router_line(lines[1])),
              R"({"name":"studio","running":true,"inputs":128,"outputs":8,"backend":"connected",)"
              R"("problems":[],"last error":"output 5\u001b locked","rollbacks":[]})");
    EXPECT_THAT(json_line(json_of_router_line(lines[2])),
                HasSubstr(R"("running":null,"inputs":null,"outputs":null,"backend":null)"));
}
