// Files of name=value lines as backend programs read them, and the metadata file's name.
#include "endpoint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class NameValueFile : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "vrdx_item_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        path = directory + "/item";
    }

    void TearDown() override {
        std::filesystem::remove_all(directory);
    }

    void write(const std::string& text) const {
        std::ofstream(path, std::ios::binary) << text;
    }

    std::map<std::string, std::string> values_of(const std::string& text) const {
        write(text);
        std::map<std::string, std::string> map;
        EXPECT_EQ(read_name_value_file(map, path), 0);
        return map;
    }

    std::string directory;
    std::string path;
};

// The state letter of one of this process's threads ("S": sleeping); a blank when it has ended.
char state_of_thread(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(stat, text);
    const auto name_end = text.rfind(") ");
    return name_end == std::string::npos ? ' ' : text[name_end + 2];
}

} // namespace

TEST_F(NameValueFile, LinesBecomeEntries) {
    EXPECT_THAT(values_of("driver=route_simulator\nstay resident=1\n"),
                ElementsAre(Pair("driver", "route_simulator"), Pair("stay resident", "1")));
}

TEST_F(NameValueFile, EmptyFileHoldsNothing) {
    EXPECT_THAT(values_of(""), IsEmpty());
}

TEST_F(NameValueFile, BlankLinesCommentsAndOtherLinesAreSkipped) {
    EXPECT_THAT(values_of("\n#driver=a\n\nnoise\n #b=1\nc=2\n"),
                ElementsAre(Pair(" #b", "1"), Pair("c", "2")));
}

TEST_F(NameValueFile, OneBlankOnEitherSideOfTheEqualsSignIsDropped) {
    EXPECT_THAT(values_of("a = 1\nb  =  2 \n c=3\nd\t=\t4\ne =\nf= \n"),
                ElementsAre(Pair(" c", "3"), Pair("a", "1"), Pair("b ", " 2 "), Pair("d\t", "\t4"),
                            Pair("e", ""), Pair("f", "")));
}

TEST_F(NameValueFile, NameEndsAtTheFirstEqualsSign) {
    EXPECT_THAT(values_of("a=b=c\n=x\n =y\n"), ElementsAre(Pair("", "x\ny"), Pair("a", "b=c")));
}

TEST_F(NameValueFile, RepeatedNameGathersItsValues) {
    EXPECT_THAT(values_of("a=\nb=1\na=2\na=\n"), ElementsAre(Pair("a", "\n2\n"), Pair("b", "1")));
}

TEST_F(NameValueFile, EntriesThatAreThereAreAddedTo) {
    write("a=2\n");
    std::map<std::string, std::string> map = {{"a", "1"}, {"z", "0"}};
    EXPECT_EQ(read_name_value_file(map, path), 0);
    EXPECT_THAT(map, ElementsAre(Pair("a", "1\n2"), Pair("z", "0")));
}

TEST_F(NameValueFile, LastLineNeedsNoLineFeed) {
    EXPECT_THAT(values_of("a=1\nb=2"), ElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST_F(NameValueFile, CarriageReturnBelongsToTheValue) {
    EXPECT_THAT(values_of("a=1\r\n"), ElementsAre(Pair("a", "1\r")));
}

TEST_F(NameValueFile, LongLineIsReadInPiecesOf4095Bytes) {
    const std::string fits(4095 - 2 - 1, 'x'); // with "a=" and the line feed
    EXPECT_THAT(values_of("a=" + fits + "\nb=1\n"), ElementsAre(Pair("a", fits), Pair("b", "1")));

    const std::string fills_piece(4095 - 2, 'x');
    EXPECT_THAT(values_of("a=" + fills_piece + "\nb=1\n"),
                ElementsAre(Pair("a", fills_piece), Pair("b", "1")));
    EXPECT_THAT(values_of("a=" + fills_piece + "rest\nb=1\n"),
                ElementsAre(Pair("a", fills_piece), Pair("b", "1")));
    EXPECT_THAT(values_of("a=" + fills_piece + "c=2\nb=1\n"),
                ElementsAre(Pair("a", fills_piece), Pair("b", "1"), Pair("c", "2")));
}

TEST_F(NameValueFile, BinaryFileIsReadWithoutHarm) {
    using std::string_literals::operator""s;
    EXPECT_THAT(values_of("a=1\0 2\n\0b=3\n\xff\xfe=\x01\nc=4\n"s),
                ElementsAre(Pair("a", "1"), Pair("c", "4"), Pair("\xff\xfe", "\x01")));
}

TEST_F(NameValueFile, MissingFileIsAFailure) {
    std::map<std::string, std::string> map;
    EXPECT_EQ(read_name_value_file(map, path), -1);
    EXPECT_EQ(read_name_value_file(map, ""), -1);
    EXPECT_THAT(map, IsEmpty());
}

TEST_F(NameValueFile, DirectoryIsAFailure) {
    std::map<std::string, std::string> map;
    EXPECT_EQ(read_name_value_file(map, directory), -1);
    EXPECT_THAT(map, IsEmpty());
}

TEST_F(NameValueFile, LockedFileIsReadOnceItIsReleased) {
    write("state=half written\n");
    const int holder = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_SH), 0); // even a shared lock keeps an exclusive one out

    std::map<std::string, std::string> map;
    std::atomic<pid_t> reader_id = 0;
    std::atomic<int> result = 1;
    std::thread reader([&] {
        reader_id = gettid();
        result = read_name_value_file(map, path);
    });
    while (reader_id == 0 || (result == 1 && state_of_thread(reader_id) != 'S')) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(result, 1) << "read in spite of the lock";
    write("state=whole\n");
    close(holder);
    reader.join();
    EXPECT_EQ(result, 0);
    EXPECT_THAT(map, ElementsAre(Pair("state", "whole")));
}

TEST_F(NameValueFile, LockIsReleasedAfterReading) {
    EXPECT_THAT(values_of("a=1\n"), ElementsAre(Pair("a", "1")));
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
    close(fd);
}

TEST_F(NameValueFile, NoDescriptorIsLeftOpen) {
    const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(before);
    values_of("a=1\n");
    std::map<std::string, std::string> map;
    EXPECT_EQ(read_name_value_file(map, directory), -1);
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(after);
    EXPECT_EQ(after, before);
}

TEST(MetadataSidecar, StandsBesideTheItem) {
    const std::pair<std::string, std::string> cases[] = {
        {"dir/name", "dir/.tavrixmeta.name"},
        {"name", ".tavrixmeta.name"},
        {"/name", "/.tavrixmeta.name"},
        {"/a/b/c.item", "/a/b/.tavrixmeta.c.item"},
        {"./.hidden", "./.tavrixmeta..hidden"},
        {"", ""},
        {"/", ""},
        {"dir/", ""},
    };
    for (const auto& [path, sidecar] : cases) {
        EXPECT_EQ(metadata_sidecar_path(path), sidecar) << path;
    }
}
