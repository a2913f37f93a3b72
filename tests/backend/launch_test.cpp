#include "launched_backend.h"
#include "open_file_limit.h"
#include "process_info.h"

#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <sys/resource.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;

namespace {

class Launch : public launched_backend {
protected:
    static void expect_nothing_left() {
        expect_no_backend();
        EXPECT_THAT(ident_procs, IsEmpty());
    }
};

TEST_F(Launch, IsNotedAndHoldsThreePipesWithTheirBuffers) {
    start_program(wait_for_ever);
    EXPECT_GT(backend_pid, 0);
    EXPECT_EQ(last_notes, "Starting backend driver");
    EXPECT_EQ(trace(), "");
    for (const int fd : {backend_stdin_fd, backend_stdout_fd, backend_stderr_fd}) {
        ASSERT_GE(fd, 0);
        EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
        EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    }
    for (const sliding_window_v4* buffer : {backend_stdinbuf, backend_stdoutbuf, backend_stderrbuf}) {
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->fence - buffer->start, 1048576);
        EXPECT_EQ(buffer->start, buffer->end);
    }
}

TEST_F(Launch, LetsCommandsReachTheBackendUntilItsStop) {
    EXPECT_FALSE(commands_reach_backend);
    start_program(wait_for_ever);
    EXPECT_TRUE(commands_reach_backend);
    stop_backend();
    EXPECT_FALSE(commands_reach_backend);
}

TEST_F(Launch, ReportPipeTakesAFullReportOfTheLargestRouter) {
    start_program(wait_for_ever);
    EXPECT_GE(fcntl(backend_stdout_fd, F_GETPIPE_SZ), 262144);
}

TEST_F(Launch, ProgramGetsTheItemFile) {
    start_program("echo \"<INFO>$# $1 $2\" >&2\necho \"<INFO>$0\" >&2\nexec sleep 3600\n");
    serve_until("arguments", [] { return last_notes.ends_with(backend_path); });
    EXPECT_EQ(last_notes, "Starting backend driver\n2 --file " + directory_.file("item with blanks") + "\n" +
                              backend_path);
}

TEST_F(Launch, ProgramTalksOnItsThreeStandardDescriptors) {
    start_program("until read -r line; do sleep 0.01; done\necho \"<INFO>got $line\" >&2\n"
                  "printf '*COMMAND=info\\n*TYPE=message\\ninputs=4\\noutputs=2\\n\\n'\nexec sleep 3600\n");
    queue_texts({"*COMMAND=report\n\n"});
    pending_to_buffer();
    serve_until("the report", [] { return output_count == 2; });
    wait_for_note("got *COMMAND=report");
}

TEST_F(Launch, ProgramInheritsTheEnvironment) {
    setenv("VRDX_TEST_HOUSE", "studio 7", 1);
    start_program("echo \"<INFO>$VRDX_TEST_HOUSE\" >&2\nexec sleep 3600\n");
    unsetenv("VRDX_TEST_HOUSE");
    wait_for_note("studio 7");
}

TEST_F(Launch, ProgramStartsWithDefaultSignals) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const auto before_hang_up = std::signal(SIGHUP, SIG_DFL); // the tests may themselves be run by nohup
    sigset_t held;
    sigset_t mask;
    sigemptyset(&held);
    sigaddset(&held, SIGUSR1);
    sigprocmask(SIG_BLOCK, &held, &mask);
    start_program("while read -r name value; do case $name in SigBlk:|SigIgn:)\n"
                  "echo \"<INFO>$name $value\" >&2;; esac; done < /proc/self/status\nexec sleep 3600\n");
    std::signal(SIGPIPE, before);
    std::signal(SIGHUP, before_hang_up);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    wait_for_note("SigIgn: 0000000000000000");
    EXPECT_THAT(last_notes, HasSubstr("SigBlk: 0000000000000000"));
}

TEST_F(Launch, ProgramHasNoDescriptorOfTheDriver) {
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC); // what this test was started with is none of the driver's
    start_program(wait_for_ever);
    const std::string process = "/proc/" + std::to_string(backend_pid);
    wait_until("the shell's end", [&process] { return read_file(process + "/comm") == "sleep\n"; });
    // It may still be opening and closing what it reads to start; what it was handed would stay.
    std::map<int, std::string> descriptors;
    wait_until("three descriptors", [&] { return (descriptors = descriptors_of(backend_pid)).size() == 3; });
    EXPECT_THAT(descriptors, ElementsAre(Key(0), Key(1), Key(2)));
}

TEST_F(Launch, MissingProgramIsToldOnItsErrorPipe) {
    backend_path = directory_.file("vrdx_route_missing");
    ASSERT_EQ(start_backend(), 0);
    read_log_to_its_end();
    EXPECT_EQ(last_error, "Failed to start backend driver '" + backend_path + "'");
    EXPECT_EQ(trace(), "STDERR<ERR>: 'Failed to start backend driver '" + backend_path +
                           "''\nBackend unexpectedly closed stderr\n");
    int status = 0;
    ASSERT_EQ(waitpid(backend_pid, &status, 0), backend_pid);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    backend_pid = -1;
}

TEST_F(Launch, ProgramThatMayNotBeExecutedIsToldLikeAMissingOne) {
    write_program("exit 0\n");
    std::filesystem::permissions(backend_path, std::filesystem::perms::owner_read);
    ASSERT_EQ(start_backend(), 0);
    read_log_to_its_end();
    EXPECT_EQ(last_error, "Failed to start backend driver '" + backend_path + "'");
}

TEST_F(Launch, WithoutItemFileIsAnAssertionOfTheChild) {
    vrdx_file = nullptr;
    const rlimit no_core{};
    setrlimit(RLIMIT_CORE, &no_core);
    start_program(wait_for_ever);
    read_log_to_its_end();
    EXPECT_THAT(last_error,
                testing::MatchesRegex("vrdx_routedriver: vrdx_routedriver:[0-9]+: int start_backend\\(\\): "
                                      "Assertion `vrdx_file != NULL' failed\\."));
    int status = 0;
    ASSERT_EQ(waitpid(backend_pid, &status, 0), backend_pid);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    backend_pid = -1;
}

// --- what cannot be made -----------------------------------------------------------------------------------

class LaunchWithFewDescriptors : public Launch, public testing::WithParamInterface<int> {};

TEST_P(LaunchWithFewDescriptors, IsGivenUpInSilence) {
    write_program(wait_for_ever);
    const auto descriptors = descriptors_of(getpid());
    {
        const open_file_limit limit(GetParam());
        EXPECT_EQ(start_backend(), -1);
    }
    expect_nothing_left();
    EXPECT_EQ(descriptors_of(getpid()), descriptors) << "a descriptor stayed open";
    EXPECT_EQ(last_notes, "");
    EXPECT_EQ(last_error, "");
    EXPECT_EQ(trace(), "");
}

INSTANTIATE_TEST_SUITE_P(DescriptorsLeft, LaunchWithFewDescriptors, testing::Range(0, 6));

TEST_F(Launch, SucceedsWithJustTheDescriptorsOfItsPipes) {
    write_program(wait_for_ever);
    const open_file_limit limit(6);
    EXPECT_EQ(start_backend(), 0);
}

TEST_F(Launch, UnsentCommandsDoNotOutliveAFailedStart) {
    write_program(wait_for_ever);
    queue_texts({"a\n\n"});
    {
        const open_file_limit limit(0); // for the start alone: the sanitizers' own checks need descriptors
        EXPECT_EQ(start_backend(), -1);
    }
    EXPECT_THAT(pending_texts(), IsEmpty());
}

// Leaves room for so many of the three 1 MiB buffers. In a process of its own, where it stays.
void leave_room_for_buffers(int count) {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t room = static_cast<rlim_t>(count) * 1048576 + 524288;
    const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + room;
    const rlimit limit{.rlim_cur = bytes, .rlim_max = bytes};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        _exit(2);
}

class LaunchWithLittleMemory : public Launch, public testing::WithParamInterface<int> {};

TEST_P(LaunchWithLittleMemory, IsGivenUpInSilence) {
    write_program(wait_for_ever);
    EXPECT_EXIT(
        {
            leave_room_for_buffers(GetParam());
            const auto descriptors = descriptors_of(getpid());
            const int result = start_backend();
            const bool cleaned_up = result == -1 && backend_pid == -1 && backend_stdin_fd == -1 &&
                                    backend_stdinbuf == nullptr && descriptors_of(getpid()) == descriptors;
            _exit(cleaned_up ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^$");
}

INSTANTIATE_TEST_SUITE_P(BuffersThatFit, LaunchWithLittleMemory, testing::Range(0, 3));

// A user who may have no more processes, in a process of its own, as there is no way back from it.
void become_user_without_processes() {
    const rlimit none{};
    constexpr uid_t nobody = 65534;
    if (setrlimit(RLIMIT_NPROC, &none) != 0 || (geteuid() == 0 && setuid(nobody) != 0))
        _exit(2);
}

TEST_F(Launch, WithoutAChildIsGivenUpInSilence) {
    write_program(wait_for_ever);
    EXPECT_EXIT(
        {
            become_user_without_processes();
            const auto descriptors = descriptors_of(getpid());
            const int result = start_backend();
            const bool cleaned_up = result == -1 && backend_pid == -1 && backend_stdin_fd == -1 &&
                                    backend_stdinbuf == nullptr && descriptors_of(getpid()) == descriptors;
            _exit(cleaned_up ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^$");
}

} // namespace
