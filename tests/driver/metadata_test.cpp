#include "open_item.h"

#include <csignal>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr const char* standard_lines = "media item type=0\n"
                                       "audio streams=0\n"
                                       "video streams=0\n"
                                       "max audio count=0\n"
                                       "time duration=140737488355327\n"
                                       "time scale=1/1\n";

class ItemMetadata : public open_item {
protected:
    // The item with this metadata beside it, read, and free to be written back.
    void open_metadata(const std::string& text) {
        write_file(metadata_path(), text);
        open_with("driver=route_x\n");
        vrdx_metadata = metadata_v4_metadata_open(vrdx_meta);
        ASSERT_NE(vrdx_metadata, nullptr);
        vrdx_metadata_may_update = true;
        vrdx_do_write_metadata = true;
    }
    // The entries left, as "stream:name".
    static std::vector<std::string> entries() {
        std::vector<std::string> left;
        for (std::size_t i = 0; i < metadata_v4_metadata_context_count(vrdx_metadata); ++i)
            if (const auto* entry = metadata_v4_metadata_context_read_entry(vrdx_metadata, i))
                left.push_back(std::to_string(entry->stream) + ":" + entry->name);
        return left;
    }
    std::string written() {
        return read_file(metadata_path());
    }
};

TEST_F(ItemMetadata, DeclaresAnItemWithoutMediaAndWithoutEnd) {
    open_metadata("");
    vrdx_audio_streams = vrdx_video_streams = 2;
    vrdx_time_duration = vrdx_max_audio_count = 2;
    vrdx_media_item_type = 2;
    vrdx_time_scale[0] = vrdx_time_scale[1] = 25;
    publish_item_metadata();
    EXPECT_EQ(vrdx_audio_streams, 0);
    EXPECT_EQ(vrdx_video_streams, 0);
    EXPECT_EQ(vrdx_time_duration, 140737488355327);
    EXPECT_EQ(vrdx_max_audio_count, 0);
    EXPECT_EQ(vrdx_media_item_type, 0);
    EXPECT_EQ(vrdx_time_scale[0], 1);
    EXPECT_EQ(vrdx_time_scale[1], 1);
}

TEST_F(ItemMetadata, IsWrittenBackWhenThatIsAllowed) {
    open_metadata("title=Main router\n");
    publish_item_metadata();
    EXPECT_EQ(written(), std::string("title=Main router\n") + standard_lines);
    EXPECT_EQ(trace(), "* Writing metadata back\n");
}

TEST_F(ItemMetadata, StaleEntriesAreRemovedAndThoseOfStreamsStay) {
    open_metadata("duration=100\n0:video=h264\ntitle=x\naudio=pcm\nvideo=h264\n1:audio=pcm\n0:duration=5\n");
    publish_item_metadata();
    EXPECT_EQ(written(), std::string("0:video=h264\ntitle=x\n1:audio=pcm\n0:duration=5\n") + standard_lines);
}

TEST_F(ItemMetadata, StaleEntriesInARowAreAllRemoved) {
    open_metadata("duration=100\naudio=pcm\nvideo=h264\ntitle=x\n");
    publish_item_metadata();
    EXPECT_EQ(written(), std::string("title=x\n") + standard_lines);
}

TEST_F(ItemMetadata, RepeatedStaleEntriesAreAllRemoved) {
    open_metadata("video=a\nvideo=b\nvideo=c\nvideo=d\n");
    publish_item_metadata();
    EXPECT_EQ(written(), standard_lines);
}

TEST_F(ItemMetadata, NamesLikeTheStaleOnesStay) {
    const std::string kept = "Duration=1\naudio =1\nvideos=1\ntime duration 2=1\n";
    open_metadata(kept);
    publish_item_metadata();
    EXPECT_EQ(written(), kept + standard_lines);
}

TEST_F(ItemMetadata, LinesOfAnotherFormStayInTheirPlace) {
    open_metadata("# by hand\n\nduration=1\nno pair\ntitle=x\n");
    publish_item_metadata();
    EXPECT_EQ(written(), std::string("# by hand\n\nno pair\ntitle=x\n") + standard_lines);
}

TEST_F(ItemMetadata, StandardEntriesTakeThePlaceOfEarlierOnes) {
    open_metadata("time scale=25/1\ntitle=x\naudio streams=2\n");
    publish_item_metadata();
    EXPECT_EQ(written(), "time scale=1/1\ntitle=x\naudio streams=0\nmedia item type=0\nvideo streams=0\n"
                         "max audio count=0\ntime duration=140737488355327\n");
}

TEST_F(ItemMetadata, MissingFileIsMade) {
    open_metadata("");
    std::filesystem::remove(metadata_path());
    publish_item_metadata();
    EXPECT_EQ(written(), standard_lines);
}

struct forbidden_row {
    const char* name;
    bool may_update;
    bool do_write;
};

void PrintTo(const forbidden_row& row, std::ostream* stream) {
    *stream << row.name;
}

class UnwrittenMetadata : public ItemMetadata, public testing::WithParamInterface<forbidden_row> {};

TEST_P(UnwrittenMetadata, IsClosedAndLeftUntouched) {
    const std::string text = "duration=100\naudio=pcm\nvideo=h264\n0:video=h264\n";
    open_metadata(text);
    vrdx_metadata_may_update = GetParam().may_update;
    vrdx_do_write_metadata = GetParam().do_write;
    struct stat before {};
    struct stat after {};
    stat(metadata_path().c_str(), &before);
    publish_item_metadata();
    stat(metadata_path().c_str(), &after);
    EXPECT_EQ(written(), text);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(entries(), std::vector<std::string>{"0:video"}) << "it is out of the driver's sight";
    EXPECT_EQ(vrdx_metadata->file_fd, -1);
    EXPECT_EQ(vrdx_time_duration, 140737488355327);
}

INSTANTIATE_TEST_SUITE_P(ItemMetadata, UnwrittenMetadata,
                         testing::Values(forbidden_row{"NotWanted", true, false},
                                         forbidden_row{"NotAllowed", false, true},
                                         forbidden_row{"Neither", false, false}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(ItemMetadata, IsClosedAfterItWasWritten) {
    open_metadata("title=x\n");
    ASSERT_GE(vrdx_metadata->file_fd, 0);
    publish_item_metadata();
    EXPECT_EQ(vrdx_metadata->file_fd, -1);
}

// --- what cannot be written --------------------------------------------------------------------------------

TEST_F(ItemMetadata, DirectoryThatIsGoneIsAProblemAndSurvived) {
    open_metadata("title=x\n");
    vrdx_meta->metadata_path = directory_.file("nowhere/.tavrixmeta.router");
    publish_item_metadata();
    EXPECT_EQ(trace(), "* Writing metadata back\nProblem writing metadata\n");
    EXPECT_EQ(vrdx_metadata->file_fd, -1);
}

TEST_F(ItemMetadata, ReadOnlyDirectoryIsAProblemAndSurvived) {
    open_metadata("title=x\n");
    ASSERT_EQ(chmod(directory_.path().c_str(), 0555), 0);
    // In a process of its own, because root may write anywhere and must become somebody else.
    EXPECT_EXIT(
        {
            constexpr uid_t nobody = 65534;
            if (geteuid() == 0 && setuid(nobody) != 0)
                _exit(2);
            publish_item_metadata();
            _exit(vrdx_metadata->file_fd == -1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^\\* Writing metadata back\nProblem writing metadata\n$");
    chmod(directory_.path().c_str(), 0700);
    EXPECT_EQ(written(), "title=x\n");
}

TEST_F(ItemMetadata, FullDiskIsAProblemAndTheOldFileStays) {
    const std::string text = "title=" + std::string(100000, 'x') + "\n";
    open_metadata(text);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{.rlim_cur = 50000, .rlim_max = before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    publish_item_metadata();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(trace(), "* Writing metadata back\nProblem writing metadata\n");
    EXPECT_EQ(written(), text);
    for (const auto& file : std::filesystem::directory_iterator(directory_.path()))
        EXPECT_TRUE(file.path() == path() || file.path() == metadata_path()) << file.path();
}

} // namespace
