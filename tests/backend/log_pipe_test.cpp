#include "fresh_driver.h"
#include "wired_backend.h"

using namespace std::string_literals;

namespace {

class LogPipe : public fresh_driver {
protected:
    wired_backend backend_;
};

struct log_line_row {
    const char* name;
    std::string line;
    bool debug;
    std::string trace;
    std::string error; // last_error afterwards, when it was "e" before
    std::string notes; // last_notes afterwards, when it was "n" before
};

void PrintTo(const log_line_row& row, std::ostream* stream) {
    *stream << row.name;
}

class LogLine : public LogPipe, public testing::WithParamInterface<log_line_row> {};

TEST_P(LogLine, IsTracedAndFiledUnderItsTag) {
    debug_messages = GetParam().debug;
    last_error = "e";
    last_notes = "n";
    backend_.say_on_stderr(GetParam().line + "\n");
    read_backend_stderr();
    EXPECT_EQ(trace(), GetParam().trace);
    EXPECT_EQ(last_error, GetParam().error);
    EXPECT_EQ(last_notes, GetParam().notes);
}

INSTANTIATE_TEST_SUITE_P(
    Pipe, LogLine,
    testing::Values(
        log_line_row{"Error", "<ERR>fan", false, "STDERR<ERR>: 'fan'\n", "e\nfan", "n"},
        log_line_row{"Warning", "<WARN>disk low", false, "STDERR<WARN>: 'disk low'\n", "e\ndisk low", "n"},
        log_line_row{"Information", "<INFO>up", false, "STDERR<INFO>: 'up'\n", "e", "n\nup"},
        log_line_row{"Note", "<NOTE>up", false, "STDERR<NOTE>: 'up'\n", "e", "n\nup"},
        log_line_row{"UnwantedDebug", "<DBG>x=1", false, "STDERR<DBG>: 'x=1'\n", "e", "n"},
        log_line_row{"WantedDebug", "<DBG>x=1", true, "STDERR<DBG>: 'x=1'\n", "e", "n\nx=1"},
        log_line_row{"UnknownTag", "<FATAL>fan", false, "STDERR<FATAL>: 'fan'\n", "e\nfan", "n"},
        log_line_row{"TagOfOtherCase", "<info>up", false, "STDERR<info>: 'up'\n", "e\nup", "n"},
        log_line_row{"LongerTag", "<DBG2>x", false, "STDERR<DBG2>: 'x'\n", "e\nx", "n"},
        log_line_row{"TagWithBlank", "<INFO >up", false, "STDERR<INFO >: 'up'\n", "e\nup", "n"},
        log_line_row{"EmptyTag", "<>fan", false, "STDERR<>: 'fan'\n", "e\nfan", "n"},
        log_line_row{"NoTag", "disk low", false, "STDERR<ERR>: 'disk low'\n", "e\ndisk low", "n"},
        log_line_row{"TagNotAtTheStart", " <INFO>up", false, "STDERR<ERR>: ' <INFO>up'\n", "e\n <INFO>up",
                     "n"},
        log_line_row{"EmptyLine", "", false, "STDERR<ERR>: ''\n", "e\n", "n"},
        log_line_row{"EmptyMessage", "<WARN>", false, "STDERR<WARN>: ''\n", "e\n", "n"},
        log_line_row{"UnclosedInformation", "<INFO", false, "STDERR<INFO>: ''\n", "e", "n\n"},
        log_line_row{"UnclosedUnknown", "<fan failed", false, "STDERR<fan failed>: ''\n", "e\n", "n"},
        log_line_row{"OpeningAlone", "<", false, "STDERR<>: ''\n", "e\n", "n"},
        log_line_row{"TagClosesAtTheFirst", "<NOTE>a>b<c>", false, "STDERR<NOTE>: 'a>b<c>'\n", "e",
                     "n\na>b<c>"},
        log_line_row{"PercentSigns", "<%s>%d%n", false, "STDERR<%s>: '%d%n'\n", "e\n%d%n", "n"},
        log_line_row{"CarriageReturns", "<\rINFO>a\rb\r", false, "STDERR<INFO>: 'ab'\n", "e", "n\nab"},
        log_line_row{"NulByte", "<INFO>a\0b"s, false, "STDERR<INFO>: 'a\0b'\n"s, "e", "n\na\0b"s},
        log_line_row{"OtherBytes", "<INFO>\x01\xff", false, "STDERR<INFO>: '\x01\xff'\n", "e",
                     "n\n\x01\xff"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(LogPipe, LinesOfOneReadAreFiledInTheirOrder) {
    backend_.say_on_stderr("<INFO>a\n<ERR>b\n<NOTE>c\n");
    read_backend_stderr();
    EXPECT_EQ(last_notes, "a\nc");
    EXPECT_EQ(last_error, "b");
    EXPECT_EQ(trace(), "STDERR<INFO>: 'a'\nSTDERR<ERR>: 'b'\nSTDERR<NOTE>: 'c'\n");
}

TEST_F(LogPipe, LineInPiecesIsFiledWhenItsLineFeedArrives) {
    backend_.say_on_stderr("<IN");
    read_backend_stderr();
    backend_.say_on_stderr("FO>half");
    read_backend_stderr();
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(stderr_line, "<INFO>half");
    backend_.say_on_stderr(" and whole\n<IN");
    read_backend_stderr();
    EXPECT_EQ(last_notes, "half and whole");
    EXPECT_EQ(stderr_line, "<IN");
}

TEST_F(LogPipe, SilenceIsNoEnd) {
    read_backend_stderr();
    EXPECT_GE(backend_stderr_fd, 0);
    EXPECT_NE(backend_stderrbuf, nullptr);
    EXPECT_EQ(trace(), "");
}

TEST_F(LogPipe, ClosedAloneLeavesTheOtherTwoInService) {
    backend_.close_stderr();
    read_backend_stderr();
    EXPECT_EQ(trace(), "Backend unexpectedly closed stderr\n");
    EXPECT_EQ(backend_stderr_fd, -1);
    EXPECT_EQ(backend_stderrbuf, nullptr);
    EXPECT_EQ(backend_pid, pid_of_nobody);
    EXPECT_EQ(last_notes, "");

    queue_texts({"a\n\n"});
    pending_to_buffer();
    EXPECT_EQ(backend_.read_stdin(), "a\n\n");
    backend_.say_on_stdout("x\n");
    read_backend_stdout();
    EXPECT_EQ(trace(), "STDOUT: 'x'\n");
}

TEST_F(LogPipe, LastWordsBeforeTheCloseAreFiled) {
    backend_.say_on_stderr("<ERR>going down\nunfinished");
    backend_.close_stderr();
    read_backend_stderr();
    EXPECT_EQ(last_error, "going down");
    EXPECT_GE(backend_stderr_fd, 0) << "the close is noticed by a read that brings nothing";
    read_backend_stderr();
    EXPECT_EQ(backend_stderr_fd, -1);
    EXPECT_EQ(last_error, "going down");
}

TEST_F(LogPipe, MissingBufferReadsNothing) {
    backend_stderrbuf = sliding_window_v4_destroy(backend_stderrbuf);
    backend_.say_on_stderr("<ERR>x\n");
    read_backend_stderr();
    EXPECT_EQ(trace(), "");
    EXPECT_GE(backend_stderr_fd, 0);
}

} // namespace
