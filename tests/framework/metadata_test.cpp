#include "metadata_fixture.h"

#include <cerrno>
#include <sys/stat.h>

namespace {

// --- reading -----------------------------------------------------------------------------------------------

TEST_F(Metadata, TellsStreamsFromTheItem) {
    const auto metadata = open_metadata("duration=5\n0:video=sdi\n2147483647:audio=a=b\n");
    ASSERT_EQ(metadata_v4_metadata_context_count(metadata.get()), 3U);
    expect_entry(metadata, 0, -1, "duration", "5");
    expect_entry(metadata, 1, 0, "video", "sdi");
    expect_entry(metadata, 2, 2147483647, "audio", "a=b");
    EXPECT_EQ(entry_at(metadata, 3), nullptr);
}

TEST_F(Metadata, TakesOnlyAPlainNumberInRangeForAStream) {
    const auto metadata = open_metadata("2147483648:a=1\n-1:b=2\n-0:c=3\n:d=4\n+1:e=5\n"
                                        "1x:f=6\n3:=7\ng=8:9\n12=10\n1 :h=11\n");
    expect_entry(metadata, 0, -1, "2147483648:a", "1");
    expect_entry(metadata, 1, -1, "-1:b", "2");
    expect_entry(metadata, 2, -1, "-0:c", "3");
    expect_entry(metadata, 3, -1, ":d", "4");
    expect_entry(metadata, 4, -1, "+1:e", "5");
    expect_entry(metadata, 5, -1, "1x:f", "6");
    expect_entry(metadata, 6, -1, "3:", "7");
    expect_entry(metadata, 7, -1, "g", "8:9");
    expect_entry(metadata, 8, -1, "12", "10");
    expect_entry(metadata, 9, -1, "1 :h", "11");
}

TEST_F(Metadata, ToleratesForeignLineEnds) {
    const auto metadata = open_metadata("duration=5\r\n1:video=\r\nlast=x");
    expect_entry(metadata, 0, -1, "duration", "5");
    expect_entry(metadata, 1, 1, "video", "");
    expect_entry(metadata, 2, -1, "last", "x");
}

TEST_F(Metadata, HasNoEntryInTheSlotOfAnUnknownLine) {
    const auto metadata = open_metadata("# by hand\n=x\n\nname=value\n");
    ASSERT_EQ(metadata_v4_metadata_context_count(metadata.get()), 4U);
    EXPECT_EQ(entry_at(metadata, 0), nullptr);
    EXPECT_EQ(entry_at(metadata, 1), nullptr);
    EXPECT_EQ(entry_at(metadata, 2), nullptr);
    expect_entry(metadata, 3, -1, "name", "value");
}

TEST_F(Metadata, IsEmptyWithoutAFile) {
    const auto metadata = open_metadata();
    ASSERT_NE(metadata, nullptr);
    EXPECT_EQ(metadata_v4_metadata_context_count(metadata.get()), 0U);
    EXPECT_EQ(metadata->file_fd, -1);
}

TEST_F(Metadata, KeepsItsEntriesWhenItsFileIsClosed) {
    const auto metadata = open_metadata("a=1\n");
    EXPECT_GE(metadata->file_fd, 0);
    metadata_v4_metadata_close_file(metadata.get());
    EXPECT_EQ(metadata->file_fd, -1);
    metadata_v4_metadata_close_file(metadata.get());
    expect_entry(metadata, 0, -1, "a", "1");
}

TEST_F(Metadata, IsNotReadFromADirectory) {
    std::filesystem::create_directory(path());
    EXPECT_EQ(open_metadata(), nullptr);
    EXPECT_EQ(errno, EISDIR);
}

TEST_F(Metadata, IsNotReadFromAFifoNorWaitsForItsWriter) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(open_metadata(), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Metadata, IsNotReadFromAFileBeyondAllReason) {
    write_file(path(), "a=1\n");
    std::filesystem::resize_file(path(), 16777217);
    EXPECT_EQ(open_metadata(), nullptr);
    EXPECT_EQ(errno, EFBIG);
}

// --- entries -----------------------------------------------------------------------------------------------

TEST_F(Metadata, LosesEveryStaleEntryInOneAscendingScan) {
    const auto metadata = open_metadata("duration=1\naudio=2\nvideo=3\n0:video=4\nname=5\n");
    for (std::size_t i = 0; i < metadata_v4_metadata_context_count(metadata.get()); i++) {
        metadata_v4_metadata_entry* entry = entry_at(metadata, i);
        if (entry != nullptr && entry->stream == -1 && entry->name != "name")
            metadata_v4_metadata_context_free_metadata_entry(metadata.get(), entry);
    }
    EXPECT_EQ(entry_at(metadata, 0), nullptr);
    EXPECT_EQ(entry_at(metadata, 1), nullptr);
    EXPECT_EQ(entry_at(metadata, 2), nullptr);
    expect_entry(metadata, 3, 0, "video", "4");
    ASSERT_EQ(write_back(metadata), 0);
    EXPECT_EQ(file_text(path()), "0:video=4\nname=5\n");
}

TEST_F(Metadata, LeavesAForeignEntryAlone) {
    const auto metadata = open_metadata("a=1\n# note\n");
    metadata_v4_metadata_entry foreign{-1, "a", "1"};
    metadata_v4_metadata_context_free_metadata_entry(metadata.get(), &foreign);
    metadata_v4_metadata_context_free_metadata_entry(metadata.get(), nullptr);
    expect_entry(metadata, 0, -1, "a", "1");
    ASSERT_EQ(write_back(metadata), 0);
    EXPECT_EQ(file_text(path()), "a=1\n# note\n");
}

TEST_F(Metadata, SetsTheEntryOfThatStreamOrAppendsOne) {
    const auto metadata = open_metadata("video=1\n0:video=2\nvideo=3\n");
    set(metadata, 0, "video", "20");
    set(metadata, -1, "video", "10");
    set(metadata, 1, "video", "30");
    set(metadata, -1, "audio", "");
    ASSERT_EQ(write_back(metadata), 0);
    EXPECT_EQ(file_text(path()), "video=10\n0:video=20\nvideo=3\n1:video=30\naudio=\n");
}

TEST_F(Metadata, KeepsAValueOnItsLine) {
    const auto metadata = open_metadata();
    set(metadata, -1, "note", "one\ntwo\r\nthree");
    expect_entry(metadata, 0, -1, "note", "one two  three");
}

} // namespace
