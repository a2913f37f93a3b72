#include "launched_backend.h"
#include "wired_backend.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

// --- the liveness check ------------------------------------------------------------------------------------

using Liveness = launched_backend;

TEST_F(Liveness, WithoutBackendThereIsNothingToCheck) {
    check_backend_alive();
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(last_notes, "");
}

TEST_F(Liveness, RunningBackendIsLeftAlone) {
    start_program(wait_for_ever);
    const std::int32_t pid = backend_pid;
    check_backend_alive();
    check_backend_alive();
    EXPECT_EQ(backend_pid, pid);
    EXPECT_EQ(trace(), "");
}

TEST_F(Liveness, DeathIsToldOnePassLate) {
    start_program("exit 3\n");
    const std::int32_t pid = backend_pid;
    wait_for_end(pid);
    check_backend_alive();
    EXPECT_EQ(backend_pid, pid) << "this pass reaps it";
    EXPECT_TRUE(commands_reach_backend) << "nobody knows better yet";
    EXPECT_EQ(trace(), "");
    check_backend_alive();
    EXPECT_EQ(trace(), "Backend process terminated unexpectedly\n");
    EXPECT_EQ(backend_pid, -1);
    EXPECT_FALSE(commands_reach_backend);
    EXPECT_EQ(backend_stdin_fd, -1);
    EXPECT_EQ(backend_stdoutbuf, nullptr);
    EXPECT_EQ(last_notes, "Starting backend driver\nStopping backend driver");
    EXPECT_THAT(ident_procs, IsEmpty()) << "it is reaped already";
}

TEST_F(Liveness, LastWordsAreReadInThePassBetween) {
    start_program("echo '<ERR>no hardware' >&2\nexit 3\n");
    wait_for_end(backend_pid);
    check_backend_alive();
    read_backend_stderr();
    check_backend_alive();
    EXPECT_EQ(last_error, "no hardware");
}

TEST_F(Liveness, KilledBackendIsToldLikeOneThatExits) {
    start_program(wait_for_ever);
    kill(backend_pid, SIGKILL);
    wait_for_end(backend_pid);
    check_backend_alive();
    check_backend_alive();
    EXPECT_EQ(trace(), "Backend process terminated unexpectedly\n");
}

TEST_F(Liveness, ClosingStandardErrorAloneIsNoDeath) {
    start_program("echo '<INFO>up' >&2\nexec 2>&-\nexec sleep 3600\n");
    serve_until("the close", [] { return backend_stderr_fd < 0; });
    check_backend_alive();
    EXPECT_GE(backend_pid, 0);
    EXPECT_TRUE(commands_reach_backend);
}

TEST_F(Liveness, ClosingStandardOutputStopsTheBackend) {
    captured_stream standard_output(stdout);
    start_program("echo '<INFO>up' >&2\nexec 1>&-\nexec sleep 3600\n");
    const std::int32_t pid = backend_pid;
    serve_until("the stop", [] { return backend_pid < 0; });
    EXPECT_THAT(ident_procs, ElementsAre(Pair(pid, 1)));
    EXPECT_FALSE(commands_reach_backend);
}

TEST_F(Liveness, ClosingStandardInputStopsTheBackend) {
    start_program("exec 0<&-\necho '<INFO>up' >&2\nexec sleep 3600\n");
    wait_for_note("up");
    pending_to_buffer();
    EXPECT_EQ(backend_pid, -1);
    EXPECT_FALSE(commands_reach_backend);
}

// --- stopped children --------------------------------------------------------------------------------------

using Reaping = launched_backend;

TEST_F(Reaping, StoppedChildIsReapedOnceItHasEnded) {
    start_program("echo '<INFO>up' >&2\nexec sleep 3600\n");
    const std::int32_t pid = backend_pid;
    wait_for_note("up");
    stop_backend();
    trace();
    wait_for_end(pid);
    reap_ident_procs();
    EXPECT_EQ(trace(), "Reaped ident proc " + std::to_string(pid) + "\n");
    EXPECT_THAT(ident_procs, IsEmpty());
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);
}

TEST_F(Reaping, NothingListedTellsNothing) {
    reap_ident_procs();
    EXPECT_EQ(trace(), "");
}

TEST_F(Reaping, ChildThatIgnoresTheSignalStaysListed) {
    start_program("trap '' TERM\necho '<INFO>up' >&2\nexec sleep 3600\n");
    const std::int32_t pid = backend_pid;
    wait_for_note("up");
    trace();
    stop_backend();
    for (int pass = 0; pass < 100; ++pass)
        reap_ident_procs();
    EXPECT_THAT(ident_procs, ElementsAre(Pair(pid, 1)));
    EXPECT_EQ(trace(), "Stopping backend\n");
}

TEST_F(Reaping, NextBackendMayRunBesideAStoppedOne) {
    start_program("trap '' TERM\necho '<INFO>up' >&2\nexec sleep 3600\n");
    const std::int32_t first = backend_pid;
    wait_for_note("up");
    stop_backend();
    start_program(wait_for_ever);
    EXPECT_NE(backend_pid, first);
    EXPECT_THAT(ident_procs, ElementsAre(Pair(first, 1)));
}

TEST_F(Reaping, EndedChildrenAreReapedInTheOrderOfTheirPids) {
    std::vector<std::int32_t> pids;
    for (int i = 0; i < 3; ++i) {
        start_program("exit 0\n");
        wait_for_end(backend_pid);
        pids.push_back(backend_pid);
        stop_backend();
    }
    std::sort(pids.begin(), pids.end());
    trace();
    reap_ident_procs();
    std::string expected;
    for (const std::int32_t pid : pids)
        expected += "Reaped ident proc " + std::to_string(pid) + "\n";
    EXPECT_EQ(trace(), expected);
    EXPECT_THAT(ident_procs, IsEmpty());
}

TEST_F(Reaping, PidThatIsNoChildStaysListed) {
    ident_procs[pid_of_nobody] = 1;
    reap_ident_procs();
    EXPECT_THAT(ident_procs, ElementsAre(Pair(pid_of_nobody, 1)));
    EXPECT_EQ(trace(), "");
    ident_procs.clear();
}

// Writes "T" for each SIGTERM, in the order of delivery, until SIGRTMIN, which is delivered after any other
// that waits.
[[noreturn]] void write_signals(int fd) {
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGTERM);
    sigaddset(&awaited, SIGRTMIN);
    for (;;) {
        const int signo = sigwaitinfo(&awaited, nullptr);
        if (signo == SIGTERM)
            static_cast<void>(!write(fd, "T", 1));
        if (signo == SIGRTMIN)
            _exit(0);
    }
}

TEST_F(Reaping, StopTwiceInARowSendsOneSignal) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    sigset_t held;
    sigset_t mask;
    sigemptyset(&held);
    sigaddset(&held, SIGTERM);
    sigaddset(&held, SIGRTMIN);
    sigprocmask(SIG_BLOCK, &held, &mask);
    const pid_t child = fork();
    if (child == 0)
        write_signals(ends[1]);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    close(ends[1]);

    backend_pid = child;
    stop_backend();
    char first = 0;
    EXPECT_EQ(read(ends[0], &first, 1), 1) << "the first stop's signal is taken before the second stop";
    stop_backend();
    kill(child, SIGRTMIN);
    char second = 0;
    EXPECT_EQ(first, 'T');
    EXPECT_EQ(read(ends[0], &second, 1), 0) << "a second signal came";
    EXPECT_EQ(trace(), "Stopping backend\n");
    close(ends[0]);
}

} // namespace
