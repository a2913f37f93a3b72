// The real program over pipes, as the driver starts it.
#include "message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr int hang_ms = 60000; // only a hang lasts so long

struct child_pipe {
    int child_end = -1;
    int our_end = -1;
};

child_pipe make_pipe(bool child_reads) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    return child_reads ? child_pipe{ends[0], ends[1]} : child_pipe{ends[1], ends[0]};
}

class SimulatorProgram : public testing::Test {
protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        std::string pattern = (std::filesystem::temp_directory_path() / "vrdx_sim_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        item = directory + "/item";
    }

    void TearDown() override {
        if (pid > 0) {
            kill(pid, SIGKILL);
            wait_for_exit();
        }
        close_all();
        std::filesystem::remove_all(directory);
    }

    void start(const std::string& settings) {
        std::ofstream(item) << settings;
        start_with({"--file", item});
    }

    void start_with(std::vector<std::string> arguments) {
        const child_pipe in = make_pipe(true);
        const child_pipe out = make_pipe(false);
        const child_pipe err = make_pipe(false);
        std::vector<char*> argv = {const_cast<char*>(SIMULATOR_PROGRAM)};
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            dup2(in.child_end, 0);
            dup2(regular_output.empty() ? out.child_end : open(regular_output.c_str(), O_WRONLY | O_CLOEXEC),
                 1);
            dup2(err.child_end, 2);
            std::signal(SIGPIPE, SIG_DFL);
            execv(SIMULATOR_PROGRAM, argv.data());
            _exit(127);
        }
        for (const child_pipe& pipe : {in, out, err}) {
            close(pipe.child_end);
        }
        input = in.our_end;
        output = out.our_end;
        log = err.our_end;
    }

    void send(const std::string& text) const {
        ASSERT_EQ(write(input, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Appends what `fd` offers to `text`, waiting for it; false at its end.
    static bool read_more(int fd, std::string& text) {
        pollfd wait = {fd, POLLIN, 0};
        if (poll(&wait, 1, hang_ms) != 1) {
            ADD_FAILURE() << "nothing came, so far: " << text;
            return false;
        }
        char bytes[65536];
        const ssize_t count = read(fd, bytes, sizeof bytes);
        if (count > 0) {
            text.append(bytes, static_cast<std::size_t>(count));
        }
        return count > 0;
    }

    TavrixAPIRouterMessage next_report() {
        TavrixAPIRouterMessage report;
        while (unread.find("\n\n") == std::string::npos) {
            if (!read_more(output, unread)) {
                ADD_FAILURE() << "no report";
                return report;
            }
        }
        for (auto feed = unread.find('\n'); feed > 0; feed = unread.find('\n')) {
            parse_router_message_line(report, unread.substr(0, feed));
            unread.erase(0, feed + 1);
        }
        unread.erase(0, 1);
        return report;
    }

    void skip_announcement() {
        for (const char* const command : {"info", "inputs", "outputs", "link"}) {
            EXPECT_EQ(next_report().command, command);
        }
    }

    // Waits until the log holds `text`.
    void expect_logged(const std::string& text) {
        while (logged.find(text) == std::string::npos) {
            ASSERT_TRUE(read_more(log, logged)) << "never logged: " << text << "\nbut: " << logged;
        }
    }

    int wait_for_exit() {
        int status = -1;
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void close_one(int& fd) const {
        if (fd >= 0) {
            close(fd);
            fd = -1;
        }
    }

    void close_all() {
        close_one(input);
        close_one(output);
        close_one(log);
    }

    std::string directory;
    std::string item;
    std::string regular_output; // used as standard output instead of a pipe
    pid_t pid = -1;
    int input = -1;
    int output = -1;
    int log = -1;
    std::string unread; // output that no report was made of yet
    std::string logged;
};

std::string take_text(int input, int output) {
    return "*COMMAND=route output\n*TYPE=command\nfrom input=" + std::to_string(input) +
           "\nqueue=add\nto output=" + std::to_string(output) + "\n\n";
}

const char flush_text[] = "*COMMAND=route output\n*TYPE=command\nqueue=flush\n\n";
const char report_outputs_text[] = "*COMMAND=report\n*TYPE=command\nwhat=outputs\n\n";

} // namespace

TEST_F(SimulatorProgram, AnnouncesItselfAndEndsWithItsInput) {
    start("simulated inputs = 2\nsimulated outputs=1\nsimulated levels=video,audio\n");
    const auto info = next_report();
    EXPECT_EQ(info.command, "info");
    EXPECT_EQ(info.type, "message");
    EXPECT_THAT(info.fields, ElementsAre(Pair("inputs", "2"), Pair("output routing controls", "video,audio"),
                                         Pair("outputs", "1"), Pair("salvo", "yes")));
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("i0.name", "Input 1"), Pair("i1.name", "Input 2")));
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("o0.input.audio", "0"), Pair("o0.input.video", "0"),
                                                  Pair("o0.name", "Output 1")));
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("state", "up"), Pair("text", "simulated")));
    close_one(input);
    EXPECT_EQ(wait_for_exit(), 0);
}

TEST_F(SimulatorProgram, TakesAreConfirmedAndNoted) {
    start("");
    skip_announcement();
    send(take_text(7, 2) + take_text(5, 0) + flush_text);
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("o0.input.all", "5"), Pair("o2.input.all", "7")));
    expect_logged("<INFO>took 2 crosspoints\n");
}

TEST_F(SimulatorProgram, KeepsReadingWhileATakeIsDelayed) {
    start("simulated delay ms=60000\n");
    skip_announcement();
    send(take_text(7, 0) + flush_text + report_outputs_text);
    EXPECT_THAT(next_report().fields,
                AllOf(Contains(Pair("o1.input.all", "1")), Not(Contains(Key("o0.input.all")))));
    send("*COMMAND=set\n*TYPE=message\nname=simulated delay ms\nvalue=1\n\n" + take_text(6, 1) + flush_text);
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("o1.input.all", "6")));
    close_one(input); // the first take is still under way
    EXPECT_EQ(wait_for_exit(), 0);
}

TEST_F(SimulatorProgram, DelayedTakeComesByItself) {
    start("simulated delay ms=50\n");
    skip_announcement();
    send(take_text(7, 0) + flush_text);
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("o0.input.all", "7")));
}

TEST_F(SimulatorProgram, RefusedOutputStaysUnconfirmed) {
    start("simulated refuse outputs = 1\n");
    skip_announcement();
    send(take_text(7, 0) + flush_text + report_outputs_text);
    expect_logged("<WARN>output 1 refuses to switch\n");
    EXPECT_EQ(next_report().command, "refused");
    EXPECT_THAT(next_report().fields, AllOf(SizeIs(32), Contains(Pair("o0.input.all", "0"))));
}

TEST_F(SimulatorProgram, MalformedSettingsAreToldAndSurvived) {
    start("simulated inputs=many\n");
    expect_logged("<ERR>setting simulated inputs = many is malformed");
    EXPECT_THAT(next_report().fields, Contains(Pair("inputs", "16")));
}

TEST_F(SimulatorProgram, StateSurvivesARestart) {
    const std::string settings = "simulated state file = kept\n";
    start(settings);
    skip_announcement();
    send(take_text(7, 2) + flush_text);
    next_report();
    send("*COMMAND=router set\n*TYPE=command\noutput.2.name=Big\noutput.2.name=wall\n\n");
    EXPECT_THAT(next_report().fields, ElementsAre(Pair("o2.name", "Big\nwall")));
    kill(pid, SIGKILL); // what was confirmed is on the disk
    wait_for_exit();
    close_all();

    start(settings);
    next_report();
    next_report();
    EXPECT_THAT(next_report().fields,
                AllOf(Contains(Pair("o2.input.all", "7")), Contains(Pair("o2.name", "Big\nwall"))));
    close_one(input);
    EXPECT_EQ(wait_for_exit(), 0);
}

TEST_F(SimulatorProgram, SlowDriverLosesNoReport) {
    start("simulated inputs=4096\nsimulated outputs=1024\n");
    for (int request = 0; request < 20; ++request) { // far more than a pipe holds
        send(report_outputs_text);
    }
    send("*COMMAND=last\n\n");
    expect_logged("<WARN>unknown message 'last'");
    skip_announcement();
    for (int request = 0; request < 20; ++request) {
        EXPECT_THAT(next_report().fields, SizeIs(2048));
    }
}

TEST_F(SimulatorProgram, AnswersAreDeliveredAfterTheInputHasEnded) {
    start("simulated inputs=4096\nsimulated outputs=1024\n");
    send(report_outputs_text);
    close_one(input);
    skip_announcement();
    EXPECT_THAT(next_report().fields, SizeIs(2048));
    EXPECT_EQ(wait_for_exit(), 0);
}

TEST_F(SimulatorProgram, EndsInPeaceWhenTheDriverIsGone) {
    start("");
    skip_announcement();
    close_one(output);
    close_one(log);
    EXPECT_EQ(wait_for_exit(), 0); // although its input is still open
}

TEST_F(SimulatorProgram, WrongArgumentsAreToldInOneLine) {
    const std::vector<std::vector<std::string>> cases = {
        {}, {"--file"}, {"--item", "x"}, {"--file", "x", "y"}};
    for (const auto& arguments : cases) {
        logged.clear();
        start_with(arguments);
        while (read_more(log, logged)) {
        }
        EXPECT_EQ(wait_for_exit(), 1);
        EXPECT_EQ(logged, "<ERR>to be started by the driver, with --file ITEM\n");
        close_all();
    }
}

TEST_F(SimulatorProgram, RegularFileAsStandardOutputIsRefused) {
    regular_output = directory + "/output";
    std::ofstream(regular_output) << "";
    start("");
    while (read_more(log, logged)) {
    }
    EXPECT_EQ(wait_for_exit(), 1);
    EXPECT_THAT(logged, AllOf(StartsWith("<ERR>"), HasSubstr("pipes")));
}

TEST_F(SimulatorProgram, UnreadableItemFileIsToldAndDefaultsAreUsed) {
    start_with({"--file", directory + "/missing"});
    expect_logged("<ERR>cannot read item file");
    EXPECT_THAT(next_report().fields,
                ElementsAre(Pair("inputs", "16"), Pair("outputs", "16"), Pair("salvo", "yes")));
}
