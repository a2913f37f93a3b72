#include "comm_socket_v4_limits.h"
#include "comm_socket_v4_packet.h"
#include "packet_texts.h"

#include <cstring>
#include <gtest/gtest.h>

using namespace std::string_literals;

namespace {

// What arrives when `packet` is sent.
comm_socket_v4_packet delivered(const comm_socket_v4_packet& packet) {
    comm_socket_v4_packet arrived;
    EXPECT_TRUE(decode(&arrived, packet.bytes));
    return arrived;
}

comm_socket_v4_packet take_request() {
    comm_socket_v4_packet packet;
    EXPECT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "route", "3=2"), 0);
    comm_socket_v4_packet_write_arg(&packet, "4=5,6");
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "set", "7=8 9=0");
    EXPECT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    return packet;
}

} // namespace

TEST(Packet, KeepsTheOrderInWhichItWasWritten) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "status", nullptr), 0);
    comm_socket_v4_packet_write_nv_pair(&packet, "input.name 1", "Camera 1");
    comm_socket_v4_packet_write_arg(&packet, "late argument");
    comm_socket_v4_packet_write_nv_pairf(&packet, "output 1", "%d,%d", 3, -1);
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pairf(&packet, "in points", "%u", 4294967295U);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_EQ(texts_of(delivered(packet)), "C(status) N(input.name 1|Camera 1) A(late argument) "
                                           "N(output 1|3,-1) E N(in points|4294967295)");
}

TEST(Packet, IsReadThroughCountsAndIndexes) {
    const comm_socket_v4_packet packet = delivered(take_request());
    EXPECT_STREQ(comm_socket_v4_packet_get_command(&packet), "route");
    ASSERT_EQ(comm_socket_v4_packet_get_argc(&packet), 2U);
    EXPECT_STREQ(comm_socket_v4_packet_get_argv(&packet, 0), "3=2");
    EXPECT_STREQ(comm_socket_v4_packet_get_argv(&packet, 1), "4=5,6");
    EXPECT_EQ(comm_socket_v4_packet_get_argv(&packet, 2), nullptr);
    ASSERT_EQ(comm_socket_v4_packet_nv_entries(&packet), 1U);
    const auto* entry = comm_socket_v4_packet_get_nv_entry(&packet, 0);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(comm_socket_v4_packet_get_nv_pair_name(&packet, entry), "set");
    EXPECT_STREQ(comm_socket_v4_packet_get_nv_pair_value_text(&packet, entry), "7=8 9=0");
    EXPECT_EQ(comm_socket_v4_packet_get_nv_entry(&packet, 1), nullptr);
    EXPECT_EQ(comm_socket_v4_packet_get_nv_pair_name(&packet, nullptr), nullptr);
    EXPECT_EQ(comm_socket_v4_packet_get_nv_pair_value_text(&packet, nullptr), nullptr);
}

TEST(Packet, NeverDecodedIsEmpty) {
    const comm_socket_v4_packet packet;
    EXPECT_STREQ(comm_socket_v4_packet_get_command(&packet), "");
    EXPECT_EQ(comm_socket_v4_packet_get_argc(&packet), 0U);
    EXPECT_EQ(comm_socket_v4_packet_get_argv(&packet, 0), nullptr);
    EXPECT_EQ(comm_socket_v4_packet_nv_entries(&packet), 0U);
}

TEST(Packet, CommandAloneIsAPacket) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "ping", nullptr), 0);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_EQ(texts_of(delivered(packet)), "C(ping)");
}

TEST(Packet, NeedsACommand) {
    comm_socket_v4_packet packet;
    EXPECT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, nullptr, nullptr), -1);
    EXPECT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "", nullptr), -1);
    EXPECT_EQ(comm_socket_v4_packet_write_end(&packet), -1);
}

TEST(Packet, EndsOnce) {
    comm_socket_v4_packet packet = take_request();
    const std::string bytes = packet.bytes;
    EXPECT_EQ(comm_socket_v4_packet_write_end(&packet), -1);
    comm_socket_v4_packet_write_arg(&packet, "too late");
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "too", "late");
    EXPECT_EQ(packet.bytes, bytes);
}

TEST(Packet, ResultSetBeforeBeginningTravelsWithIt) {
    comm_socket_v4_packet packet;
    packet.result = 0x1122334455667788U;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "status", nullptr), 0);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_EQ(packet.bytes.substr(12, 8), "\x11\x22\x33\x44\x55\x66\x77\x88");
    EXPECT_EQ(delivered(packet).result, 0x1122334455667788U);
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "status", nullptr), 0);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_EQ(delivered(packet).result, 0x1122334455667788U);
}

TEST(Packet, FlagsStandInTheHeaderAndAreIgnoredByReaders) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0x1234, "ping", nullptr), 0);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_EQ(packet.bytes.substr(6, 2), "\x12\x34");
    EXPECT_EQ(texts_of(delivered(packet)), "C(ping)");
}

TEST(Packet, CarriesNulLineFeedAndEqualsSignInTexts) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "set", nullptr), 0);
    comm_socket_v4_packet_write_arg(&packet, "a\0b"s);
    comm_socket_v4_packet_write_nv_pair(&packet, "x=y\n", "1\0002\n=3"s);
    comm_socket_v4_packet_write_nv_pair(&packet, "", "");
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    const comm_socket_v4_packet arrived = delivered(packet);
    EXPECT_EQ(texts_of(arrived), "C(set) A(a\0b) N(x=y\n|1\0002\n=3) N(|)"s);
    EXPECT_STREQ(comm_socket_v4_packet_get_argv(&arrived, 0), "a");
    const auto* entry = comm_socket_v4_packet_get_nv_entry(&arrived, 0);
    EXPECT_STREQ(comm_socket_v4_packet_get_nv_pair_name(&arrived, entry), "x=y\n");
    EXPECT_STREQ(comm_socket_v4_packet_get_nv_pair_value_text(&arrived, entry), "1");
}

TEST(Packet, EveryTextEndsInNulForItsReader) {
    const comm_socket_v4_packet arrived = delivered(take_request());
    for (const auto& item : arrived.items) {
        EXPECT_EQ(arrived.bytes.c_str()[item.value_at + item.value_length], '\0');
        if (item.kind == comm_packet_item_kind::name_value) {
            EXPECT_EQ(arrived.bytes.c_str()[item.name_at + item.name_length], '\0');
        }
    }
}

TEST(Packet, FormatsLongValuesWhole) {
    for (const std::size_t length : {0U, 1U, 510U, 511U, 512U, 513U, 100000U}) {
        const std::string value(length, 'v');
        comm_socket_v4_packet packet;
        ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "report", nullptr), 0);
        comm_socket_v4_packet_write_nv_pairf(&packet, "*last notes", "%s", value.c_str());
        ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
        EXPECT_EQ(texts_of(delivered(packet)), "C(report) N(*last notes|" + value + ")");
    }
}

TEST(Packet, HoldsTenThousandEntries) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "set", nullptr), 0);
    for (int i = 0; i < 10000; ++i)
        comm_socket_v4_packet_write_nv_pairf(&packet, "name " + std::to_string(i), "value %d", i);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    ASSERT_FALSE(packet.too_large);
    const comm_socket_v4_packet arrived = delivered(packet);
    ASSERT_EQ(comm_socket_v4_packet_nv_entries(&arrived), 10000U);
    const auto* last = comm_socket_v4_packet_get_nv_entry(&arrived, 9999);
    EXPECT_STREQ(comm_socket_v4_packet_get_nv_pair_name(&arrived, last), "name 9999");
    EXPECT_STREQ(comm_socket_v4_packet_get_nv_pair_value_text(&arrived, last), "value 9999");
}

TEST(Packet, BodyOfExactlyTheLimitIsSentAndRead) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "x", nullptr), 0);
    comm_socket_v4_packet_write_arg(&packet, std::string(comm_max_packet_bytes - 6 - 5, 'a'));
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    ASSERT_FALSE(packet.too_large);
    EXPECT_EQ(packet.bytes.size(), comm_packet_header_bytes + comm_max_packet_bytes);
    const comm_socket_v4_packet arrived = delivered(packet);
    EXPECT_EQ(std::strlen(comm_socket_v4_packet_get_argv(&arrived, 0)), comm_max_packet_bytes - 11);
}

TEST(Packet, BodyBeyondTheLimitIsDroppedAndFurtherWritesAreIgnored) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "x", nullptr), 0);
    comm_socket_v4_packet_write_arg(&packet, std::string(comm_max_packet_bytes - 6 - 5 + 1, 'a'));
    EXPECT_TRUE(packet.too_large);
    comm_socket_v4_packet_write_arg(&packet, "small");
    comm_socket_v4_packet_write_argv_end(&packet);
    comm_socket_v4_packet_write_nv_pair(&packet, "small", "too");
    EXPECT_TRUE(packet.bytes.empty());
    EXPECT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_TRUE(packet.too_large);
    EXPECT_TRUE(packet.bytes.empty());
}

TEST(Packet, EveryKindOfItemCanOutgrowTheLimit) {
    const std::string fill(comm_max_packet_bytes - 6 - 5, 'a'); // not one byte is left behind it
    using writer = void (*)(comm_socket_v4_packet*);
    const writer writers[] = {
        [](comm_socket_v4_packet* packet) { comm_socket_v4_packet_write_arg(packet, ""); },
        [](comm_socket_v4_packet* packet) { comm_socket_v4_packet_write_argv_end(packet); },
        [](comm_socket_v4_packet* packet) { comm_socket_v4_packet_write_nv_pair(packet, "", ""); },
        [](comm_socket_v4_packet* packet) { comm_socket_v4_packet_write_nv_pairf(packet, "", "%d", 1); },
    };
    for (const writer& write : writers) {
        comm_socket_v4_packet packet;
        ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "x", fill.c_str()), 0);
        ASSERT_FALSE(packet.too_large);
        write(&packet);
        EXPECT_TRUE(packet.too_large);
    }
}

TEST(Packet, IsAsGoodAsNewAfterBeingTooLarge) {
    comm_socket_v4_packet packet;
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "x", nullptr), 0);
    comm_socket_v4_packet_write_arg(&packet, std::string(2 * comm_max_packet_bytes, 'a'));
    ASSERT_TRUE(packet.too_large);
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "ping", nullptr), 0);
    EXPECT_FALSE(packet.too_large);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    EXPECT_EQ(texts_of(delivered(packet)), "C(ping)");
}

TEST(Packet, KeepsItsMemoryWhenUsedAgain) {
    comm_socket_v4_packet packet = take_request();
    comm_socket_v4_packet arrived = delivered(packet);
    const char* written = packet.bytes.data();
    const char* read = arrived.bytes.data();
    const auto* items = arrived.items.data();
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "route", "3=2"), 0);
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    ASSERT_TRUE(decode(&arrived, packet.bytes));
    EXPECT_EQ(packet.bytes.data(), written);
    EXPECT_EQ(arrived.bytes.data(), read);
    EXPECT_EQ(arrived.items.data(), items);
}

TEST(Packet, GivesBackTheMemoryOfAnAbsurdNumberOfArguments) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "ping", nullptr);
    for (int i = 0; i < 200000; ++i)
        comm_socket_v4_packet_write_arg(&packet, "");
    ASSERT_EQ(comm_socket_v4_packet_write_end(&packet), 0);
    comm_socket_v4_packet arrived = delivered(packet);
    ASSERT_GE(arrived.items.capacity(), 200000U);
    ASSERT_TRUE(decode(&arrived, take_request().bytes));
    EXPECT_LT(arrived.items.capacity(), 1000U);
    EXPECT_LT(arrived.arguments.capacity(), 1000U);
}

TEST(Packet, WritingReplacesWhatWasRead) {
    comm_socket_v4_packet packet = delivered(take_request());
    ASSERT_EQ(comm_socket_v4_packet_begin_writing(&packet, 0, "ping", nullptr), 0);
    EXPECT_STREQ(comm_socket_v4_packet_get_command(&packet), "");
    EXPECT_EQ(comm_socket_v4_packet_get_argc(&packet), 0U);
    EXPECT_EQ(comm_socket_v4_packet_nv_entries(&packet), 0U);
}

TEST(PacketWord, IsThereBeforeThePacketIsWhole) {
    const std::string bytes = with_header("C" + counted("route") + "A" + counted("1=2"));
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t word_end = comm_packet_header_bytes + 1 + 4 + 5;
    comm_told_command word{};
    std::size_t packet_size = 0;
    for (std::size_t size = 0; size < word_end; ++size)
        EXPECT_FALSE(comm_socket_v4_packet_peek_command(data, size, &word, &packet_size)) << size;
    ASSERT_TRUE(comm_socket_v4_packet_peek_command(data, word_end, &word, &packet_size));
    EXPECT_STREQ(word.data(), "route");
    EXPECT_EQ(packet_size, bytes.size()) << "although most of it is still to come";
    ASSERT_TRUE(comm_socket_v4_packet_peek_command(data, bytes.size(), &word, &packet_size));
    EXPECT_STREQ(word.data(), "route");
}

TEST(PacketWord, IsToldUpToItsLongest) {
    comm_told_command word{};
    std::size_t packet_size = 0;
    for (const std::size_t length : {comm_told_command_bytes - 1, std::size_t{5000}}) {
        const std::string bytes = with_header("C" + counted(std::string(length, 'w')));
        ASSERT_TRUE(comm_socket_v4_packet_peek_command(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                       bytes.size(), &word, &packet_size));
        EXPECT_EQ(std::string(word.data()), std::string(comm_told_command_bytes - 1, 'w'));
    }
}

TEST(PacketWord, IsNotFoundInNonsense) {
    comm_told_command word{};
    std::size_t packet_size = 0;
    for (const std::string& bytes :
         {with_header("A" + counted("route")), with_header("C" + counted("")), with_header("C"),
          with_header("C" + big_endian(4, 6) + "route"), "X" + with_header("C" + counted("route"))})
        EXPECT_FALSE(comm_socket_v4_packet_peek_command(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                        bytes.size(), &word, &packet_size));
}
