// The endpoint works on descriptors 0, 1 and 2 and keeps its state for the whole process: every test runs in
// a child of its own, in which the peer's ends of the pipes are held as well, so that nothing has to be
// waited for.
#include "endpoint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned hang_seconds = 60;

int report_fd = -1; // the test program's standard error, in the child

// gtest's own assertions would print to the backend's standard output.
#define REQUIRE(condition)                                                                                   \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            dprintf(report_fd, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition);                     \
            _exit(1);                                                                                        \
        }                                                                                                    \
    } while (false)

// The driver's ends of the backend's three pipes.
struct driver_ends {
    int input = -1;
    int output = -1;
    int log = -1;

    void write_input(const std::string& text) const {
        REQUIRE(write(input, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    }

    // What is in the pipe now; empty when there is nothing.
    static std::string read_from(int fd) {
        std::string text(1 << 20, '\0');
        const ssize_t count = read(fd, text.data(), text.size());
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }
};

std::array<int, 2> make_pipe() {
    std::array<int, 2> ends = {-1, -1};
    REQUIRE(pipe2(ends.data(), O_CLOEXEC) == 0);
    return ends;
}

driver_ends become_backend() {
    const auto input = make_pipe();
    const auto output = make_pipe();
    const auto log = make_pipe();
    REQUIRE(dup2(input[0], 0) == 0 && dup2(output[1], 1) == 1 && dup2(log[1], 2) == 2);
    close(input[0]);
    close(output[1]);
    close(log[1]);
    REQUIRE(fcntl(output[0], F_SETFL, O_NONBLOCK) == 0 && fcntl(log[0], F_SETFL, O_NONBLOCK) == 0);
    return {input[1], output[0], log[0]};
}

void expect_in_child(const std::function<void(driver_ends&)>& body) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(hang_seconds);
        report_fd = fcntl(2, F_DUPFD_CLOEXEC, 3);
        driver_ends driver = become_backend();
        body(driver);
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        ASSERT_EQ(errno, EINTR);
    }
    EXPECT_EQ(status, 0) << "the child's failed requirement is on standard error";
}

void expect_in_backend(const std::function<void(driver_ends&)>& body) {
    expect_in_child([&](driver_ends& driver) {
        REQUIRE(endpoint_init() == 0);
        body(driver);
    });
}

int bytes_on_standard_input() {
    int count = -1;
    REQUIRE(ioctl(0, FIONREAD, &count) == 0);
    return count;
}

// Steps until a message is complete or all input is used up.
const TavrixAPIRouterMessage* next_message() {
    for (int left = bytes_on_standard_input(); left > 0; --left) {
        if (const auto* message = endpoint_poll_message()) {
            return message;
        }
    }
    return nullptr;
}

bool is_nonblocking(int fd) {
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

TavrixAPIRouterMessage info_of_size(std::size_t size) {
    TavrixAPIRouterMessage message;
    message.command = "info";
    message.fields["filler"] = std::string(size, 'x');
    return message;
}

} // namespace

TEST(EndpointInit, OnlyInputAndOutputBecomeNonBlocking) {
    expect_in_child([](driver_ends&) {
        REQUIRE(endpoint_init() == 0);
        REQUIRE(is_nonblocking(0));
        REQUIRE(is_nonblocking(1));
        REQUIRE(!is_nonblocking(2));
    });
}

TEST(EndpointInit, StandardErrorIsUnbuffered) {
    expect_in_child([](driver_ends& driver) {
        REQUIRE(setvbuf(stderr, nullptr, _IOFBF, 4096) == 0);
        REQUIRE(endpoint_init() == 0);
        std::fputs("<NOTE>x", stderr);
        REQUIRE(driver_ends::read_from(driver.log) == "<NOTE>x");
    });
}

TEST(EndpointInit, SocketsAndCharacterDevicesServe) {
    expect_in_child([](driver_ends&) {
        int sockets[2];
        REQUIRE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) == 0);
        REQUIRE(dup2(sockets[0], 0) == 0 && dup2(sockets[0], 1) == 1);
        const int null_device = open("/dev/null", O_RDWR | O_CLOEXEC);
        REQUIRE(dup2(null_device, 2) == 2);
        REQUIRE(endpoint_init() == 0);
    });
}

TEST(EndpointInit, RegularFileOnAnyDescriptorFails) {
    for (const int fd : {0, 1, 2}) {
        expect_in_child([fd](driver_ends&) {
            std::FILE* const file = std::tmpfile();
            REQUIRE(file != nullptr && dup2(fileno(file), fd) == fd);
            REQUIRE(endpoint_init() == -1);
        });
    }
}

TEST(EndpointInit, ClosedDescriptorFails) {
    for (const int fd : {0, 1, 2}) {
        expect_in_child([fd](driver_ends&) {
            close(fd);
            REQUIRE(endpoint_init() == -1);
        });
    }
}

TEST(EndpointFdset, AddsTheThreeDescriptors) {
    fd_set set;
    FD_ZERO(&set);
    int nfds = 0;
    endpoint_fdset(&set, &nfds);
    EXPECT_TRUE(FD_ISSET(0, &set) && FD_ISSET(1, &set) && FD_ISSET(2, &set));
    EXPECT_FALSE(FD_ISSET(3, &set));
    EXPECT_EQ(nfds, 3);
    nfds = 9;
    endpoint_fdset(&set, &nfds);
    EXPECT_EQ(nfds, 9);
}

TEST(EndpointInput, OneStepTakesOneByte) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("a=1\n\nb");
        for (int left = 5; left > 1; --left) {
            REQUIRE(endpoint_poll_message() == nullptr);
            REQUIRE(bytes_on_standard_input() == left);
        }
        const auto* message = endpoint_poll_message();
        REQUIRE(message != nullptr);
        REQUIRE(message->fields.at("a") == "1");
        REQUIRE(bytes_on_standard_input() == 1);
    });
}

TEST(EndpointInput, NothingToReadYetIsNoError) {
    expect_in_backend([](driver_ends& driver) {
        REQUIRE(endpoint_poll_message() == nullptr);
        REQUIRE(endpoint_service() == 0);
        driver.write_input("*COMMAND=re");
        REQUIRE(next_message() == nullptr);
        REQUIRE(endpoint_service() == 0);
        driver.write_input("port\n\n");
        const auto* message = next_message();
        REQUIRE(message != nullptr && message->command == "report");
    });
}

TEST(EndpointInput, SeveralMessagesComeOneAfterTheOther) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("*COMMAND=route output\n*TYPE=command\nqueue=add\n\n*COMMAND=report\n*ID=9\n\n");
        const auto* first = next_message();
        REQUIRE(first != nullptr && first->command == "route output" && first->type == "command");
        REQUIRE(first->fields.at("queue") == "add");
        const auto* second = next_message();
        REQUIRE(second != nullptr && second->command == "report" && second->id == "9");
        REQUIRE(second->type.empty() && second->fields.empty());
        REQUIRE(next_message() == nullptr);
    });
}

TEST(EndpointInput, EndOfInputIsToldByService) {
    expect_in_backend([](driver_ends& driver) {
        close(driver.input);
        REQUIRE(endpoint_poll_message() == nullptr);
        REQUIRE(endpoint_service() == -1);
    });
}

TEST(EndpointInput, MessageCutOffByTheEndOfInputIsNeverComplete) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("*COMMAND=set\nname=x\nvalue=y\n");
        close(driver.input);
        REQUIRE(next_message() == nullptr);
        REQUIRE(endpoint_poll_message() == nullptr);
        REQUIRE(endpoint_service() == -1);
        REQUIRE(endpoint_peek_message() == nullptr);
    });
}

TEST(EndpointInput, ReadErrorIsToldByService) {
    expect_in_backend([](driver_ends& driver) {
        REQUIRE(dup2(driver.input, 0) == 0); // a write end cannot be read
        REQUIRE(endpoint_poll_message() == nullptr);
        REQUIRE(endpoint_service() == -1);
    });
}

TEST(EndpointInput, CarriageReturnsAreDroppedWhereverTheyAre) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("\r\n*COM\rMAND=set\r\nvalue=a\rb\r\n\r\r\n");
        const auto* message = next_message();
        REQUIRE(message != nullptr && message->command == "set");
        REQUIRE(message->fields.at("value") == "ab");
        REQUIRE(bytes_on_standard_input() == 0);
    });
}

TEST(EndpointInput, TypeAndIdBeforeABlankLineStayForTheNextMessage) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("*TYPE=command\n*ID=4\n\n\n");
        REQUIRE(next_message() == nullptr);
        driver.write_input("*COMMAND=report\n\n");
        const auto* message = next_message();
        REQUIRE(message != nullptr && message->command == "report");
        REQUIRE(message->type == "command" && message->id == "4");
    });
}

TEST(EndpointInput, PeekNeitherReadsNorConsumes) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("a=1\n\nb=2\n\n");
        REQUIRE(endpoint_peek_message() == nullptr);
        REQUIRE(bytes_on_standard_input() == 10);
        while (endpoint_peek_message() == nullptr) {
            REQUIRE(endpoint_service() == 0);
        }
        REQUIRE(bytes_on_standard_input() == 5);
        const auto* waiting = endpoint_peek_message();
        REQUIRE(endpoint_peek_message() == waiting && waiting->fields.at("a") == "1");
        REQUIRE(endpoint_service() == 0); // reads nothing while a message waits
        REQUIRE(bytes_on_standard_input() == 5);
        REQUIRE(endpoint_poll_message() == waiting);
        REQUIRE(bytes_on_standard_input() == 5);
        REQUIRE(endpoint_peek_message() == nullptr);
    });
}

TEST(EndpointInput, WaitingMessageIsHandedOutAfterTheEndOfInput) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("a=1\n\n");
        close(driver.input);
        while (endpoint_peek_message() == nullptr) {
            REQUIRE(endpoint_service() == 0);
        }
        REQUIRE(endpoint_service() == 0);
        REQUIRE(endpoint_poll_message() != nullptr);
        REQUIRE(endpoint_service() == -1);
    });
}

TEST(EndpointInput, HandedOutMessageLivesUntilTheNextReadStep) {
    expect_in_backend([](driver_ends& driver) {
        driver.write_input("*COMMAND=report\nwhat=inputs\n\n");
        const auto* message = next_message();
        REQUIRE(message != nullptr);
        REQUIRE(endpoint_send_message(*message) == 0);
        REQUIRE(endpoint_flush() == 0);
        REQUIRE(endpoint_peek_message() == nullptr);
        REQUIRE(message->command == "report" && message->fields.at("what") == "inputs");
        REQUIRE(endpoint_service() == 0); // nothing to read, and yet a read step
        REQUIRE(router_message_empty(*message));
    });
}

TEST(EndpointOutput, MessageIsWrittenAtOnce) {
    expect_in_backend([](driver_ends& driver) {
        TavrixAPIRouterMessage message;
        message.command = "info";
        message.type = "message";
        message.fields = {{"inputs", "4"}, {"outputs", "2"}};
        REQUIRE(endpoint_send_message(message) == 0);
        REQUIRE(!endpoint_output_pending());
        REQUIRE(driver_ends::read_from(driver.output) ==
                "*COMMAND=info\n*TYPE=message\ninputs=4\noutputs=2\n\n");
    });
}

TEST(EndpointOutput, FullPipeLosesNothing) {
    expect_in_backend([](driver_ends& driver) {
        REQUIRE(fcntl(1, F_SETPIPE_SZ, 4096) >= 4096);
        std::string expected;
        for (const std::size_t size : {100U, 100000U, 3U, 30000U}) {
            encode_router_message(info_of_size(size), expected);
            REQUIRE(endpoint_send_message(info_of_size(size)) == 0);
        }
        REQUIRE(endpoint_output_pending());
        REQUIRE(endpoint_flush() == 0); // still full
        REQUIRE(endpoint_output_pending());
        std::string written = driver_ends::read_from(driver.output);
        while (endpoint_output_pending()) {
            REQUIRE(written.size() < expected.size());
            REQUIRE(endpoint_flush() == 0);
            written += driver_ends::read_from(driver.output);
        }
        REQUIRE(written == expected);
        REQUIRE(endpoint_flush() == 0);
        REQUIRE(driver_ends::read_from(driver.output).empty());
    });
}

TEST(EndpointOutput, ServiceWritesWhatIsQueued) {
    expect_in_backend([](driver_ends& driver) {
        REQUIRE(fcntl(1, F_SETPIPE_SZ, 4096) >= 4096);
        REQUIRE(endpoint_send_message(info_of_size(5000)) == 0);
        REQUIRE(endpoint_output_pending());
        std::string written = driver_ends::read_from(driver.output);
        REQUIRE(endpoint_service() == 0);
        written += driver_ends::read_from(driver.output);
        std::string expected;
        encode_router_message(info_of_size(5000), expected);
        REQUIRE(written == expected);
        REQUIRE(!endpoint_output_pending());
    });
}

TEST(EndpointOutput, DriverThatIsGoneIsAnError) {
    expect_in_backend([](driver_ends& driver) {
        std::signal(SIGPIPE, SIG_IGN);
        close(driver.output);
        REQUIRE(endpoint_flush() == 0); // nothing is queued, nothing is noticed
        REQUIRE(endpoint_send_message(info_of_size(1)) == -1);
        REQUIRE(endpoint_output_pending());
        REQUIRE(endpoint_flush() == -1);
        REQUIRE(endpoint_service() == -1);
    });
}

namespace {

// What endpoint_dispatch() called, in words.
struct heard_requests {
    std::vector<std::string> calls;
    endpoint_collection collected;

    static std::string text_of(const endpoint_takes& takes) {
        std::string text;
        for (const endpoint_take& take : takes) {
            text += " " + std::to_string(take.output) + "=" + std::to_string(take.source);
            text += take.level == endpoint_level::all ? "" : take.level == endpoint_level::video ? "v" : "a";
        }
        return text;
    }

    void hear(const std::string& command, const std::string& type,
              const std::map<std::string, std::string>& fields) {
        endpoint_handlers handlers;
        handlers.switch_takes = [&](const endpoint_takes& takes, std::uint64_t expires_us) {
            calls.push_back("switch" + text_of(takes) +
                            (expires_us == never_expires ? "" : " until " + std::to_string(expires_us)));
        };
        handlers.refuse_late = [&](const endpoint_takes& takes) { calls.push_back("late" + text_of(takes)); };
        handlers.report_outputs = [&] { calls.push_back("outputs"); };
        handlers.report_inputs = [&] { calls.push_back("inputs"); };
        handlers.set_properties = [&](const std::vector<endpoint_property>& properties) {
            for (const endpoint_property& one : properties) {
                calls.push_back((one.of_output ? "output " : "input ") + std::to_string(one.number) + " " +
                                one.name + "=" + one.value);
            }
        };
        handlers.change_setting = [&](const std::string& name, const std::string& value) {
            calls.push_back("setting " + name + "=" + value);
        };
        handlers.skipped = [&](const std::string& why) { calls.push_back("skipped: " + why); };
        endpoint_dispatch({command, "", type, "", fields}, 2000000, collected, handlers);
    }

    void expect(const std::vector<std::string>& expected) {
        EXPECT_EQ(calls, expected);
        calls.clear();
    }
};

} // namespace

TEST(EndpointRequests, TakesAreCollectedUntilTheirFlush) {
    heard_requests heard;
    heard.hear("route output", "command", {{"queue", "add"}, {"to output", "2"}, {"from input", "4"}});
    heard.hear("route output", "command",
               {{"queue", "add"}, {"to output", "2"}, {"from input", "none"}, {"control", "audio"}});
    heard.expect({});
    heard.hear("route output", "command", {{"queue", "flush"}});
    heard.hear("route output", "command", {{"queue", "flush"}});
    heard.expect({"switch 2=4 2=-1a", "switch"});
}

TEST(EndpointRequests, SalvoIsSwitchedInTheOrderOfItsNames) {
    heard_requests heard;
    heard.hear(
        "route outputs", "command",
        {{"take.0000", "7 1 video"}, {"take.0001", "0 none"}, {"take.0010", "7 2"}, {"expires", "2001"}});
    heard.expect({"switch 7=1v 0=-1 7=2 until 2001000"});
    heard.hear("route outputs", "command", {{"take.0000", "7 1"}, {"expires", "2000"}});
    heard.expect({"late 7=1"});
    heard.hear("route outputs", "command", {{"take.0000", "7 1"}, {"expires", "99999999999999999999999"}});
    heard.expect({"switch 7=1"});
}

TEST(EndpointRequests, UnreadableTakesAreSkippedAndTheOthersAreNot) {
    heard_requests heard;
    heard.hear("route outputs", "command",
               {{"take.0000", ""},
                {"take.0001", "1"},
                {"take.0002", "1 4096"},
                {"take.0003", "1024 1"},
                {"take.0004", "1 1 smell"},
                {"take.0005", "1 1"},
                {"expires", "2001"}});
    heard.expect({"skipped: take from the unreadable input '' skipped",
                  "skipped: take from the unreadable input '' skipped",
                  "skipped: take skipped: there is no input 4097",
                  "skipped: take skipped: there is no output 1025",
                  "skipped: take of the unknown level 'smell' skipped", "switch 1=1 until 2001000"});
    heard.hear("route outputs", "command", {{"take.0000", "1 1"}, {"expires", "soon"}});
    heard.expect({"skipped: route outputs with an unreadable time to end at skipped"});
    heard.hear("route outputs", "command", {{"take.0000", "1 1"}});
    heard.expect({"switch 1=1"});
}

TEST(EndpointRequests, OtherRequestsCallTheirHandler) {
    heard_requests heard;
    heard.hear("report", "command", {{"what", "outputs"}});
    heard.hear("report", "command", {{"what", "inputs"}});
    heard.hear("router set", "command", {{"input.0.name", "A"}, {"output.1023.a.b", "c"}, {"output.1", "x"}});
    heard.hear("set", "message", {{"name", "address"}, {"value", "here"}});
    heard.hear("set", "command", {{"name", "address"}});
    heard.expect({"outputs", "inputs", "skipped: router set of the unknown 'output.1' skipped",
                  "input 0 name=A", "output 1023 a.b=c", "setting address=here",
                  "skipped: unknown message 'set' of type 'command' skipped"});
}

TEST(EndpointRequests, WhatAClientSentNeitherFillsTheLogNorBreaksItsLines) {
    heard_requests heard;
    heard.hear("a\nb" + std::string(100, 'x'), "\x7f", {});
    heard.expect({"skipped: unknown message 'a b" + std::string(57, 'x') + "' of type ' ' skipped"});
}

TEST(EndpointRequests, HandlerThatIsLeftEmptyIsNotCalled) {
    endpoint_collection collected;
    for (const char* const command : {"route output", "route outputs", "report", "router set", "dance"}) {
        endpoint_dispatch({command, "", "command", "", {{"what", "inputs"}}}, 0, collected, {});
    }
    EXPECT_TRUE(collected.takes.empty());
}

TEST(EndpointReports, SayWhatTheDriverReads) {
    std::string text;
    encode_router_message(info_report({4, 2, true}, true), text);
    encode_router_message(link_report(false, "it is silent"), text);
    encode_router_message(refused_report({1, no_source, endpoint_level::audio}, "locked"), text);
    TavrixAPIRouterMessage outputs = endpoint_report("outputs");
    add_source(outputs, 0, endpoint_level::all, 3);
    add_source(outputs, 1, endpoint_level::video, unknown_source);
    add_output(outputs, 1, "lock", "own");
    encode_router_message(outputs, text);
    EXPECT_EQ(text,
              "*COMMAND=info\n*TYPE=message\ninputs=4\noutput routing controls=video,audio\noutputs=2\n"
              "salvo=yes\n\n"
              "*COMMAND=link\n*TYPE=message\nstate=down\ntext=it is silent\n\n"
              "*COMMAND=refused\n*TYPE=message\ncontrol=audio\nfrom input=none\ntext=locked\nto output=1\n\n"
              "*COMMAND=outputs\n*TYPE=message\no0.input.all=3\no1.input.video=unknown\no1.lock=own\n\n");
}

TEST(EndpointInput, ServeHandsOutAllThatWaitsAndTellsTheEnd) {
    expect_in_backend([](driver_ends& driver) {
        int messages = 0;
        const auto count = [&](const TavrixAPIRouterMessage&) { ++messages; };
        driver.write_input("*COMMAND=a\n\n*COMMAND=b\n\n*COMMAND=c\n");
        REQUIRE(endpoint_serve(count) == 0);
        REQUIRE(messages == 2);
        driver.write_input("\n");
        close(driver.input);
        REQUIRE(endpoint_serve(count) == 0);
        REQUIRE(messages == 3);
        REQUIRE(endpoint_serve(count) == -1);
    });
}
