// Clients that send nonsense, send too much, or do not listen.
#include "bad_client_fixture.h"

#include "comm_socket_v4_limits.h"
#include "monotonic_us.h"

#include <array>
#include <poll.h>
#include <sys/socket.h>

namespace {

class BadClient : public bad_client_fixture {};

constexpr int patience_ms = std::chrono::milliseconds(test_patience).count();

// A header that announces a body of `length` bytes.
std::string header(std::uint32_t length) {
    std::string bytes = request_bytes("ping").substr(0, 20);
    for (std::size_t i = 0; i < 4; ++i)
        bytes[8 + i] = static_cast<char>(length >> (24 - 8 * i));
    return bytes;
}

std::string packet(const std::string& body) {
    return header(static_cast<std::uint32_t>(body.size())) + body;
}

std::string text(const std::string& content) {
    std::string bytes(4, '\0');
    for (std::size_t i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>(content.size() >> (24 - 8 * i));
    return bytes + content;
}

bool closed_by_driver(const test_client& client) {
    pollfd wait{client.fd(), POLLIN, 0};
    char byte = 0;
    return poll(&wait, 1, 0) == 1 && recv(client.fd(), &byte, 1, MSG_DONTWAIT) <= 0;
}

} // namespace

TEST_F(BadClient, PacketThatStaysIncompleteIsCutAtItsTimeLimit) {
    const std::string request = request_bytes("status");
    const std::uint64_t start = monotonic_us();
    const test_client first_byte(socket());
    const test_client half(socket());
    first_byte.send_bytes(request.substr(0, 1));
    half.send_bytes(request.substr(0, request.size() / 2));
    const auto both_closed = [&] {
        EXPECT_EQ(witness_.request("ping").command, "ping");
        return closed_by_driver(first_byte) && closed_by_driver(half);
    };
    wait_until("both are cut", both_closed);
    EXPECT_GE(monotonic_us() - start, comm_incomplete_packet_us);
    EXPECT_EQ(told("Client cut: its packet stays incomplete (user "), 2U);
}

TEST_F(BadClient, BytesThatTrickleInDoNotProlongTheTimeLimit) {
    const std::string endless = packet(text(std::string(100000, 'x')));
    const test_client dripping(socket());
    const std::uint64_t start = monotonic_us();
    std::size_t at = 0;
    wait_until("the client is cut", [&] {
        if (at < endless.size() && !dripping.send_bytes(endless.substr(at++, 1)))
            return true;
        return closed_by_driver(dripping);
    });
    EXPECT_GE(monotonic_us() - start, comm_incomplete_packet_us);
    EXPECT_LT(at, endless.size());
    EXPECT_EQ(told("Client cut: its packet stays incomplete (user "), 1U);
}

TEST_F(BadClient, WrongMagicOrVersionIsCutAtOnce) {
    const std::string no_packet = "what it sent is no packet";
    expect_cut("GET / HTTP/1.1\r\n\r\n", no_packet);
    expect_cut("X", no_packet);
    std::string request = request_bytes("ping");
    request[5] = 2;
    expect_cut(request, no_packet);
}

TEST_F(BadClient, ImpossibleLengthIsCutAtOnce) {
    for (const std::uint32_t length : {0U, 1048577U, 0x80000000U, 0xffffffffU})
        expect_cut(header(length), "what it sent is no packet");
}

TEST_F(BadClient, MalformedBodyIsCutWithoutAReply) {
    const std::string command = "C" + text("ping");
    const std::array<std::string, 9> bodies = {
        "C",                                     // no text
        std::string("C\x00\x00\x00\x05ping", 9), // a text cut short
        std::string("C\xff\xff\xff\xffping", 9), // a text of 4 GiB
        "C" + text(""),                          // an empty command
        "E",                                     // no command
        command + command,                       // a second command
        command + "EE",                          // a second end of arguments
        command + "E" + "A" + text("3=2"),       // an argument behind the end of arguments
        command + "Z" + text("what"),            // an unknown kind
    };
    for (const std::string& body : bodies)
        expect_cut(packet(body), "malformed packet");
    expect_cut(packet(command + "N" + text("name")), "malformed packet"); // an entry without its value
}

TEST_F(BadClient, GoodRequestsBeforeTheNonsenseAreAnswered) {
    const test_client bad(socket());
    bad.send_bytes(request_bytes("ping") + request_bytes("status") + "nonsense");
    const std::vector<test_reply> replies = replies_in(bad.read_until_closed());
    ASSERT_EQ(replies.size(), 2U);
    EXPECT_EQ(replies[0].command, "ping");
    EXPECT_EQ(replies[1].entry("out points"), "128");
}

TEST_F(BadClient, TenThousandEntriesAreHandledOneByOne) {
    test_client busy(socket());
    EXPECT_EQ(busy.request("route", {}, name_values(10000, {"unknown", "1=2"})).command, "route");
    EXPECT_EQ(busy.request("router set", {}, name_values(10000, {"output.9999.name", "x"})).command,
              "router set");
    EXPECT_EQ(busy.request("set", {}, name_values(10000, {"one setting", "x"})).command, "set");
    driver_.wait_for_trace("Notify server 'one setting' = 'x'\n");
    EXPECT_EQ(told("Notify server 'one setting'"), 1U);
    EXPECT_EQ(busy.request("route", std::vector<std::string>(10000, "no take")).command, "route");
}

TEST_F(BadClient, TenThousandTakesOfOneOutputAreQueuedAndTheLastIsShown) {
    test_client busy(socket());
    name_values takes(9999, {"set", "3=1"});
    takes.emplace_back("set", "3=77");
    EXPECT_EQ(busy.request("route", {}, takes).command, "route");
    EXPECT_EQ(witness_.request("ping").command, "ping");
    EXPECT_EQ(told("'3' = '1'\n"), 9999U);
    EXPECT_EQ(told("'queue=flush'\n"), 1U);
}

TEST_F(BadClient, NamesAndValuesMayHoldAnything) {
    test_client odd(socket());
    const std::string nul("before\0behind", 13);
    EXPECT_EQ(
        odd.request("set", {}, {{"a=b", "c=d"}, {"", ""}, {"line\nfeed", "x\n\ny"}, {nul, nul}}).command,
        "set");
    driver_.wait_for_trace("Notify server '' = ''\n");
    driver_.wait_for_trace("STDIN: 'name=a=b'\nSTDIN: 'value=c=d'\nSTDIN: ''\n");
    driver_.wait_for_trace("STDIN: 'name=before'\nSTDIN: 'value=before'\nSTDIN: ''\n");
    driver_.wait_for_trace("STDIN: 'name=line'\nSTDIN: 'name=feed'\nSTDIN: 'value=x'\nSTDIN: 'value='\n"
                           "STDIN: 'value=y'\nSTDIN: ''\n");
    EXPECT_EQ(odd.request("router set", {}, {{"output.2.name", "left=right\nsecond"}, {nul, nul}}).command,
              "router set");
    wait_for_status(odd, "output.name 2", "left=right\nsecond");
    EXPECT_EQ(odd.request("route", {nul, "=", "3=", "==", "\n"}, {{"set", nul}, {"set", "=\n="}}).command,
              "route");
    const test_reply refused = odd.request("no such\ncommand=");
    EXPECT_EQ(refused.command, "error");
    EXPECT_EQ(refused.result, 1U);
    EXPECT_EQ(refused.arguments, std::vector<std::string>{"unknown command 'no such\ncommand='"});
}

// Such a name would not stay one line of the message it is sent in.
TEST_F(BadClient, PropertyNameWithLineFeedsReachesNoBackend) {
    test_client odd(socket());
    const std::string smuggled = "output.1.x\n\n*COMMAND=route output\n*TYPE=command\nqueue=flush\n\ny";
    EXPECT_EQ(odd.request("router set", {}, {{smuggled, "z"}, {"output.1.a=b", "z"}}).command, "router set");
    EXPECT_EQ(told("STDIN: '*COMMAND=router set'\n"), 0U);
    EXPECT_EQ(told("STDIN: '*COMMAND=route output'\n"), 0U);
}

TEST_F(BadClient, RequestsBeyondTheLongestTokenAndNameAreSurvived) {
    test_client odd(socket());
    const std::string longest(1000000, '9');
    EXPECT_EQ(odd.route(longest + "=" + std::string(1000, '9')).command, "route");
    EXPECT_EQ(odd.request("route", {}, {{"set", longest}}).command, "route");
    EXPECT_EQ(odd.request("set", {}, {{std::string(100000, 'n'), "1"}}).command, "set");
    EXPECT_EQ(odd.request("router set", {}, {{"output." + longest + ".name", "x"}}).command, "router set");
    const test_reply refused = odd.request(longest);
    EXPECT_EQ(refused.command, "error");
    EXPECT_LT(refused.arguments.at(0).size(), 200U);
}

TEST_F(BadClient, ClientThatDoesNotReadItsRepliesIsCutWithOneLine) {
    const test_client deaf(socket());
    std::string requests;
    for (int i = 0; i < 100; ++i)
        requests += request_bytes("status");
    std::size_t sent = 0;
    while (deaf.send_bytes(requests)) {
        EXPECT_EQ(witness_.request("ping").command, "ping");
        ASSERT_LT(++sent, 10000U) << "never cut";
    }
    EXPECT_EQ(told("Client cut: it does not read its replies (user "), 1U);
    EXPECT_GT(deaf.read_until_closed().size(), 0U);
}

TEST_F(BadClient, SlowReaderGetsAllItsReplies) {
    const std::vector<std::string> requests(60, request_bytes("status"));
    const std::vector<test_reply> replies = ask_at_once(socket(), requests);
    ASSERT_EQ(replies.size(), requests.size());
    for (const test_reply& reply : replies)
        EXPECT_EQ(reply.entries.size(), 3 * 128 + 7U);
}

TEST_F(BadClient, ClientThatDiesInTheMiddleOfItsReplyIsForgotten) {
    for (int i = 0; i < 20; ++i) {
        const test_client dying(socket());
        std::string requests;
        for (int j = 0; j < 50; ++j)
            requests += request_bytes("status");
        dying.send_bytes(requests);
        pollfd wait{dying.fd(), POLLIN, 0};
        EXPECT_EQ(poll(&wait, 1, patience_ms), 1);
        char byte = 0;
        EXPECT_EQ(recv(dying.fd(), &byte, 1, 0), 1);
    }
    EXPECT_EQ(told("Client cut: "), 0U);
}

TEST_F(BadClient, ClientThatClosesItsSendingSideStillGetsItsReplies) {
    const auto replies = ask_at_once(socket(), {request_bytes("ping"), request_bytes("status"),
                                                request_bytes("nonsense"), request_bytes("route", {"3=4"})});
    ASSERT_EQ(replies.size(), 4U);
    EXPECT_EQ(replies[0].command, "ping");
    EXPECT_EQ(replies[1].command, "status");
    EXPECT_EQ(replies[2].command, "error");
    EXPECT_EQ(replies[3].command, "route");
    wait_for_status(witness_, "output 3", "4,4");
}

TEST_F(BadClient, PipelinedRequestsAreAnsweredInOrder) {
    std::vector<std::string> requests;
    requests.reserve(1000);
    for (int i = 0; i < 1000; ++i)
        requests.push_back(request_bytes("question " + std::to_string(i)));
    const auto replies = ask_at_once(socket(), requests);
    ASSERT_EQ(replies.size(), requests.size());
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(replies[static_cast<std::size_t>(i)].arguments,
                  std::vector<std::string>{"unknown command 'question " + std::to_string(i) + "'"});
}
