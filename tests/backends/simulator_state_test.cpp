// What the simulator keeps across restarts.
#include "state_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdlib.h>
#include <sys/stat.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

simulated_router used_router(bool split_levels) {
    simulated_router router = new_router(4, 3, split_levels);
    router.input_names[1] = "Camera\n2\n";
    router.outputs[0].name = "";
    router.outputs[1] = {3, 3, " Tx = main "};
    router.outputs[2] = {-1, split_levels ? 2 : -1, "Monitor"};
    return router;
}

std::string text_of(const simulated_router& router) {
    return state_text(router);
}

class SimulatorStateFile : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "vrdx_state_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        path = directory + "/state";
    }

    void TearDown() override {
        std::filesystem::remove_all(directory);
    }

    std::string directory;
    std::string path;
    log_lines log;
};

} // namespace

TEST(SimulatorState, ComesBackAsItWas) {
    for (const bool split_levels : {false, true}) {
        const simulated_router kept = used_router(split_levels);
        simulated_router restarted = new_router(4, 3, split_levels);
        ASSERT_TRUE(restore_state(state_text(kept), restarted));
        EXPECT_EQ(text_of(restarted), text_of(kept));
        EXPECT_EQ(restarted.input_names[1], "Camera\n2\n");
        EXPECT_EQ(restarted.outputs[1].name, " Tx = main ");
    }
}

TEST(SimulatorState, SmallerRouterTakesWhatItCan) {
    simulated_router smaller = new_router(3, 2, false);
    ASSERT_TRUE(restore_state(state_text(used_router(false)), smaller));
    EXPECT_THAT(smaller.input_names, ElementsAre("Input 1", "Camera\n2\n", "Input 3"));
    EXPECT_EQ(smaller.outputs.size(), 2U);
    EXPECT_EQ(smaller.outputs[0].video_input, 0);
    EXPECT_EQ(smaller.outputs[1].video_input, -1); // its input 4 is gone
}

TEST(SimulatorState, LargerRouterKeepsItsNewOutputsFresh) {
    simulated_router larger = new_router(5, 4, false);
    ASSERT_TRUE(restore_state(state_text(used_router(false)), larger));
    EXPECT_EQ(larger.outputs[3].name, "Output 4");
    EXPECT_EQ(larger.outputs[3].video_input, 3);
    EXPECT_EQ(larger.input_names[4], "Input 5");
}

TEST(SimulatorState, RouterThatLostItsLevelsFollowsTheVideo) {
    simulated_router router = new_router(4, 3, false);
    ASSERT_TRUE(restore_state(state_text(used_router(true)), router));
    EXPECT_EQ(router.outputs[2].video_input, -1);
    EXPECT_EQ(router.outputs[2].audio_input, -1);
}

TEST(SimulatorState, ForeignTextLeavesTheRouterUntouched) {
    const std::string head = "*COMMAND=simulated router\n*TYPE=state\n";
    const std::string good = state_text(used_router(false));
    const std::string cases[] = {
        "",
        "\n",
        "hello\n\n",
        "*COMMAND=info\n*TYPE=message\ninputs=2\n\n",
        head,
        good.substr(0, good.size() - 1),
        good.substr(0, good.size() / 2),
        good + "more\n",
        head + "i0.title=x\n\n",
        head + "i.name=x\n\n",
        head + "i-1.name=x\n\n",
        head + "o0.input.all=1\n\n",
        head + "o0.input.video=x\n\n",
        head + "o0.input.video=-1\n\n",
        head + "x0.name=x\n\n",
        head + ".name=x\n\n",
        head + "o0.name=New name\no1.input.audio=\n\n",
    };
    for (const std::string& text : cases) {
        simulated_router router = new_router(4, 3, false);
        EXPECT_FALSE(restore_state(text, router)) << text;
        EXPECT_EQ(text_of(router), text_of(new_router(4, 3, false))) << text;
    }
}

TEST_F(SimulatorStateFile, IsSavedAndLoaded) {
    save_state_file(path, used_router(true), log);
    simulated_router router = new_router(4, 3, true);
    load_state_file(path, router, log);
    EXPECT_EQ(text_of(router), text_of(used_router(true)));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SimulatorStateFile, IsReplacedAsAWholeAndLeavesNothingElse) {
    save_state_file(path, used_router(true), log);
    std::filesystem::create_hard_link(path, directory + "/old");
    save_state_file(path, new_router(1, 1, false), log);
    std::ostringstream old_text;
    old_text << std::ifstream(directory + "/old").rdbuf();
    EXPECT_EQ(old_text.str(), text_of(used_router(true))); // never written in place
    std::filesystem::remove(directory + "/old");
    const auto left = std::filesystem::directory_iterator(directory);
    EXPECT_EQ(std::distance(begin(left), end(left)), 1);
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SimulatorStateFile, MissingOneIsAFirstStart) {
    simulated_router router = new_router(4, 3, false);
    load_state_file(path, router, log);
    EXPECT_EQ(text_of(router), text_of(new_router(4, 3, false)));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SimulatorStateFile, ForeignOneIsAWarning) {
    std::ofstream(path) << "driver=route_simulator\n";
    simulated_router router = new_router(4, 3, false);
    load_state_file(path, router, log);
    EXPECT_THAT(log, ElementsAre(StartsWith("<WARN>state file " + path)));
    EXPECT_EQ(text_of(router), text_of(new_router(4, 3, false)));
}

TEST_F(SimulatorStateFile, DirectoryOrNamedPipeInItsPlaceIsAWarning) {
    simulated_router router = new_router(4, 3, false);
    load_state_file(directory, router, log);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    load_state_file(path, router, log);
    EXPECT_THAT(log, ElementsAre(StartsWith("<WARN>"), StartsWith("<WARN>")));
}

TEST_F(SimulatorStateFile, FailureToSaveIsAnErrorAndKeepsTheOldOne) {
    save_state_file(directory + "/none/state", used_router(false), log);
    EXPECT_THAT(log, ElementsAre(StartsWith("<ERR>cannot save state file")));
    log.clear();
    std::filesystem::create_directory(path); // cannot be renamed over
    save_state_file(path, used_router(false), log);
    EXPECT_THAT(log, ElementsAre(StartsWith("<ERR>cannot save state file")));
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}
