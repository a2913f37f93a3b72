// "take" as a client writes it, and its answer as the client reads it.
#include "served_driver.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class Take : public served_driver {
protected:
    static test_reply take(const test_client& client, const std::vector<std::string>& takes,
                           const name_values& entries = {{"id", "7"}}) {
        return ask_one(client, "take", takes, entries);
    }
    static void expect_nothing_yet(const test_client& client) {
        EXPECT_THAT(received(client), IsEmpty());
    }
    // The answer that has come.
    static test_reply answer(const test_client& client) {
        const auto all = received(client);
        EXPECT_THAT(commands_of(all), ElementsAre("take"));
        return all.empty() ? test_reply{} : all.front();
    }
};

// --- wrong use ---------------------------------------------------------------------------------------------

struct wrong_row {
    const char* name;
    std::vector<std::string> takes;
    name_values entries;
    const char* what;
};

void PrintTo(const wrong_row& row, std::ostream* stream) {
    *stream << row.name;
}

class WrongTake : public Take, public testing::WithParamInterface<wrong_row> {};

TEST_P(WrongTake, IsAnsweredAtOnceAndNothingIsDone) {
    const auto client = connect();
    const std::uint64_t last = last_take_record;
    const test_reply reply = take(*client, GetParam().takes, GetParam().entries);
    EXPECT_EQ(reply.command, "error");
    EXPECT_EQ(reply.result, 1U);
    EXPECT_THAT(reply.arguments, ElementsAre(GetParam().what));
    const auto id = std::find_if(GetParam().entries.begin(), GetParam().entries.end(),
                                 [](const auto& entry) { return entry.first == "id"; });
    EXPECT_EQ(reply.entry("id"), id == GetParam().entries.end() ? "(none)" : id->second.substr(0, 64));
    EXPECT_EQ(pending_line_count(), 0U);
    EXPECT_EQ(last_take_record, last);
}

constexpr const char* form_of_takes =
    "a take is OUT=IN or OUT=AUDIO,VIDEO, in numbers; OUT from 1, IN from 0";
constexpr const char* form_of_expect = "expect is a list of OUT=IN or OUT=AUDIO,VIDEO, in numbers";
constexpr const char* form_of_within = "within is a number of milliseconds, 100 to 60000";
constexpr const char* form_of_until = "until is a number of milliseconds since the machine was started";
constexpr const char* form_of_by = "by is at most 64 bytes of printable text";
constexpr const char* count_of_takes = "a take has 1 to 1024 arguments OUT=IN or OUT=AUDIO,VIDEO";
const std::pair<std::string, std::string> good_id{"id", "7"};

std::vector<wrong_row> wrong_takes() {
    std::vector<wrong_row> rows = {
        {"NoTake", {}, {good_id}, count_of_takes},
        {"NoId", {"1=2"}, {}, "take needs an id"},
        {"EmptyId", {"1=2"}, {{"id", ""}}, "id is 1 to 64 bytes"},
        {"LongId", {"1=2"}, {{"id", std::string(65, 'i')}}, "id is 1 to 64 bytes"},
        {"LongBy", {"1=2"}, {good_id, {"by", std::string(65, 'b')}}, form_of_by},
        {"ByOfTwoLines", {"1=2"}, {good_id, {"by", "a\nb"}}, form_of_by},
        {"ByWithDelete", {"1=2"}, {good_id, {"by", "\x7f"}}, form_of_by},
        {"OutputTwice", {"1=2", "3=1", "1=2"}, {good_id}, "output 1 is named twice"},
        {"ExpectOfAnotherOutput",
         {"1=2"},
         {good_id, {"expect", "1=1 2=1"}},
         "expect names output 2, which is not taken"},
        {"OtherEntry", {"1=2"}, {good_id, {"set", "1=2"}}, "take has the entries id, within, by and expect"},
    };
    std::vector<std::string> many;
    for (int output = 1; output <= 1025; ++output)
        many.push_back(std::to_string(output) + "=1");
    rows.push_back({"TooManyTakes", many, {good_id}, count_of_takes});
    const std::pair<const char*, const char*> forms[] = {
        {"Empty", ""},          {"NoEquals", "1"},         {"NoSource", "1="},
        {"NoOutput", "=2"},     {"OutputZero", "0=2"},     {"Word", "x=2"},
        {"Signed", "+1=2"},     {"Negative", "1=-2"},      {"Blank", "1= 2"},
        {"Letters", "1=2x"},    {"Three", "1=2,3,4"},      {"CommaLast", "1=2,"},
        {"CommaFirst", "1=,2"}, {"TooLarge", "1=1000001"}, {"Beyond64Bits", "99999999999999999999=1"}};
    for (const auto& [name, text] : forms)
        rows.push_back({name, {text}, {good_id}, form_of_takes});
    rows.push_back({"ExpectOfNoForm", {"1=2"}, {good_id, {"expect", "1=1 x"}}, form_of_expect});
    rows.push_back({"ExpectWithTab", {"1=2"}, {good_id, {"expect", "1=1\t"}}, form_of_expect});
    const std::pair<const char*, const char*> times[] = {
        {"WithinTooShort", "99"}, {"WithinTooLong", "60001"}, {"WithinEmpty", ""},
        {"WithinSigned", "+500"}, {"WithinLetters", "1s"},    {"WithinNegative", "-500"}};
    for (const auto& [name, text] : times)
        rows.push_back({name, {"1=2"}, {good_id, {"within", text}}, form_of_within});
    const std::pair<const char*, const char*> moments[] = {{"UntilEmpty", ""},
                                                           {"UntilWord", "soon"},
                                                           {"UntilSigned", "+5000000"},
                                                           {"UntilNegative", "-1"},
                                                           {"UntilFraction", "5000000.5"},
                                                           {"UntilWithBlank", "5000000 "},
                                                           {"UntilBeyond64Bits", "18446744073709551616"}};
    for (const auto& [name, text] : moments)
        rows.push_back({name, {"1=2"}, {good_id, {"until", text}}, form_of_until});
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Forms, WrongTake, testing::ValuesIn(wrong_takes()),
                         [](const auto& instance) { return std::string(instance.param.name); });

// --- until -------------------------------------------------------------------------------------------------

struct until_row {
    const char* name;
    std::optional<std::int64_t> until_ms; // counted from when it is read; none: without it
    bool is_done;
};

void PrintTo(const until_row& row, std::ostream* stream) {
    *stream << row.name;
}

class TakeUntil : public Take, public testing::WithParamInterface<until_row> {};

TEST_P(TakeUntil, IsDoneOnlyWhenItIsReadInTime) {
    const auto client = connect();
    name_values entries = {{"id", "7"}, {"by", "desk 3"}};
    if (GetParam().until_ms)
        entries.emplace_back(
            "until", std::to_string(static_cast<std::int64_t>(settable_boot_ms) + *GetParam().until_ms));
    const std::uint64_t last = last_take_record;
    client->send_bytes(request_bytes("take", {"2=4", "9=1"}, entries));
    serve();
    if (GetParam().is_done) {
        EXPECT_GT(pending_line_count(), 0U);
        send_all();
        report("*COMMAND=outputs\n*TYPE=message\no1.input.all=3\n\n");
    } else {
        EXPECT_EQ(pending_line_count(), 0U);
        EXPECT_EQ(last_take_record, last + 2) << "the record has them";
    }
    const test_reply reply = answer(*client);
    EXPECT_EQ(reply.result, 1U) << "one was refused";
    EXPECT_EQ(reply.entry("output 2"), GetParam().is_done ? "confirmed" : "refused too late");
    EXPECT_EQ(reply.entry("output 9"), GetParam().is_done ? "refused no such output" : "refused too late");
}

INSTANTIATE_TEST_SUITE_P(Moments, TakeUntil,
                         testing::Values(until_row{"Absent", std::nullopt, true},
                                         until_row{"Later", 1000, true}, until_row{"Now", 0, true},
                                         until_row{"JustOver", -1, false},
                                         until_row{"LongOver", -4000000, false}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(Take, ThatIsTooLateLeavesAnEarlierOneAlone) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"2=4"}, {{"id", "in time"}}));
    EXPECT_EQ(take(*client, {"2=3"}, {{"id", "late"}, {"until", "1"}}).entry("output 2"), "refused too late");
    send_all();
    report("*COMMAND=outputs\n*TYPE=message\no1.input.all=3\n\n");
    EXPECT_EQ(answer(*client).entry("output 2"), "confirmed");
}

TEST_F(Take, ThatWasReadInTimeIsAnsweredAsEverAfterItsMoment) {
    const auto client = connect();
    client->send_bytes(
        request_bytes("take", {"2=4"}, {{"id", "7"}, {"until", std::to_string(settable_boot_ms + 10)}}));
    serve();
    settable_boot_ms += 1000;
    send_all();
    report("*COMMAND=outputs\n*TYPE=message\no1.input.all=3\n\n");
    EXPECT_EQ(answer(*client).entry("output 2"), "confirmed");
}

// --- right use ---------------------------------------------------------------------------------------------

TEST_F(Take, IsAnsweredWhenTheRouterHasConfirmedIt) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"2=4"}, {{"id", "desk 1/17"}}));
    send_all();
    expect_nothing_yet(*client);
    report("*COMMAND=outputs\n*TYPE=message\no1.input.all=3\n\n");
    const test_reply reply = answer(*client);
    EXPECT_EQ(reply.result, 0U);
    EXPECT_THAT(reply.arguments, IsEmpty());
    EXPECT_THAT(reply.entries, ElementsAre(Pair("id", "desk 1/17"), Pair("epoch", testing::SizeIs(16)),
                                           Pair("output 2", "confirmed")));
}

TEST_F(Take, IsAnsweredOnceForAllItsOutputsInTheOrderOfItsArguments) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"3=2,4", "9=1", "1=0"}, {{"id", "x"}, {"by", "desk 3"}}));
    send_all();
    report("*COMMAND=outputs\n*TYPE=message\no0.input.all=none\n\n");
    expect_nothing_yet(*client);
    report("*COMMAND=outputs\n*TYPE=message\no2.input.audio=1\no2.input.video=3\n\n");
    const test_reply reply = answer(*client);
    EXPECT_EQ(reply.result, 1U) << "one was refused";
    EXPECT_THAT(entries_between(reply, "output 3", ""),
                ElementsAre(Pair("output 3", "confirmed"), Pair("output 9", "refused no such output"),
                            Pair("output 1", "confirmed")));
}

TEST_F(Take, ThatIsRefusedWholeIsAnsweredAtOnce) {
    const auto client = connect();
    const test_reply reply = take(*client, {"9=1", "1=9"});
    EXPECT_EQ(reply.command, "take");
    EXPECT_EQ(reply.result, 1U);
    EXPECT_THAT(
        entries_between(reply, "output 9", ""),
        ElementsAre(Pair("output 9", "refused no such output"), Pair("output 1", "refused no such input")));
    EXPECT_EQ(ask_one(*client, "ping").command, "ping") << "and once";
}

TEST_F(Take, WithoutWithinIsAnsweredInThreeSeconds) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"2=4"}, {{"id", "x"}}));
    send_all();
    pass_time(2999999);
    expect_nothing_yet(*client);
    pass_time(1);
    EXPECT_EQ(answer(*client).entry("output 2"), "unknown not confirmed in time");
}

TEST_F(Take, IsAnsweredWithinItsTime) {
    for (const std::uint64_t within_ms : {100U, 60000U}) {
        const auto client = connect();
        client->send_bytes(
            request_bytes("take", {"2=4"}, {{"within", std::to_string(within_ms)}, {"id", "x"}}));
        send_all();
        pass_time(within_ms * 1000 - 1);
        expect_nothing_yet(*client);
        pass_time(1);
        EXPECT_EQ(answer(*client).entry("output 2"), "unknown not confirmed in time");
    }
}

TEST_F(Take, IsNotSentWhenItsTimeIsOverAfterTheLoopHasStoodStill) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"2=3"}, {{"id", "x"}}));
    serve();
    pass_time(30000000);
    EXPECT_EQ(answer(*client).entry("output 2"), "withdrawn not sent in time");
    EXPECT_EQ(backend_->read_stdin(), "");
}

TEST_F(Take, AnswersComeAsTheyAreKnown) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"1=4"}, {{"id", "first"}}) +
                       request_bytes("take", {"2=4"}, {{"id", "second"}}) + request_bytes("ping"));
    send_all();
    EXPECT_THAT(commands_of(received(*client)), ElementsAre("ping"));
    report("*COMMAND=outputs\n*TYPE=message\no1.input.all=3\n\n");
    EXPECT_EQ(answer(*client).entry("id"), "second");
    report("*COMMAND=outputs\n*TYPE=message\no0.input.all=3\n\n");
    EXPECT_EQ(answer(*client).entry("id"), "first");
}

TEST_F(Take, ReplacingItsOwnIsToldWithItsName) {
    const auto client = connect();
    client->send_bytes(request_bytes("take", {"1=4"}, {{"id", "first"}}) +
                       request_bytes("take", {"1=3"}, {{"id", "second"}, {"by", "Regie \xc3\xa4"}}));
    serve();
    EXPECT_EQ(answer(*client).entry("output 1"), "replaced unsent " + own_process() + " Regie \xc3\xa4");
}

TEST_F(Take, OfAClientThatHasGoneIsDoneAllTheSame) {
    auto client = connect();
    client->send_bytes(request_bytes("take", {"2=4"}, {{"id", "x"}}));
    serve();
    client.reset();
    serve();
    send_all();
    EXPECT_THAT(backend_->read_stdin(), testing::HasSubstr("from input=3\nqueue=add\nto output=1\n"));
    report("*COMMAND=outputs\n*TYPE=message\no1.input.all=3\n\n");
    EXPECT_EQ(take_record.back().result, take_result::confirmed);
}

TEST_F(Take, OfAThousandAndTwentyFourOutputsIsOneBatch) {
    resize_picture(4, 1024, false);
    const auto client = connect();
    std::vector<std::string> takes;
    for (int output = 1; output <= 1024; ++output)
        takes.push_back(std::to_string(output) + "=" + std::to_string(output % 4));
    client->send_bytes(request_bytes("take", takes, {{"id", "x"}}));
    serve();
    EXPECT_EQ(pending_line_count(), 1025U);
}

TEST_F(Take, OfAThousandAndTwentyFourOutputsIsAnsweredHoweverLongTheReasonsAre) {
    resize_picture(4, 1024, false);
    const auto client = connect();
    std::vector<std::string> takes;
    for (int output = 1; output <= 1024; ++output)
        takes.push_back(std::to_string(output) + "=2");
    client->send_bytes(request_bytes("take", takes, {{"id", std::string(64, 'i')}}));
    send_all();
    for (std::string read = "begin"; !read.empty(); read = backend_->read_stdin())
        pass(); // more than the pipe holds
    for (std::int32_t output = 0; output < 1024; ++output)
        takes_hear_refusal(output, true, true, 1, std::string(1024, 'w'));
    const test_reply reply = answer(*client);
    EXPECT_EQ(reply.entry("id"), std::string(64, 'i'));
    ASSERT_EQ(reply.entries.size(), 2U + 1024U);
    EXPECT_THAT(reply.entry("output 1024"), testing::StartsWith("refused by the router: www"));
}

TEST_F(Take, PostponesTheAutoShutdown) {
    auto_shutdown_delay = 5000000;
    const auto client = connect();
    for (const char* command : {"take", "describe", "watch"}) {
        mono_auto_shutdown = 1;
        ask(*client, command);
        EXPECT_EQ(mono_auto_shutdown, settable_clock_us + auto_shutdown_delay) << command;
    }
}

TEST_F(Take, WaitsWhenTooMuchWaits) {
    const auto client = connect();
    resize_picture(4, 1024, false);
    std::vector<std::string> takes;
    for (int output = 1; output <= 1024; ++output)
        takes.push_back(std::to_string(output) + "=1");
    // Routes: a later "take" would withdraw an earlier one.
    for (int packet = 0; packet < 4; ++packet)
        client->send_bytes(request_bytes("route", takes));
    client->send_bytes(request_bytes("status") + request_bytes("take", {"1=2"}, {{"id", "x"}}) +
                       request_bytes("ping"));
    serve();
    EXPECT_THAT(commands_of(received(*client)), ElementsAre("route", "route", "route", "route", "status"));
    const auto other = connect();
    EXPECT_THAT(commands_of(ask(*other, "ping")), ElementsAre("ping"));
    pass(); // one command less, and there is room again
    EXPECT_THAT(commands_of(received(*client)), ElementsAre("ping"));
}

TEST_F(Take, IsRefusedAtOnceWithoutABackendHoweverMuchWaits) {
    backend_.reset();
    commands_reach_backend = false;
    const auto client = connect();
    const std::vector<std::string> takes(waiting_takes_per_client, "1=1");
    EXPECT_THAT(commands_of(ask(*client, "route", takes)), ElementsAre("route"));
    EXPECT_EQ(take(*client, {"1=2"}).entry("output 1"), "refused no backend");
    EXPECT_THAT(ask(*client, "route", {"1=1"}), IsEmpty()) << "this one waits";
}

} // namespace
