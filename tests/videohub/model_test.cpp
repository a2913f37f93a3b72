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
    for (const std::string header : {"FRAME LABELS", "PROCESSING UNIT ROUTING", "FRAME BUFFER ROUTING",
                                     "SERIAL PORT DIRECTIONS", "FUTURE BLOCK", "ACK", "NAK"}) {
        EXPECT_FALSE(apply(header + ":\n0 2\n1 U\nTake Mode: true\n\n").known) << header;
    }
    for (const std::string header :
         {"MONITORING OUTPUT LABELS", "VIDEO MONITORING OUTPUT ROUTING", "MONITORING OUTPUT LOCKS",
          "SERIAL PORT LABELS", "SERIAL PORT ROUTING", "SERIAL PORT LOCKS", "SERIAL PORT STATUS"}) {
        apply(header + ":\n0 2\n1 U\n\n");
    }
    EXPECT_THAT(sources(), ElementsAre(3, 0, 1));
    EXPECT_EQ(model.outputs[0].label, "Studio");
    EXPECT_EQ(model.outputs[1].lock, videohub_lock::other);
    EXPECT_TRUE(videohub_state_complete(model, false));
}

TEST_F(VideohubModel, MonitoringOutputsStandAfterTheOthersWhenTheyCount) {
    model.with_monitors = true;
    apply("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4\nVideo outputs: 2\n"
          "Video monitoring outputs: 2\n\nVIDEO OUTPUT ROUTING:\n0 1\n1 2\n2 3\n\n");
    EXPECT_THAT(sources(), ElementsAre(1, 2, -1, -1));
    EXPECT_THAT(apply("VIDEO MONITORING OUTPUT ROUTING:\n1 3\n2 0\n\n").routed, ElementsAre(3));
    EXPECT_THAT(sources(), ElementsAre(1, 2, -1, 3));
    EXPECT_THAT(apply("MONITORING OUTPUT LABELS:\n0 Desk\n\n").labelled_outputs, ElementsAre(2));
    EXPECT_THAT(apply("MONITORING OUTPUT LOCKS:\n0 L\n\n").locked, ElementsAre(2));
    EXPECT_FALSE(apply("VIDEOHUB DEVICE:\nVideo outputs: 2\n\n").device);
    EXPECT_TRUE(apply("VIDEOHUB DEVICE:\nVideo outputs: 2\nVideo monitoring outputs: 1\n\n").device);
    EXPECT_EQ(model.outputs.size(), 3U);
    EXPECT_TRUE(apply("VIDEOHUB DEVICE:\nDevice present: true\nUnique ID: 7\nVideo inputs: 4\n"
                      "Video outputs: 2000\nVideo monitoring outputs: 2000\n\n")
                    .device);
    EXPECT_EQ(model.outputs.size(), 1024U);
    EXPECT_EQ(model.monitors, 0);
}

TEST_F(VideohubModel, SerialPortsStandBehindAllInputsAndOutputsWhenTheyCount) {
    model.with_monitors = model.with_serial_ports = true;
    apply("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4\nVideo outputs: 2\n"
          "Video monitoring outputs: 1\nSerial ports: 3\n\n"
          "VIDEO OUTPUT ROUTING:\n0 1\n1 4\n2 3\n\nVIDEO MONITORING OUTPUT ROUTING:\n0 2\n\n");
    EXPECT_EQ(model.inputs.size(), 7U);
    EXPECT_THAT(apply("SERIAL PORT ROUTING:\n0 2\n1 -1\n2 3\n3 0\n\n").routed, ElementsAre(3, 4, 5));
    EXPECT_THAT(sources(), ElementsAre(1, -1, 2, 6, -1, -1));
    const videohub_news labels = apply("SERIAL PORT LABELS:\n1 Deck\n\nSERIAL PORT LABELS:\n2 Desk\n\n");
    EXPECT_THAT(labels.labelled_inputs, ElementsAre(6));
    EXPECT_THAT(labels.labelled_outputs, ElementsAre(5));
    EXPECT_EQ(model.inputs[5].label, "Deck");
    EXPECT_EQ(model.outputs[4].label, "Deck");
    EXPECT_THAT(apply("SERIAL PORT LOCKS:\n0 O\n\n").locked, ElementsAre(3));
    EXPECT_THAT(apply("SERIAL PORT STATUS:\n1 RS422\n\n").output_statuses, ElementsAre(4));
    EXPECT_THAT(apply("VIDEO INPUT STATUS:\n3 BNC\n4 BNC\n\n").input_statuses, ElementsAre(3));
    EXPECT_THAT(apply("INPUT LABELS:\n4 No input of video\n\n").labelled_inputs, IsEmpty());
    EXPECT_FALSE(apply("VIDEOHUB DEVICE:\nVideo inputs: 4\nSerial ports: 3\n\n").device);
    EXPECT_TRUE(apply("VIDEOHUB DEVICE:\nSerial ports: 2\n\n").device);
    EXPECT_EQ(model.inputs.size(), 6U);
    EXPECT_EQ(model.outputs.size(), 5U);
}

TEST_F(VideohubModel, SerialPortsBeyondWhatCountsAreLeftOut) {
    model.with_serial_ports = true;
    apply("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 4000\nVideo outputs: 1000\n"
          "Serial ports: 2000\n\n");
    EXPECT_EQ(model.outputs.size(), 1024U);
    EXPECT_EQ(model.inputs.size(), 4024U);
    EXPECT_EQ(model.serial_ports, 24);
}

TEST_F(VideohubModel, UnknownLinesAreSkipped) {
    EXPECT_TRUE(apply("PROTOCOL PREAMBLE:\nFuture: 1\nVersion: 2.9\nnonsense\n\n").known);
    EXPECT_EQ(model.version, "2.9");
    apply("VIDEOHUB DEVICE:\nDevice present: true\nFuture: x\nVideo inputs: 4\nVideo outputs: lots\n\n");
    EXPECT_TRUE(model.inputs_known);
    EXPECT_FALSE(model.outputs_known);
}

TEST_F(VideohubModel, SizesThatTheNextPropertyFollowsInTheirLineAreRead) {
    apply("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: 41Video processing units: 0\n"
          "Video outputs: 10Video monitoring outputs: 0\n\n");
    EXPECT_EQ(model.inputs.size(), 41U);
    EXPECT_EQ(model.outputs.size(), 10U);
}

TEST_F(VideohubModel, SizesThatAreNoNumbersAreNotKnown) {
    for (const std::string size : {"", "-1", "16x16", "x1", "1.5", "two: 2"}) {
        apply("VIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: " + size + "\nVideo outputs: 2\n\n");
        EXPECT_FALSE(model.inputs_known) << size;
        EXPECT_TRUE(model.outputs_known) << size;
    }
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
    EXPECT_EQ(model.outputs.size(), 1024U);
    EXPECT_FALSE(apply("VIDEOHUB DEVICE:\nVideo outputs: 6000\n\n").device);
}

TEST_F(VideohubModel, AlarmsAreBounded) {
    apply(whole_state_text);
    std::string lines;
    for (int n = 0; n < 100; ++n) {
        lines += "Alarm " + std::to_string(n) + ": " + std::string(2000, 'x') + "\n";
    }
    apply("ALARM STATUS:\n" + lines + "\n");
    EXPECT_EQ(model.alarms.size(), most_videohub_alarms);
    EXPECT_EQ(model.alarms.begin()->second.size(), most_videohub_label_bytes);
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
