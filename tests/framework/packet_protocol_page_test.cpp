// The examples and limits of docs/packet-protocol.md are read from the page and held against the code.
#include "comm_socket_v4_limits.h"
#include "comm_socket_v4_packet.h"
#include "packet_texts.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <vector>

namespace {

struct example {
    std::string bytes;              // of the ```packet block
    std::vector<std::string> items; // lines of the ```items block behind it
};

// The bytes of a line such as `00 01   version 1`: pairs of digits up to the first double blank.
std::string bytes_of_line(const std::string& line) {
    std::istringstream pairs(line.substr(0, line.find("  ")));
    std::string bytes;
    std::string pair;
    while (pairs >> pair) {
        EXPECT_EQ(pair.size(), 2U) << line;
        bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
    }
    return bytes;
}

std::vector<example> examples_of_page() {
    std::ifstream page(PACKET_PROTOCOL_PAGE);
    EXPECT_TRUE(page.is_open());
    std::vector<example> examples;
    std::string block;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```")) {
            block = line.substr(3);
            if (block == "packet")
                examples.emplace_back();
        } else if (block == "packet") {
            examples.back().bytes += bytes_of_line(line);
        } else if (block == "items") {
            examples.back().items.push_back(line);
        }
    }
    return examples;
}

// The packet's content in the words of an ```items block.
std::vector<std::string> items_of(const comm_socket_v4_packet& packet) {
    std::vector<std::string> lines{"result " + std::to_string(packet.result)};
    const auto quoted = [](std::string_view text) { return '"' + std::string(text) + '"'; };
    for (const auto& item : packet.items) {
        const std::string value = quoted(comm_socket_v4_packet_item_value(&packet, item));
        switch (item.kind) {
        case comm_packet_item_kind::command:
            lines.push_back("command " + value);
            break;
        case comm_packet_item_kind::argument:
            lines.push_back("argument " + value);
            break;
        case comm_packet_item_kind::end_of_arguments:
            lines.emplace_back("end of arguments");
            break;
        case comm_packet_item_kind::name_value:
            lines.push_back("entry " + quoted(comm_socket_v4_packet_item_name(&packet, item)) + " = " +
                            value);
            break;
        }
    }
    return lines;
}

// The texts between quotation marks.
std::vector<std::string> quoted_texts(const std::string& line) {
    std::vector<std::string> texts;
    for (auto at = line.find('"'); at != std::string::npos; at = line.find('"', at + 1)) {
        const auto end = line.find('"', at + 1);
        texts.push_back(line.substr(at + 1, end - at - 1));
        at = end;
    }
    return texts;
}

// Writes the packet that an ```items block describes.
comm_socket_v4_packet packet_of(const std::vector<std::string>& lines) {
    comm_socket_v4_packet packet;
    for (const std::string& line : lines) {
        const std::vector<std::string> texts = quoted_texts(line);
        if (line.starts_with("result "))
            packet.result = std::stoull(line.substr(7));
        else if (line.starts_with("command "))
            comm_socket_v4_packet_begin_writing(&packet, 0, texts.at(0).c_str(), nullptr);
        else if (line.starts_with("argument "))
            comm_socket_v4_packet_write_arg(&packet, texts.at(0));
        else if (line.starts_with("entry "))
            comm_socket_v4_packet_write_nv_pair(&packet, texts.at(0), texts.at(1));
        else if (line == "end of arguments")
            comm_socket_v4_packet_write_argv_end(&packet);
        else
            ADD_FAILURE() << "unknown line: " << line;
    }
    comm_socket_v4_packet_write_end(&packet);
    return packet;
}

// The value that the page's table of limits gives for `name`; 0 when it does not stand there.
std::uint64_t limit_on_page(const std::string& name) {
    std::ifstream page(PACKET_PROTOCOL_PAGE);
    const std::string row = "| `" + name + "` | ";
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with(row))
            return std::stoull(line.substr(row.size()));
    }
    return 0;
}

bool page_says(const std::string& text) {
    std::ifstream page(PACKET_PROTOCOL_PAGE);
    const std::string all{std::istreambuf_iterator<char>(page), {}};
    return all.find(text) != std::string::npos;
}

} // namespace

TEST(PacketProtocolPage, HasARequestAndAReplyInEachOfItsTwoExamples) {
    const std::vector<example> examples = examples_of_page();
    ASSERT_EQ(examples.size(), 4U);
    EXPECT_EQ(examples[0].items, (std::vector<std::string>{"result 0", "command \"route\"",
                                                           "argument \"3=2\"", "end of arguments"}));
}

TEST(PacketProtocolPage, ExampleBytesMeanWhatThePageSays) {
    for (const example& one : examples_of_page()) {
        comm_socket_v4_packet packet;
        ASSERT_TRUE(decode(&packet, one.bytes));
        EXPECT_EQ(items_of(packet), one.items);
    }
}

TEST(PacketProtocolPage, ExampleItemsAreWrittenAsThePageShows) {
    for (const example& one : examples_of_page())
        EXPECT_EQ(packet_of(one.items).bytes, one.bytes);
}

TEST(PacketProtocolPage, LimitsAreTheServers) {
    EXPECT_EQ(limit_on_page("comm_max_packet_bytes"), comm_max_packet_bytes);
    EXPECT_EQ(limit_on_page("comm_max_clients"), comm_max_clients);
    EXPECT_EQ(limit_on_page("comm_unread_replies_us"), comm_unread_replies_us);
    EXPECT_EQ(limit_on_page("comm_incomplete_packet_us"), comm_incomplete_packet_us);
    EXPECT_TRUE(page_says(std::to_string(comm_pause_unsent_bytes) + " bytes of its replies"));
    const auto places = [](std::size_t parts) {
        return std::to_string(comm_max_clients * parts / comm_parts_of_places) + " of " +
               std::to_string(comm_max_clients) + ")";
    };
    EXPECT_TRUE(page_says("`comm_parts_of_places`, " + places(comm_parts_for_one_user)));
    EXPECT_TRUE(page_says("(`comm_parts_kept`, " + places(comm_parts_kept)));
}
