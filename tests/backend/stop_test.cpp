#include "fresh_driver.h"
#include "wired_backend.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class Stop : public fresh_driver {
protected:
    // As when a stop is called from within a stop.
    static void stop_nested() {
        stop_depth = 1;
        stop_backend();
        EXPECT_EQ(stop_depth, 1);
        stop_depth = 0;
    }

    wired_backend backend_;
};

TEST_F(Stop, ReleasesAllThereIsOfABackend) {
    stop_backend();
    expect_no_backend();
    EXPECT_EQ(last_notes, "Stopping backend driver");
    EXPECT_EQ(trace(), "Stopping backend\n");
}

TEST_F(Stop, ListsTheChildForReaping) {
    stop_backend();
    EXPECT_THAT(ident_procs, ElementsAre(Pair(pid_of_nobody, 1)));
}

TEST_F(Stop, OfAChildListedAlreadyListsItOnce) {
    ident_procs[pid_of_nobody] = 0;
    stop_backend();
    EXPECT_THAT(ident_procs, ElementsAre(Pair(pid_of_nobody, 1)));
}

TEST_F(Stop, DropsUnsentCommandsAndHalfLines) {
    queue_texts({"a\n\n", "b\n\n"});
    stdout_line = "half";
    stderr_line = "<IN";
    stop_backend();
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(stdout_line, "");
    EXPECT_EQ(stderr_line, "");
}

TEST_F(Stop, OfNoBackendTellsNothing) {
    reset_backend();
    stop_backend();
    expect_no_backend();
    EXPECT_EQ(last_notes, "");
    EXPECT_EQ(trace(), "");
    EXPECT_THAT(ident_procs, IsEmpty());
}

TEST_F(Stop, OfNoBackendStillDropsCommandsAndHalfLines) {
    reset_backend();
    queue_texts({"a\n\n"});
    stdout_line = "half";
    stderr_line = "<IN";
    stop_backend();
    EXPECT_THAT(pending_texts(), IsEmpty());
    EXPECT_EQ(stdout_line, "");
    EXPECT_EQ(stderr_line, "");
}

TEST_F(Stop, TwiceInARowTellsItOnce) {
    stop_backend();
    stop_backend();
    EXPECT_EQ(trace(), "Stopping backend\n");
    EXPECT_EQ(last_notes, "Stopping backend driver");
    EXPECT_EQ(ident_procs.size(), 1U);
}

TEST_F(Stop, DoesNotDrainThePipes) {
    queue_texts({"a\n\n"});
    backend_.say_on_stderr("<ERR>last words\n");
    backend_.say_on_stdout("*COMMAND=info\n*TYPE=message\ninputs=4\n\n");
    stop_backend();
    EXPECT_EQ(backend_.read_stdin(), "");
    EXPECT_EQ(last_error, "");
    EXPECT_EQ(input_count, 0);
    EXPECT_EQ(trace(), "Stopping backend\n");
}

TEST_F(Stop, WithinAStopDrainsThePipesFirst) {
    queue_texts({"a\n\n", "b\n\n"});
    backend_.say_on_stderr("<ERR>last words\n");
    backend_.say_on_stdout("*COMMAND=info\n*TYPE=message\ninputs=4\n\n");
    stop_nested();
    EXPECT_EQ(backend_.read_stdin(), "a\n\n") << "one message, as in any pass";
    EXPECT_EQ(last_error, "last words");
    EXPECT_EQ(input_count, 4);
    EXPECT_EQ(trace(), "STDERR<ERR>: 'last words'\n"
                       "STDOUT: '*COMMAND=info'\nSTDOUT: '*TYPE=message'\nSTDOUT: 'inputs=4'\nSTDOUT: ''\n"
                       "Stopping backend\n");
    expect_no_backend();
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(Stop, WithinAStopOfNoBackendTellsNothing) {
    reset_backend();
    queue_texts({"a\n\n"});
    stop_nested();
    EXPECT_EQ(last_notes, "");
    EXPECT_EQ(trace(), "");
    EXPECT_THAT(pending_texts(), IsEmpty());
}

TEST_F(Stop, WithinAStopDrainsWithoutStandardError) {
    backend_.close_stderr();
    read_backend_stderr();
    backend_.say_on_stdout("x\n");
    trace();
    stop_nested();
    EXPECT_EQ(trace(), "STDOUT: 'x'\nStopping backend\n");
}

TEST_F(Stop, AfterStandardErrorWasClosedReleasesTheRest) {
    backend_.close_stderr();
    read_backend_stderr();
    trace();
    stop_backend();
    expect_no_backend();
    EXPECT_EQ(trace(), "Stopping backend\n");
}

TEST_F(Stop, OfBuffersAloneIsNotedButStopsNoChild) {
    for (std::int32_t* fd : {&backend_stdin_fd, &backend_stdout_fd, &backend_stderr_fd}) {
        close(*fd);
        *fd = -1;
    }
    backend_pid = -1;
    stop_backend();
    expect_no_backend();
    EXPECT_EQ(last_notes, "Stopping backend driver");
    EXPECT_EQ(trace(), "");
    EXPECT_THAT(ident_procs, IsEmpty());
}

TEST_F(Stop, OfAPidAloneStopsTheChild) {
    reset_backend();
    backend_pid = pid_of_nobody;
    stop_backend();
    expect_no_backend();
    EXPECT_EQ(trace(), "Stopping backend\n");
    EXPECT_EQ(last_notes, "Stopping backend driver");
}

TEST_F(Stop, KeepsTheLogsTheSettingsAndTheTakes) {
    last_error = "e";
    last_notes = "n";
    debug_messages = true;
    backend_path = "/usr/bin/vrdx_route_x";
    next_backend_check = 5;
    my_vrdx_on_set(nullptr, "gain", "1");
    ask_for({{1, 2, 3}});
    stop_backend();
    EXPECT_EQ(last_error, "e");
    EXPECT_EQ(last_notes, "n\nStopping backend driver");
    EXPECT_TRUE(debug_messages);
    EXPECT_EQ(backend_path, "/usr/bin/vrdx_route_x");
    EXPECT_EQ(next_backend_check, 5U);
    EXPECT_EQ(pending_settings.size(), 1U);
    EXPECT_EQ(route_requests.size(), 1U);
}

} // namespace
