// What a server understands of what clients send.
#include "videohub_requests.h"
#include "videohub_server_texts.h"
#include "videohub_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr videohub_served_size size{4, 3};

videohub_request request(const std::string& text) {
    return read_videohub_request(blocks_of(text).at(0), size);
}

bool is_refused(const std::string& text) {
    const videohub_request read = request(text);
    EXPECT_EQ(read.understood, read.problem.empty()) << text;
    EXPECT_EQ(read.problem.find('\n'), std::string::npos) << text;
    return !read.understood && read.takes.empty() && read.labels.empty() && read.locks.empty();
}

} // namespace

TEST(VideohubRequests, BlockOfRoutingIsTakes) {
    const videohub_request read = request("VIDEO OUTPUT ROUTING:\n0 3\n2  1 \r\n\n");
    EXPECT_TRUE(read.understood);
    EXPECT_FALSE(read.whole);
    EXPECT_EQ(read.topic, videohub_topic::routing);
    EXPECT_THAT(read.takes, ElementsAre(Pair(0, 3), Pair(2, 1)));
}

TEST(VideohubRequests, OfTwoLinesForANumberTheLastOneCounts) {
    EXPECT_THAT(request("VIDEO OUTPUT ROUTING:\n1 3\n1 0\n\n").takes, ElementsAre(Pair(1, 0)));
}

TEST(VideohubRequests, LabelIsAllBehindTheFirstBlank) {
    EXPECT_THAT(request("INPUT LABELS:\n3 a: b \n0\n1 \n2  two\n\n").labels,
                ElementsAre(Pair(0, ""), Pair(1, ""), Pair(2, " two"), Pair(3, "a: b ")));
    EXPECT_THAT(request("OUTPUT LABELS:\n2 x\n\n").labels, ElementsAre(Pair(2, "x")));
}

TEST(VideohubRequests, LabelThatIsTooLongIsRefused) {
    const std::string longest(most_videohub_label_bytes, 'x');
    EXPECT_TRUE(request("INPUT LABELS:\n1 " + longest + "\n\n").understood);
    EXPECT_TRUE(is_refused("INPUT LABELS:\n0 y\n1 " + longest + "x\n\n"));
}

TEST(VideohubRequests, LocksAreLettersOfOrders) {
    EXPECT_THAT(request("VIDEO OUTPUT LOCKS:\n0 O\n1 U\n2 F\n\n").locks,
                ElementsAre(Pair(0, videohub_lock_wish::lock), Pair(1, videohub_lock_wish::unlock),
                            Pair(2, videohub_lock_wish::force_unlock)));
    for (const char* text : {"0 L", "0 o", "0 OO", "0", "0 ", "3 O"})
        EXPECT_TRUE(is_refused("VIDEO OUTPUT LOCKS:\n1 U\n" + std::string(text) + "\n\n")) << text;
}

TEST(VideohubRequests, BlockWithoutLinesAsksForTheWhole) {
    for (const auto topic :
         {videohub_topic::device, videohub_topic::preamble, videohub_topic::input_labels,
          videohub_topic::output_labels, videohub_topic::locks, videohub_topic::routing,
          videohub_topic::configuration, videohub_topic::take_modes, videohub_topic::ping}) {
        const videohub_request read = request(std::string(videohub_header(topic)) + ":\n\n");
        EXPECT_TRUE(read.understood && read.whole);
        EXPECT_EQ(read.topic, topic);
    }
}

TEST(VideohubRequests, TakeModesAreUnderstood) {
    EXPECT_TRUE(request("CONFIGURATION:\nTake Mode: true\n\n").understood);
    EXPECT_TRUE(request("TAKE MODE:\n0 true\n2 false\n\n").understood);
    EXPECT_TRUE(is_refused("CONFIGURATION:\nTake Mode: maybe\n\n"));
    EXPECT_TRUE(is_refused("CONFIGURATION:\nOther: true\n\n"));
    EXPECT_TRUE(is_refused("TAKE MODE:\n3 true\n\n"));
}

TEST(VideohubRequests, OneWrongLineRefusesTheBlock) {
    for (const char* line : {"3 0", "0 4", "0 -1", "-1 0", "+1 0", "0x1 0", "0", "0 ", "0 1 2", "0,1",
                             "one 1", "99999999999999999999 1", "0 99999999999999999999", "0 1.5"})
        EXPECT_TRUE(is_refused("VIDEO OUTPUT ROUTING:\n1 1\n" + std::string(line) + "\n\n")) << line;
}

TEST(VideohubRequests, UnknownBlocksAreRefused) {
    for (const char* header : {"VIDEO MONITORING OUTPUT ROUTING", "SERIAL PORT ROUTING",
                               "video output routing", "ACK", "NAK", "GET / HTTP/1.1"})
        EXPECT_TRUE(is_refused(std::string(header) + ":\n0 1\n\n")) << header;
    EXPECT_TRUE(is_refused("PING:\nwho\n\n"));
    EXPECT_TRUE(is_refused("VIDEOHUB DEVICE:\nFriendly name: mine\n\n"));
}

TEST(VideohubRequests, ProblemShowsNoBytesThatSteerATerminal) {
    const videohub_request read = request("\x1b[31m\xff" + std::string(500, 'x') + ":\n\n");
    EXPECT_EQ(read.problem, "the block \"?[31m?" + std::string(54, 'x') + "\" is not known here");
}

TEST(VideohubServerTexts, AreReadByTheClientsSide) {
    videohub_model model;
    const videohub_device_description device{true, "Server\nX: 1", "Studio", "0123456789AB", {5, 3}};
    apply_text(model, videohub_preamble_text());
    apply_text(model, videohub_device_text(device));
    apply_text(model, videohub_configuration_text());
    apply_text(model, videohub_end_of_prelude_text());
    EXPECT_EQ(model.version, "2.8");
    EXPECT_TRUE(videohub_version_understood(model));
    EXPECT_EQ(model.presence, videohub_presence::present);
    EXPECT_EQ(model.model_name, "Server X: 1");
    EXPECT_EQ(model.friendly_name, "Studio");
    EXPECT_EQ(model.unique_id, "0123456789AB");
    EXPECT_EQ(model.inputs.size(), 5U);
    EXPECT_EQ(model.outputs.size(), 3U);
    EXPECT_EQ(model.take_mode, "false");
    EXPECT_TRUE(model.prelude_ended);
}

TEST(VideohubServerTexts, SayNothingElseOfAMissingDevice) {
    EXPECT_EQ(videohub_device_text({}), "VIDEOHUB DEVICE:\nDevice present: false\n\n");
}

TEST(VideohubBlocks, ReaderOfAServerHoldsWhatItIsTold) {
    videohub_reader reader;
    reader.most_bytes = 32;
    std::vector<videohub_block> blocks;
    EXPECT_TRUE(read_videohub_bytes(reader, "PING:\n\n" + std::string(32, 'x'), blocks));
    EXPECT_FALSE(read_videohub_bytes(reader, "x", blocks));
    EXPECT_EQ(blocks.size(), 1U);
}
