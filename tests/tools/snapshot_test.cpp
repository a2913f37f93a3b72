#include "example_router.h"
#include "snapshot.h"
#include "snapshot_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

std::string snapshot_refusal(const std::string& text) {
    std::string error;
    EXPECT_FALSE(parse_snapshot(text, &error)) << text;
    EXPECT_FALSE(error.empty());
    return error;
}

snapshot saved(const vrdx::router_picture& picture) {
    std::vector<int> left_out;
    snapshot one = snapshot_of(picture, false, &left_out);
    EXPECT_TRUE(left_out.empty());
    return one;
}

json good_snapshot() {
    return json::parse(snapshot_text(saved(example_router(4, 3, {1, 2}))));
}

class SnapshotFile : public testing::Test {
protected:
    std::string directory = (fs::temp_directory_path() / "vrdx_test.XXXXXX").string();
    std::string path;

    void SetUp() override {
        ASSERT_NE(mkdtemp(directory.data()), nullptr);
        path = directory + "/evening.json";
    }
    void TearDown() override {
        fs::remove_all(directory);
    }
    std::ptrdiff_t file_count() const {
        return std::distance(fs::directory_iterator(directory), {});
    }
};

} // namespace

TEST(Snapshot, KeepsEveryCrosspoint) {
    vrdx::router_picture router = example_router(16, 8);
    router.outputs[2].sources = {0, 5};
    std::string error;
    const auto one = parse_snapshot(snapshot_text(saved(router)), &error);
    ASSERT_TRUE(one) << error;
    EXPECT_EQ(one->inputs, 16);
    EXPECT_EQ(one->outputs, 8);
    ASSERT_EQ(one->takes.size(), 8U);
    EXPECT_TRUE(std::all_of(one->takes.begin(), one->takes.end(), [&](const auto& each) {
        return each.sources == router.outputs[static_cast<std::size_t>(each.output) - 1].sources;
    }));
}

TEST(Snapshot, TruncatedAnywhereIsRefused) {
    const std::string text = snapshot_text(saved(example_router(4, 3)));
    for (std::size_t length = 0; length < text.find_last_of('}'); ++length)
        snapshot_refusal(text.substr(0, length));
}

TEST(Snapshot, ForeignFilesAreRefused) {
    for (const char* text : {"", "no json", "[]", "{}", "null", "7", "\"vrdx crosspoints\"", "{\"format\":7}",
                             "{\"format\":\"other\",\"version\":1}", "\xff\xfe"})
        snapshot_refusal(text);
    EXPECT_EQ(snapshot_refusal("{}"), "it is no snapshot of crosspoints");
    EXPECT_EQ(snapshot_refusal(std::string(100000, '[')), "it is no snapshot, or cut short");
}

TEST(Snapshot, OtherVersionIsRefused) {
    json changed = good_snapshot();
    changed["version"] = 2;
    EXPECT_EQ(snapshot_refusal(changed.dump()), "its version is not 1");
}

TEST(Snapshot, MissingOrImpossiblePartsAreRefused) {
    for (const char* key : {"format", "version", "inputs", "outputs", "crosspoints"}) {
        json changed = good_snapshot();
        changed.erase(key);
        snapshot_refusal(changed.dump());
        changed[key] = "text";
        snapshot_refusal(changed.dump());
        changed[key] = -1;
        snapshot_refusal(changed.dump());
        changed[key] = 18446744073709551615U;
        snapshot_refusal(changed.dump());
    }
    for (const char* key : {"output", "audio", "video"}) {
        json changed = good_snapshot();
        changed["crosspoints"][1][key] = 5; // the router has 4 inputs and 3 outputs
        snapshot_refusal(changed.dump());
        changed["crosspoints"][1][key] = -1;
        snapshot_refusal(changed.dump());
        changed["crosspoints"][1][key] = 1.5;
        snapshot_refusal(changed.dump());
        changed["crosspoints"][1].erase(key);
        snapshot_refusal(changed.dump());
    }
    json changed = good_snapshot();
    changed["crosspoints"][1] = 7;
    snapshot_refusal(changed.dump());
}

TEST(Snapshot, HoldsEachOutputOnceAtTheMost) {
    json missing = good_snapshot();
    missing["crosspoints"].erase(1);
    std::string error;
    EXPECT_EQ(parse_snapshot(missing.dump(), &error)->takes.size(), 2U);
    json twice = good_snapshot();
    twice["crosspoints"][1]["output"] = 1;
    EXPECT_EQ(snapshot_refusal(twice.dump()), "output 1 stands in it twice");
    missing["crosspoints"] = json::array();
    EXPECT_EQ(snapshot_refusal(missing.dump()), "it holds no crosspoints");
}

TEST(Snapshot, LeavesOutWhatIsNotConfirmed) {
    vrdx::router_picture router = example_router(4, 4);
    router.outputs[1].waits_ms = 500;
    router.outputs[2].waits_ms = 0;
    router.outputs[3].sources.audio = vrdx::source_unknown;
    std::vector<int> left_out;
    const snapshot one = snapshot_of(router, false, &left_out);
    EXPECT_EQ(left_out, (std::vector<int>{2, 3, 4}));
    ASSERT_EQ(one.takes.size(), 1U);
    EXPECT_EQ(one.takes[0].output, 1);
}

TEST(Snapshot, KeepsNamesWhenAskedTo) {
    std::vector<int> left_out;
    vrdx::router_picture router = example_router(2, 1);
    router.inputs[1].name = "Süd \"2\"";
    std::string error;
    const auto one = parse_snapshot(snapshot_text(snapshot_of(router, true, &left_out)), &error);
    ASSERT_TRUE(one) << error;
    EXPECT_EQ(one->input_names, (std::vector<std::string>{"Camera 1", "Süd \"2\""}));
    EXPECT_EQ(one->output_names, (std::vector<std::string>{"Monitor 1"}));
    EXPECT_TRUE(saved(router).input_names.empty());
}

TEST(Snapshot, NamesOfAnotherCountAreRefused) {
    json changed = good_snapshot();
    changed["input names"] = {"a", "b", "c"};
    EXPECT_EQ(snapshot_refusal(changed.dump()), "its names are not those of its router");
    changed["input names"] = {"a", "b", "c", 4};
    EXPECT_EQ(snapshot_refusal(changed.dump()), "its names are not those of its router");
}

// Files of before may say 128 inputs of a router that had more.
TEST(Snapshot, OldFileOfALargeRouterFitsOnlyWhereItsSourcesAre) {
    json old = good_snapshot();
    old["inputs"] = 128;
    old["crosspoints"][0]["audio"] = 140;
    std::string error;
    const auto one = parse_snapshot(old.dump(), &error);
    ASSERT_TRUE(one) << error;
    EXPECT_NE(misfit(*one, example_router(139, 3)), "");
    EXPECT_EQ(misfit(*one, example_router(140, 3)), "");
}

TEST(Snapshot, FitsARouterOfTheSameSizeOrLarger) {
    const snapshot one = saved(example_router(16, 8));
    EXPECT_EQ(misfit(one, example_router(16, 8)), "");
    EXPECT_EQ(misfit(one, example_router(17, 9)), "");
    EXPECT_EQ(misfit(one, example_router(15, 8)),
              "the snapshot is from a larger router: 16x8, this one has 15 inputs and 8 outputs");
    EXPECT_NE(misfit(one, example_router(16, 7)), "");
}

TEST_F(SnapshotFile, IsReplacedWholeAndLeavesNothingElse) {
    ASSERT_EQ(replace_file(path, "old"), "");
    ASSERT_EQ(replace_file(path, "new\n"), "");
    std::string text;
    ASSERT_EQ(read_whole_file(path, &text), 0);
    EXPECT_EQ(text, "new\n");
    EXPECT_EQ(file_count(), 1);
}

TEST_F(SnapshotFile, KeepsItsMode) {
    ASSERT_EQ(replace_file(path, "old"), "");
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    ASSERT_EQ(replace_file(path, "new"), "");
    EXPECT_EQ(fs::status(path).permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}

TEST_F(SnapshotFile, BehindALinkIsReplacedAndTheLinkStays) {
    ASSERT_EQ(replace_file(directory + "/real", "old"), "");
    fs::create_symlink("real", path);
    ASSERT_EQ(replace_file(path, "new"), "");
    EXPECT_TRUE(fs::is_symlink(path));
    std::string text;
    ASSERT_EQ(read_whole_file(directory + "/real", &text), 0);
    EXPECT_EQ(text, "new");
}

TEST_F(SnapshotFile, IsNeverADeviceAPipeOrADirectory) {
    EXPECT_EQ(replace_file("/dev/full", "x"), "it is a device");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_EQ(replace_file(directory, "x"), "it is a directory");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(replace_file(path, "x"), "it is a pipe");
    EXPECT_TRUE(fs::is_fifo(path));
    fs::create_symlink("nowhere", directory + "/link");
    EXPECT_EQ(replace_file(directory + "/link", "x"), "it is a link to nothing");
}

TEST_F(SnapshotFile, ThatCannotBeWrittenIsTold) {
    EXPECT_EQ(replace_file(directory + "/missing/evening.json", "x"), "No such file or directory");
    EXPECT_EQ(file_count(), 0);
}

TEST_F(SnapshotFile, ThatCannotBeReadIsTold) {
    std::string text;
    EXPECT_EQ(read_whole_file(path, &text), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(read_whole_file(directory, &text), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(read_whole_file("/dev/zero", &text), -1);
    EXPECT_EQ(errno, EFBIG);
}
