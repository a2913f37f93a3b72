#include "metadata_fixture.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

TEST_F(Metadata, KeepsUnknownLinesInTheirPlace) {
    const std::string text =
        "# made by hand\n\nduration=5\n=nameless\n\t indented \r\n3:audio=x\nplain words\n";
    EXPECT_EQ(rewritten(text), text);
}

TEST_F(Metadata, EndsItsLastLine) {
    EXPECT_EQ(rewritten("a=1\nno end"), "a=1\nno end\n");
    EXPECT_EQ(rewritten(""), "");
}

TEST_F(Metadata, IsReadBackAsItWasWritten) {
    const auto metadata = open_metadata();
    set(metadata, -1, "title", " blanks = kept ");
    set(metadata, 7, "title", std::string("a\0b", 3));
    ASSERT_EQ(write_back(metadata), 0);
    const auto again = open_metadata();
    expect_entry(again, 0, -1, "title", " blanks = kept ");
    expect_entry(again, 1, 7, "title", std::string("a\0b", 3));
}

TEST_F(Metadata, IsReplacedAsAWholeSoThatReadersSeeTheOldOrTheNewFile) {
    const auto metadata = open_metadata("a=1\n");
    set(metadata, -1, "a", "2");
    ASSERT_EQ(write_back(metadata), 0);
    EXPECT_EQ(file_text(path()), "a=2\n");

    std::array<char, 16> old{}; // file_fd still is the file that was read
    EXPECT_EQ(pread(metadata->file_fd, old.data(), old.size(), 0), 4);
    EXPECT_STREQ(old.data(), "a=1\n");
    EXPECT_EQ(file_count(), 1) << "no temporary file stays";
}

TEST_F(Metadata, KeepsTheModeOfItsFile) {
    const auto metadata = open_metadata("a=1\n");
    ASSERT_EQ(chmod(path().c_str(), 0660), 0);
    ASSERT_EQ(write_back(metadata), 0);
    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0660U);
}

TEST_F(Metadata, IsWrittenInSpiteOfWhatACrashLeftBehind) {
    write_file(path() + ".tmp~" + std::to_string(getpid()), "half a li");
    EXPECT_EQ(rewritten("a=1\n"), "a=1\n");
    EXPECT_EQ(file_count(), 1);
}

TEST_F(Metadata, IsNotWrittenThroughALinkInTheTemporaryPlace) {
    write_file(directory_.file("victim"), "precious");
    std::filesystem::create_symlink(directory_.file("victim"), path() + ".tmp~" + std::to_string(getpid()));
    EXPECT_EQ(rewritten("a=1\n"), "a=1\n");
    EXPECT_EQ(file_text(directory_.file("victim")), "precious");
}

TEST_F(Metadata, LeavesTheOldFileWhenTheDiskTakesNoMore) {
    const auto metadata = open_metadata("a=1\n");
    set(metadata, -1, "long", std::string(100000, 'x'));
    const auto write_on_a_full_disk = [&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 4096, .rlim_max = 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        const int result = write_back(metadata);
        std::_Exit(result == -1 && errno == EFBIG ? 0 : 1);
    };
    EXPECT_EXIT(write_on_a_full_disk(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(file_text(path()), "a=1\n");
    EXPECT_EQ(file_count(), 1);
}

TEST_F(Metadata, IsNotWrittenOverADirectoryOrAFifo) {
    const auto metadata = open_metadata();
    std::filesystem::create_directory(path());
    EXPECT_EQ(write_back(metadata), -1);
    EXPECT_EQ(errno, EISDIR);
    std::filesystem::remove(path());
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(write_back(metadata), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_TRUE(std::filesystem::is_fifo(path()));
    EXPECT_EQ(file_count(), 1);
}

TEST_F(Metadata, IsNotWrittenWithoutADirectoryOrWithFlags) {
    const auto metadata = open_metadata("a=1\n");
    EXPECT_EQ(metadata_v4_metadata_context_write_metadata_to_file(metadata.get(), &item_, 1, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(metadata_v4_metadata_context_write_metadata_to_file(metadata.get(), &item_, 0, "x"), -1);
    EXPECT_EQ(errno, EINVAL);
    item_.metadata_path = directory_.file("nowhere/.tavrixmeta.router");
    EXPECT_EQ(write_back(metadata), -1);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
