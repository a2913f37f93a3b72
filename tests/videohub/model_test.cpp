// What single blocks do to the picture of the router.
#include "videohub_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class VideohubModel : public testing::Test {
protected:
    videohub_news apply(const std::string& text) {
        return apply_text(model, text);
    }

    std::vector<int> sources() const {
        std::vector<int> list;
        for (const videohub_output& output : model.outputs) {
            list.push_back(output.source);
        }
        return list;
    }

    videohub_model model;
};

} // namespace

TEST_F(VideohubModel, KnowsNothingAtFirst) {
    EXPECT_EQ(model.presence, videohub_presence::unknown);
    EXPECT_FALSE(videohub_state_complete(model, true));
}

TEST_F(VideohubModel, ReadsTheWholeState) {
    apply(whole_state_text);
    EXPECT_EQ(model.version, "2.7");
    EXPECT_EQ(model.presence, videohub_presence::present);
    EXPECT_EQ(model.model_name, "Smart Videohub");
    EXPECT_EQ(model.friendly_name, "Rack 4");
    EXPECT_EQ(model.unique_id, "0123456789AB");
    ASSERT_EQ(model.inputs.size(), 4U);
    ASSERT_EQ(model.outputs.size(), 3U);
    EXPECT_EQ(model.inputs[1].label, "Camera 2");
    EXPECT_EQ(model.inputs[2].label, "");
    EXPECT_EQ(model.outputs[2].label, "Air");
    EXPECT_THAT(sources(), ElementsAre(3, 0, 1));
    EXPECT_EQ(model.outputs[0].lock, videohub_lock::unlocked);
    EXPECT_EQ(model.outputs[1].lock, videohub_lock::other);
    EXPECT_EQ(model.outputs[2].lock, videohub_lock::own);
}

TEST_F(VideohubModel, EndlessLabelsAreCut) {
    apply(whole_state_text);
    apply("OUTPUT LABELS:\n1 " + std::string(100000, 'x') + "\n\n");
    EXPECT_EQ(model.outputs[1].label, std::string(1024, 'x'));
}

TEST_F(VideohubModel, ChangesAreToldByTheirNumbers) {
    apply(whole_state_text);
    EXPECT_THAT(apply("VIDEO OUTPUT ROUTING:\n1 2\n2 1\n\n").routed, ElementsAre(1, 2));
    EXPECT_THAT(sources(), ElementsAre(3, 2, 1));
    EXPECT_THAT(apply("OUTPUT LABELS:\n1 B\n\n").labelled_outputs, ElementsAre(1));
    EXPECT_EQ(model.outputs[1].label, "B");
    EXPECT_THAT(apply("INPUT LABELS:\n3 D\n\n").labelled_inputs, ElementsAre(3));
    EXPECT_EQ(model.inputs[3].label, "D");
    apply("VIDEO OUTPUT LOCKS:\n1 U\n\n");
    EXPECT_EQ(model.outputs[1].lock, videohub_lock::unlocked);
}

TEST_F(VideohubModel, NumbersBeyondTheSizeAreSkipped) {
    apply(whole_state_text);
    const videohub_news news = apply("VIDEO OUTPUT ROUTING:\n3 0\n9999 1\n-1 0\n0 x\n0 -2\n\n");
    EXPECT_THAT(news.routed, IsEmpty());
    EXPECT_THAT(sources(), ElementsAre(3, 0, 1));
    EXPECT_THAT(apply("INPUT LABELS:\n4 x\n\n").labelled_inputs, IsEmpty());
    apply("VIDEO OUTPUT LOCKS:\n3 L\n0 ?\n1\n\n");
    EXPECT_EQ(model.outputs[1].lock, videohub_lock::other);
}

TEST_F(VideohubModel, SourceBeyondTheSizeCountsAsNone) {
    apply(whole_state_text);
    EXPECT_THAT(apply("VIDEO OUTPUT ROUTING:\n0 4\n1 -1\n\n").routed, ElementsAre(0, 1));
    EXPECT_THAT(sources(), ElementsAre(-1, -1, 1));
}

// All the kinds that have nothing to do with takes and names.
TEST_F(VideohubModel, OtherBlocksChangeNothing) {
    apply(whole_state_text);
    for (const std::string header :
         {"MONITORING OUTPUT LABELS", "SERIAL PORT LABELS", "FRAME LABELS", "VIDEO MONITORING OUTPUT ROUTING",
          "SERIAL PORT ROUTING", "PROCESSING UNIT ROUTING", "FRAME BUFFER ROUTING", "MONITORING OUTPUT LOCKS",
          "SERIAL PORT LOCKS", "VIDEO INPUT STATUS", "VIDEO OUTPUT STATUS", "SERIAL PORT STATUS",
          "SERIAL PORT DIRECTIONS", "ALARM STATUS", "CONFIGURATION", "FUTURE BLOCK", "ACK", "NAK"}) {
        EXPECT_FALSE(apply(header + ":\n0 2\n1 U\nTake Mode: true\n\n").known) << header;
    }
    EXPECT_THAT(sources(), ElementsAre(3, 0, 1));
    EXPECT_EQ(model.outputs[1].lock, videohub_lock::other);
    EXPECT_TRUE(videohub_state_complete(model, false));
}

TEST_F(VideohubModel, UnknownLinesAreSkipped) {
    EXPECT_TRUE(apply("PROTOCOL PREAMBLE:\nFuture: 1\nVersion: 2.9\nnonsense\n\n").known);
    EXPECT_EQ(model.version, "2.9");
    apply("VIDEOHUB DEVICE:\nDevice present: true\nFuture: x\nVideo inputs: 4\nVideo outputs: lots\n\n");
    EXPECT_TRUE(model.inputs_known);
    EXPECT_FALSE(model.outputs_known);
}

TEST_F(VideohubModel, AbsentDeviceHasNoPicture) {
    apply(whole_state_text);
    EXPECT_TRUE(apply("VIDEOHUB DEVICE:\nDevice present: false\n\n").device);
    EXPECT_EQ(model.presence, videohub_presence::absent);
    EXPECT_THAT(model.outputs, IsEmpty());
    EXPECT_FALSE(videohub_state_complete(model, true));
    apply("VIDEOHUB DEVICE:\nDevice present: needs_update\n\n");
    EXPECT_EQ(model.presence, videohub_presence::needs_update);
}

TEST_F(VideohubModel, AnotherDeviceResetsThePictureButNotTheProtocol) {
    apply(whole_state_text);
    EXPECT_TRUE(apply("VIDEOHUB DEVICE:\nDevice present: true\nModel name: Small\nVideo inputs: 2\n"
                      "Video outputs: 2\n\n")
                    .device);
    EXPECT_EQ(model.version, "2.7");
    EXPECT_EQ(model.model_name, "Small");
    EXPECT_EQ(model.unique_id, "");
    EXPECT_THAT(sources(), ElementsAre(-1, -1));
    EXPECT_EQ(model.outputs[1].lock, videohub_lock::unlocked);
    EXPECT_FALSE(videohub_state_complete(model, true));
    apply("INPUT LABELS:\n0 a\n1 b\n\nOUTPUT LABELS:\n0 c\n1 d\n\nVIDEO OUTPUT ROUTING:\n0 1\n1 0\n\n" +
          end_text);
    EXPECT_TRUE(videohub_state_complete(model, false));
}

TEST_F(VideohubModel, ChangedSizeAloneResetsThePicture) {
    apply(whole_state_text);
    EXPECT_TRUE(apply("VIDEOHUB DEVICE:\nVideo outputs: 5\n\n").device);
    EXPECT_EQ(model.outputs.size(), 5U);
    EXPECT_EQ(model.inputs.size(), 4U);
    EXPECT_EQ(model.inputs[0].label, "");
    EXPECT_EQ(model.model_name, "Smart Videohub");
    EXPECT_FALSE(videohub_state_complete(model, true));
}

TEST_F(VideohubModel, ChangedFriendlyNameAloneResetsNothing) {
    apply(whole_state_text);
    EXPECT_FALSE(apply("VIDEOHUB DEVICE:\nFriendly name: Rack 5\n\n").device);
    EXPECT_FALSE(apply("VIDEOHUB DEVICE:\nVideo outputs: 3\n\n").device);
    EXPECT_EQ(model.friendly_name, "Rack 5");
    EXPECT_TRUE(videohub_state_complete(model, false));
}

TEST_F(VideohubModel, AbsurdSizeIsCutDown) {
    apply("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 2000000000\nVideo outputs: 5000\n\n");
    EXPECT_EQ(model.inputs.size(), 4096U);
    EXPECT_EQ(model.outputs.size(), 4096U);
    EXPECT_FALSE(apply("VIDEOHUB DEVICE:\nVideo outputs: 6000\n\n").device);
}

TEST_F(VideohubModel, MinorVersionsAreUnderstoodMajorOnesAreNot) {
    EXPECT_TRUE(videohub_version_understood(model));
    for (const std::string version : {"2.2", "2.8", "2.99", "2"}) {
        apply("PROTOCOL PREAMBLE:\nVersion: " + version + "\n\n");
        EXPECT_TRUE(videohub_version_understood(model)) << version;
    }
    for (const std::string version : {"1.0", "3.0", "20.1", "x"}) {
        apply("PROTOCOL PREAMBLE:\nVersion: " + version + "\n\n");
        EXPECT_FALSE(videohub_version_understood(model)) << version;
    }
}
