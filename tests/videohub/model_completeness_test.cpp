// When the state that a router sends at the beginning is complete.
#include "videohub_texts.h"

#include <gtest/gtest.h>

namespace {

bool complete_after(const std::string& text, bool quiet) {
    videohub_model model;
    apply_text(model, text);
    return videohub_state_complete(model, quiet);
}

std::string square_router(int size) {
    std::string text = preamble_text +
                       "VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: " + std::to_string(size) +
                       "\nVideo outputs: " + std::to_string(size) + "\n\n";
    std::map<int, std::string> labels;
    std::map<int, std::string> routing;
    for (int number = 0; number < size; ++number) {
        labels[number] = "Port " + std::to_string(number + 1);
        routing[number] = std::to_string(size - 1 - number);
    }
    return text + videohub_block_text("INPUT LABELS", labels) + videohub_block_text("OUTPUT LABELS", labels) +
           videohub_block_text("VIDEO OUTPUT ROUTING", routing);
}

} // namespace

TEST(VideohubState, IsCompleteWithTheEndOfThePrelude) {
    EXPECT_FALSE(
        complete_after(preamble_text + device_text + labels_text + locks_text + routing_text, false));
    EXPECT_TRUE(complete_after(whole_state_text, false));
}

TEST(VideohubState, OfVersionsWithoutThatEndIsCompleteWhenAllIsKnownAndItIsQuiet) {
    const std::string all = "PROTOCOL PREAMBLE:\nVersion: 2.3\n\n" + device_text + labels_text + routing_text;
    EXPECT_FALSE(complete_after(all, false));
    EXPECT_TRUE(complete_after(all, true));
    EXPECT_FALSE(complete_after(device_text + labels_text, true));
    EXPECT_FALSE(complete_after(device_text + routing_text, true));
    EXPECT_FALSE(complete_after(labels_text + routing_text, true));
}

TEST(VideohubState, WithAnOutputUnknownIsCompleteOnlyWhenTheRouterSaysSo) {
    const std::string half = device_text + labels_text + "VIDEO OUTPUT ROUTING:\n0 1\n2 1\n\n";
    EXPECT_FALSE(complete_after(half, true));
    EXPECT_TRUE(complete_after(half + end_text, false));
}

TEST(VideohubState, HasItsBlocksInAnyOrder) {
    EXPECT_TRUE(complete_after(preamble_text + device_text + routing_text + labels_text + end_text, false));
    EXPECT_TRUE(complete_after(
        preamble_text + device_text + locks_text + routing_text + labels_text + end_text, false));
}

TEST(VideohubState, OfARouterWithoutPortsIsComplete) {
    EXPECT_TRUE(complete_after(
        "VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 0\nVideo outputs: 0\n\n", true));
}

TEST(VideohubState, OfEverySizeIsReadInPiecesOfAnyLength) {
    for (const int size : {1, 40, 288}) {
        const std::string text = square_router(size) + end_text;
        for (const std::size_t piece : {1U, 7U, 1460U}) {
            videohub_model model;
            videohub_reader reader;
            for (std::size_t at = 0; at < text.size(); at += piece) {
                std::vector<videohub_block> blocks;
                ASSERT_TRUE(read_videohub_bytes(reader, std::string_view(text).substr(at, piece), blocks));
                for (const videohub_block& block : blocks) {
                    apply_videohub_block(model, block);
                }
            }
            ASSERT_TRUE(videohub_state_complete(model, false)) << size << " in pieces of " << piece;
            EXPECT_EQ(model.outputs.back().source, 0);
            EXPECT_EQ(model.outputs.back().label, "Port " + std::to_string(size));
        }
    }
}
