// "watch": what a client is told of the driver's own accord, as fast as it reads.
#include "served_driver.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr std::size_t largest_push = 32768 + 20000; // and one place

class Watch : public served_driver {
protected:
    // A watcher that knows all of the picture.
    [[nodiscard]] std::unique_ptr<test_client> watcher() const {
        auto client = connect();
        EXPECT_THAT(commands_of(ask(*client, "watch")), ElementsAre("watch"));
        pass();
        EXPECT_FALSE(received(*client).empty());
        return client;
    }
    // What this pass tells.
    static std::vector<test_reply> told(const test_client& client) {
        pass();
        return received(client);
    }
    static test_reply told_one(const test_client& client) {
        const auto all = told(client);
        EXPECT_EQ(all.size(), 1U);
        return all.empty() ? test_reply{} : all.front();
    }
    // Without what every change begins with.
    static name_values changed(const test_reply& change) {
        EXPECT_EQ(change.command, "change");
        return {change.entries.begin() + 3, change.entries.end()};
    }
    static void expect_numbers(const test_reply& change, std::uint64_t from, std::uint64_t to) {
        EXPECT_EQ(change.entry("from"), std::to_string(from));
        EXPECT_EQ(change.entry("to"), std::to_string(to));
    }
    // Names that fill the socket of whoever does not read.
    static void rename_all(char letter) {
        for (std::int32_t output = 0; output < output_count; ++output)
            name_output(output, std::string(1000, letter));
    }
    static void decide(int takes) {
        for (int i = 0; i < takes; ++i)
            ask_takes({{max_outputs, {1, 1}, {}}}, {{0, 1000, 4711}, "", 1000000, 1});
    }
};

} // namespace

TEST_F(Watch, IsAnsweredAndBeginsWithTheWholePicture) {
    const auto client = connect();
    report_input_property(1, "format", "sdi");
    const test_reply reply = ask_one(*client, "watch");
    EXPECT_EQ(reply.command, "watch");
    EXPECT_EQ(reply.result, 0U);
    EXPECT_THAT(reply.entries, ElementsAre(Pair("epoch", testing::SizeIs(16)),
                                           Pair("sequence", std::to_string(picture_version)),
                                           Pair("last take", std::to_string(last_take_record))));
    const auto all = told(*client);
    ASSERT_FALSE(all.empty());
    const test_reply& change = all.front();
    EXPECT_EQ(change.command, "change");
    EXPECT_EQ(change.entries.at(0), reply.entries.at(0)) << "the same epoch";
    expect_numbers(change, 1, picture_version);
    EXPECT_EQ(change.entry("inputs"), "4");
    EXPECT_EQ(change.entry("outputs"), "3");
    EXPECT_EQ(change.entry("levels"), "video,audio");
    EXPECT_EQ(change.entry("link"), "unknown");
    EXPECT_THAT(entries_between(change, "input 1", "output 1"),
                ElementsAre(Pair("input 1", ""), Pair("input 2", "Camera 2"),
                            Pair("input 2 property format", "sdi"), Pair("input 3", ""),
                            Pair("input 4", "")));
    EXPECT_THAT(entries_between(change, "output 1", ""),
                ElementsAre(Pair("output 1", ""), Pair("output 1 sources", "1,1"), Pair("output 2", ""),
                            Pair("output 2 sources", "1,1"), Pair("output 3", ""),
                            Pair("output 3 sources", "1,1")));
}

TEST_F(Watch, EachChangeOfAPassIsToldInItsOrder) {
    const auto client = watcher();
    const std::uint64_t before = picture_version;
    name_output(1, "A");
    name_input(0, "Camera");
    name_output(1, "B");
    report_link(link_state::up, "");
    const test_reply change = told_one(*client);
    expect_numbers(change, before + 1, before + 4);
    EXPECT_THAT(changed(change),
                ElementsAre(Pair("output 2", "A"), Pair("output 2 sources", "1,1"), Pair("input 1", "Camera"),
                            Pair("output 2", "B"), Pair("output 2 sources", "1,1"), Pair("inputs", "4"),
                            Pair("outputs", "3"), Pair("levels", "video,audio"), Pair("backend", testing::_),
                            Pair("backend text", testing::_), Pair("link", "up"), Pair("link text", "")));
}

TEST_F(Watch, PassWithoutAChangeTellsNothing) {
    const auto client = watcher();
    name_output(1, "");
    EXPECT_THAT(told(*client), IsEmpty());
}

TEST_F(Watch, TakeIsToldFromItsRequestToItsConfirmation) {
    const auto client = watcher();
    const auto other = connect();
    other->send_bytes(request_bytes("take", {"2=3"}, {{"id", "x"}, {"by", "desk"}}));
    serve();
    EXPECT_THAT(changed(told_one(*client)),
                ElementsAre(Pair("output 2", ""), Pair("output 2 sources", "3,3"),
                            Pair("output 2 waits", "1000"), Pair("output 2 taken", own_process() + " desk")));
    send_all();
    report("*COMMAND=outputs\n*TYPE=message\no1.input.all=2\n\n");
    const auto all = received(*client);
    ASSERT_THAT(commands_of(all), ElementsAre("change", "takes"));
    EXPECT_EQ(all[0].entry("output 2 waits"), "(none)");
    EXPECT_EQ(all[1].entry("lost"), "(none)");
    EXPECT_EQ(all[1].entry("take"), std::to_string(last_take_record));
    EXPECT_EQ(all[1].entry("result"), "confirmed");
}

TEST_F(Watch, OtherSizesAreToldWithTheNewPlaces) {
    const auto client = watcher();
    const std::uint64_t before = picture_version;
    resize_picture(2, 4, false);
    const test_reply change = told_one(*client);
    expect_numbers(change, before + 1, before + 1);
    EXPECT_EQ(change.entry("inputs"), "2");
    EXPECT_EQ(change.entry("levels"), "");
    EXPECT_THAT(entries_between(change, "output 4", ""),
                ElementsAre(Pair("output 4", ""), Pair("output 4 sources", "unknown,unknown")));
    EXPECT_EQ(change.entry("output 3"), "(none)");
}

// --- who does not keep up ----------------------------------------------------------------------------------

TEST_F(Watch, WhoFallsBehindGetsTheNewestStateOnce) {
    resize_picture(4, 200, false);
    const auto slow = watcher();
    const auto quick = watcher();
    const std::uint64_t before = picture_version;
    std::uint64_t told_to = before;
    for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'}) {
        rename_all(letter);
        pass();
        for (const test_reply& change : received(*quick)) {
            EXPECT_EQ(change.entry("from"), std::to_string(told_to + 1));
            if (change.entry("more") == "(none)")
                told_to = std::strtoull(change.entry("to").c_str(), nullptr, 10);
        }
    }
    std::size_t bytes = 0;
    std::map<std::string, std::string> names;
    std::uint64_t known = before;
    while (known < picture_version) {
        const auto packets = told(*slow);
        ASSERT_FALSE(packets.empty());
        for (const test_reply& change : packets) {
            ASSERT_EQ(change.command, "change");
            EXPECT_EQ(change.entry("from"), std::to_string(known + 1));
            if (change.entry("more") == "(none)")
                known = std::strtoull(change.entry("to").c_str(), nullptr, 10);
            const std::size_t size = request_bytes("change", {}, change.entries).size();
            EXPECT_LE(size, largest_push);
            bytes += size;
            for (const auto& [name, value] : change.entries)
                names[name] = value;
        }
    }
    EXPECT_EQ(names["output 1"], std::string(1000, 'h'));
    EXPECT_EQ(names["output 200"], std::string(1000, 'h'));
    EXPECT_LT(bytes, std::size_t{4} * 200 * 1100) << "not each of the eight names";
}

TEST_F(Watch, ChangeOfSizesWhileItIsToldBeginsThePlacesAnew) {
    resize_picture(4, 300, false);
    rename_all('a');
    const auto client = connect();
    ask(*client, "watch");
    pass(); // the socket is full in the middle of the picture
    resize_picture(2, 400, false);
    rename_all('b');
    std::map<std::string, std::string> names;
    std::uint64_t known = 0;
    for (int i = 0; i < 1000 && known < picture_version; ++i)
        for (const test_reply& change : told(*client)) {
            EXPECT_EQ(change.entry("from"), std::to_string(known + 1));
            if (change.entry("more") == "(none)")
                known = std::strtoull(change.entry("to").c_str(), nullptr, 10);
            for (const auto& [name, value] : change.entries)
                names[name] = value;
        }
    EXPECT_EQ(known, picture_version);
    EXPECT_EQ(names["inputs"], "2");
    for (int output = 1; output <= 400; ++output)
        ASSERT_EQ(names["output " + std::to_string(output)], std::string(1000, 'b')) << output;
}

TEST_F(Watch, LinkThatGoesUpAndDownDoesNotKeepTheWholePictureBack) {
    resize_picture(4, 300, false);
    rename_all('a');
    const auto client = connect();
    ask(*client, "watch");
    const auto packets_of_the_picture = static_cast<int>(300 * 1000 / 32768) + 2;
    bool whole = false;
    std::string link;
    for (int i = 0; i < packets_of_the_picture && !whole; ++i) {
        report_link(i % 2 == 0 ? link_state::up : link_state::down, "");
        settable_clock_us += 2000; // time for one packet only
        for (const test_reply& change : told(*client))
            whole = whole || change.entry("more") == "(none)";
    }
    EXPECT_TRUE(whole);
    report_link(link_state::up, "again");
    for (const test_reply& change : told(*client))
        link = change.entry("link text");
    EXPECT_EQ(link, "again");
}

TEST_F(Watch, WhoReadsNothingForFiveSecondsIsCut) {
    resize_picture(4, 300, false);
    const auto deaf = watcher();
    const auto other = watcher();
    for (char letter = 'a'; letter < 'f'; ++letter) {
        rename_all(letter);
        pass();
        received(*other);
    }
    pass_time(comm_unread_replies_us - 1000);
    while (!received(*other).empty())
        pass();
    EXPECT_EQ(comm_socket_v4_client_count(vrdx_comm_server), 2U);
    pass_time(1000);
    EXPECT_EQ(comm_socket_v4_client_count(vrdx_comm_server), 1U);
    EXPECT_THAT(trace(), testing::HasSubstr("Client cut: it does not read its replies"));
    name_input(0, "z");
    EXPECT_THAT(commands_of(told(*other)), testing::Contains("change"));
}

TEST_F(Watch, NoMoreThanOnePacketWaitsForWhoDoesNotRead) {
    resize_picture(4, 400, false);
    const auto deaf = watcher();
    std::size_t most = 0;
    for (int i = 0; i < 20; ++i) {
        rename_all(static_cast<char>('a' + i));
        decide(50);
        pass();
        for (std::uint64_t id = 1; id < 100000 && most == 0; ++id)
            most = comm_socket_v4_unread_by(vrdx_comm_server, id);
    }
    EXPECT_GT(most, 0U);
    EXPECT_LE(most, largest_push);
}

TEST_F(Watch, TakesThatTheRecordHasLostAreCounted) {
    resize_picture(4, 400, false);
    const auto client = watcher();
    const std::uint64_t before = last_take_record;
    rename_all('a');
    pass(); // it does not read, and takes wait behind the picture
    decide(1700);
    pass();
    std::uint64_t told_takes = 0;
    std::uint64_t lost = 0;
    for (int i = 0; i < 1000 && told_takes + lost < 1700; ++i)
        for (const test_reply& packet : told(*client)) {
            if (packet.command != "takes")
                continue;
            if (packet.entry("lost") != "(none)")
                lost += std::strtoull(packet.entry("lost").c_str(), nullptr, 10);
            for (const auto& [name, value] : packet.entries) {
                if (name != "take")
                    continue;
                EXPECT_EQ(value, std::to_string(before + lost + ++told_takes));
            }
        }
    EXPECT_EQ(lost, 700U);
    EXPECT_EQ(told_takes, 1000U);
}

// --- signs of life, and the rest ---------------------------------------------------------------------------

TEST_F(Watch, SignOfLifeComesEveryFiveSeconds) {
    const auto client = watcher();
    pass_time(5000000);
    received(*client);
    settable_clock_us += 4999999;
    EXPECT_THAT(told(*client), IsEmpty());
    settable_clock_us += 1;
    const test_reply alive = told_one(*client);
    EXPECT_EQ(alive.command, "alive");
    EXPECT_THAT(alive.entries, ElementsAre(Pair("epoch", testing::SizeIs(16)),
                                           Pair("sequence", std::to_string(picture_version)),
                                           Pair("last take", std::to_string(last_take_record))));
    EXPECT_THAT(told(*client), IsEmpty());
}

TEST_F(Watch, AgainBeginsAnew) {
    const auto client = watcher();
    EXPECT_EQ(ask_one(*client, "watch").command, "watch");
    const test_reply change = told_one(*client);
    expect_numbers(change, 1, picture_version);
    EXPECT_EQ(change.entry("output 3"), "");
}

TEST_F(Watch, OnlyWhoWatchesIsTold) {
    const auto other = connect();
    const auto client = watcher();
    name_input(0, "z");
    EXPECT_EQ(told_one(*client).command, "change");
    EXPECT_THAT(received(*other), IsEmpty());
}

TEST_F(Watch, PostponesTheAutoShutdownAsLongAsItLasts) {
    auto client = watcher();
    auto_shutdown_delay = 60000000;
    pass_time(30000000);
    EXPECT_EQ(mono_auto_shutdown, settable_clock_us + auto_shutdown_delay);
    client.reset();
    serve();
    mono_auto_shutdown = 1;
    pass();
    EXPECT_EQ(mono_auto_shutdown, 1U);
}

TEST_F(Watch, WithArgumentsOrEntriesIsAnError) {
    const auto client = connect();
    for (const auto& [arguments, entries] :
         {std::pair<std::vector<std::string>, name_values>{{"x"}, {}}, {{}, {{"id", "7"}}}}) {
        const test_reply reply = ask_one(*client, "watch", arguments, entries);
        EXPECT_EQ(reply.command, "error");
        EXPECT_THAT(reply.arguments, ElementsAre("watch has no arguments and no entries"));
    }
    name_input(0, "z");
    EXPECT_THAT(told(*client), IsEmpty());
}

TEST_F(Watch, OneMoreThanFiveHundredAndTwelveIsRefused) {
    std::vector<std::unique_ptr<test_client>> watchers;
    for (int i = 0; i < 512; ++i) {
        watchers.push_back(connect());
        ASSERT_EQ(ask_one(*watchers.back(), "watch").command, "watch");
    }
    const auto last = connect();
    EXPECT_THAT(ask_one(*last, "watch").arguments, ElementsAre("too many watchers"));
    EXPECT_EQ(ask_one(*watchers[3], "watch").command, "watch") << "anew, in its own place";
    watchers.pop_back();
    serve();
    EXPECT_EQ(ask_one(*last, "watch").command, "watch");
}
