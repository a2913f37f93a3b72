#include "comm_socket_v4_limits.h"
#include "comm_socket_v4_packet.h"
#include "packet_texts.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>

using namespace std::string_literals;

namespace {

const std::string command = "C" + counted("route");
const std::string argument = "A" + counted("3=2");
const std::string end_of_arguments = "E";
const std::string entry = "N" + counted("set") + counted("4=5,6");

bool body_is_good(const std::string& body) {
    comm_socket_v4_packet packet;
    const bool good = decode(&packet, with_header(body));
    EXPECT_EQ(packet.items.empty(), !good); // nothing half-read is left
    EXPECT_EQ(comm_socket_v4_packet_get_command(&packet)[0] == '\0', !good);
    return good;
}

} // namespace

TEST(PacketBody, GoodOnesAreTaken) {
    EXPECT_TRUE(body_is_good(command));
    EXPECT_TRUE(body_is_good(command + end_of_arguments));
    EXPECT_TRUE(body_is_good(command + argument + argument + end_of_arguments + entry + entry));
    EXPECT_TRUE(body_is_good(command + entry + argument + end_of_arguments));
    EXPECT_TRUE(body_is_good(command + "A" + counted("") + "N" + counted("") + counted("")));
}

TEST(PacketBody, NeedsExactlyOneCommandInFront) {
    EXPECT_FALSE(body_is_good(argument));
    EXPECT_FALSE(body_is_good(end_of_arguments));
    EXPECT_FALSE(body_is_good(entry));
    EXPECT_FALSE(body_is_good(argument + command));
    EXPECT_FALSE(body_is_good(command + command));
    EXPECT_FALSE(body_is_good(command + argument + command));
    EXPECT_FALSE(body_is_good("C" + counted("")));
}

TEST(PacketBody, EndsItsArgumentsOnce) {
    EXPECT_FALSE(body_is_good(command + end_of_arguments + end_of_arguments));
    EXPECT_FALSE(body_is_good(command + end_of_arguments + argument));
    EXPECT_FALSE(body_is_good(command + end_of_arguments + entry + argument));
}

TEST(PacketBody, UnknownKindsAreRefused) {
    for (int kind = 0; kind < 256; ++kind) {
        const std::string body = command + static_cast<char>(kind) + counted("x") + counted("y");
        EXPECT_EQ(body_is_good(body), kind == 'N') << kind;
    }
}

TEST(PacketBody, LengthsBeyondTheBodyAreRefused) {
    for (const std::uint64_t length : {6U, 7U, 0x7fffffffU, 0x80000000U, 0xfffffff0U, 0xffffffffU}) {
        EXPECT_FALSE(body_is_good("C" + big_endian(4, length) + "route"));
        EXPECT_FALSE(body_is_good(command + "N" + big_endian(4, length) + "set" + counted("x")));
        EXPECT_FALSE(body_is_good(command + "N" + counted("set") + big_endian(4, length) + "x"));
    }
}

TEST(PacketBody, CutShortAtAnyByteIsRefusedUnlessWholeItemsRemain) {
    const std::string body = command + argument + end_of_arguments + entry;
    const std::size_t whole_items[] = {command.size(), command.size() + argument.size(),
                                       command.size() + argument.size() + 1, body.size()};
    for (std::size_t length = 1; length <= body.size(); ++length) {
        const bool whole =
            std::find(std::begin(whole_items), std::end(whole_items), length) != std::end(whole_items);
        EXPECT_EQ(body_is_good(body.substr(0, length)), whole) << length;
    }
}

TEST(PacketFrame, CutShortAtAnyByteIsIncomplete) {
    const std::string bytes = with_header(command + argument + end_of_arguments + entry);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        // An own copy of exactly this length, so that reading beyond it is noticed.
        const std::string cut(bytes.data(), length);
        std::size_t size = 77;
        EXPECT_EQ(frame(cut, &size), comm_packet_frame::incomplete) << length;
        EXPECT_EQ(size, 77U);
        comm_socket_v4_packet packet;
        EXPECT_FALSE(decode(&packet, cut)) << length;
    }
    std::size_t size = 0;
    EXPECT_EQ(frame(bytes, &size), comm_packet_frame::complete);
    EXPECT_EQ(size, bytes.size());
}

TEST(PacketFrame, EndsBeforeTheNextPacket) {
    const std::string bytes = with_header(command);
    std::size_t size = 0;
    EXPECT_EQ(frame(bytes + bytes, &size), comm_packet_frame::complete);
    EXPECT_EQ(size, bytes.size());
    comm_socket_v4_packet packet;
    EXPECT_FALSE(decode(&packet, bytes + bytes));
}

TEST(PacketFrame, WrongMagicIsToldAtItsFirstWrongByte) {
    const std::string magic = "TVX4";
    for (std::size_t wrong = 0; wrong < magic.size(); ++wrong) {
        std::size_t size = 0;
        EXPECT_EQ(frame(magic.substr(0, wrong), &size), comm_packet_frame::incomplete);
        EXPECT_EQ(frame(magic.substr(0, wrong) + "?", &size), comm_packet_frame::invalid);
    }
}

TEST(PacketFrame, OtherVersionsAreRefusedAsSoonAsTheyAreRead) {
    std::size_t size = 0;
    for (const unsigned version : {0U, 2U, 256U, 257U, 65535U})
        EXPECT_EQ(frame(packet_header(1, version).substr(0, 6), &size), comm_packet_frame::invalid);
    EXPECT_EQ(frame(packet_header(1).substr(0, 6), &size), comm_packet_frame::incomplete);
}

TEST(PacketFrame, BodyLengthIsBounded) {
    const std::uint64_t limit = comm_max_packet_bytes;
    for (const std::uint64_t length : {std::uint64_t{1}, limit - 1, limit}) {
        std::size_t size = 0;
        EXPECT_EQ(frame(packet_header(length), &size), comm_packet_frame::incomplete) << length;
    }
    for (const std::uint64_t length :
         {std::uint64_t{0}, limit + 1, std::uint64_t{0x80000000U}, std::uint64_t{0xffffffffU}}) {
        std::size_t size = 0;
        EXPECT_EQ(frame(packet_header(length).substr(0, 12), &size), comm_packet_frame::invalid) << length;
        EXPECT_EQ(frame(packet_header(length), &size), comm_packet_frame::invalid) << length;
    }
}

TEST(PacketBody, OfTheLargestSizeIsReadToItsLastByte) {
    const std::string body = command + "A" + big_endian(4, comm_max_packet_bytes - command.size() - 5) +
                             std::string(comm_max_packet_bytes - command.size() - 5, 'a');
    ASSERT_EQ(body.size(), comm_max_packet_bytes);
    EXPECT_TRUE(body_is_good(body));
    comm_socket_v4_packet packet;
    EXPECT_FALSE(decode(&packet, packet_header(body.size() + 1) + body + "E"));
}
