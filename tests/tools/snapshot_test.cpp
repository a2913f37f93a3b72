#include "example_router.h"
#include "snapshot.h"
#include "snapshot_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

std::string refusal(const std::string& text) {
    std::string error;
    EXPECT_FALSE(parse_snapshot(text, &error)) << text;
    EXPECT_FALSE(error.empty());
    return error;
}

json good_snapshot() {
    return json::parse(snapshot_text(snapshot_of(example_router(4, 3, {1, 2}))));
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
    router_status router = example_router(16, 8);
    router.outputs[2].source = {0, 5};
    std::string error;
    const auto one = parse_snapshot(snapshot_text(snapshot_of(router)), &error);
    ASSERT_TRUE(one) << error;
    EXPECT_EQ(one->inputs, 16);
    EXPECT_EQ(one->outputs, 8);
    ASSERT_EQ(one->takes.size(), 8U);
    EXPECT_TRUE(std::all_of(one->takes.begin(), one->takes.end(), [&](const take& each) {
        return each.source == router.outputs[static_cast<std::size_t>(each.output) - 1].source;
    }));
}

TEST(Snapshot, TruncatedAnywhereIsRefused) {
    const std::string text = snapshot_text(snapshot_of(example_router(4, 3)));
    for (std::size_t length = 0; length < text.find_last_of('}'); ++length)
        refusal(text.substr(0, length));
}

TEST(Snapshot, ForeignFilesAreRefused) {
    for (const char* text : {"", "no json", "[]", "{}", "null", "7", "\"vrdx crosspoints\"", "{\"format\":7}",
                             "{\"format\":\"other\",\"version\":1}", "\xff\xfe"})
        refusal(text);
    EXPECT_EQ(refusal("{}"), "it is no snapshot of crosspoints");
    EXPECT_EQ(refusal(std::string(100000, '[')), "it is no snapshot, or cut short");
}

TEST(Snapshot, OtherVersionIsRefused) {
    json changed = good_snapshot();
    changed["version"] = 2;
    EXPECT_EQ(refusal(changed.dump()), "its version is not 1");
}

TEST(Snapshot, MissingOrImpossiblePartsAreRefused) {
    for (const char* key : {"format", "version", "inputs", "outputs", "crosspoints"}) {
        json changed = good_snapshot();
        changed.erase(key);
        refusal(changed.dump());
        changed[key] = "text";
        refusal(changed.dump());
        changed[key] = -1;
        refusal(changed.dump());
        changed[key] = 18446744073709551615U;
        refusal(changed.dump());
    }
    for (const char* key : {"output", "audio", "video"}) {
        json changed = good_snapshot();
        changed["crosspoints"][1][key] = 5; // the router has 4 inputs and 3 outputs
        refusal(changed.dump());
        changed["crosspoints"][1][key] = -1;
        refusal(changed.dump());
        changed["crosspoints"][1][key] = 1.5;
        refusal(changed.dump());
        changed["crosspoints"][1].erase(key);
        refusal(changed.dump());
    }
    json changed = good_snapshot();
    changed["crosspoints"][1] = 7;
    refusal(changed.dump());
}

TEST(Snapshot, NeedsEachOutputOnce) {
    json missing = good_snapshot();
    missing["crosspoints"].erase(1);
    EXPECT_EQ(refusal(missing.dump()), "it is not complete: it has 2 crosspoints for 3 outputs");
    json twice = good_snapshot();
    twice["crosspoints"][1]["output"] = 1;
    EXPECT_EQ(refusal(twice.dump()), "output 1 stands in it twice");
}

TEST(Snapshot, SourceBeyondTheShownInputsOfALargeRouterIsKept) {
    std::string error;
    EXPECT_TRUE(parse_snapshot(snapshot_text(snapshot_of(example_router(128, 2, {140, 140}))), &error))
        << error;
}

TEST(Snapshot, FitsARouterOfTheSameSizeOrLarger) {
    const snapshot one = snapshot_of(example_router(16, 8));
    EXPECT_EQ(misfit(one, example_router(16, 8)), "");
    EXPECT_EQ(misfit(one, example_router(17, 9)), "");
    EXPECT_EQ(misfit(one, example_router(15, 8)),
              "the snapshot is from a larger router: 16x8, this one has 15 inputs and 8 outputs");
    EXPECT_NE(misfit(one, example_router(16, 7)), "");
}

TEST_F(SnapshotFile, IsReplacedWholeAndLeavesNothingElse) {
    ASSERT_EQ(replace_file(path, "old"), 0);
    ASSERT_EQ(replace_file(path, "new\n"), 0);
    std::string text;
    ASSERT_EQ(read_whole_file(path, &text), 0);
    EXPECT_EQ(text, "new\n");
    EXPECT_EQ(file_count(), 1);
}

TEST_F(SnapshotFile, ThatCannotBeWrittenIsTold) {
    EXPECT_EQ(replace_file(directory + "/missing/evening.json", "x"), -1);
    EXPECT_EQ(errno, ENOENT);
    fs::create_directory(path);
    EXPECT_EQ(replace_file(path, "x"), -1); // a directory stands there
    EXPECT_EQ(file_count(), 1);
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
