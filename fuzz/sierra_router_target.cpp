// What a Sierra Video router may say, whatever it is. Most bytes are the router's; some stand for events:
// 0xfc the driver takes, 0xfd it asks, 0xfe time passes, 0xff the connection breaks and comes back.
#include "driver_messages.h"
#include "session.h"
#include "target.h"

#include <algorithm>
#include <charconv>

namespace {

struct conversation {
    session talk;
    std::uint64_t now = 1000000;
    int takes = 0;
};

int number_behind(const std::string& text, std::size_t begin) {
    int number = -1;
    std::from_chars(text.data() + begin, text.data() + text.size(), number);
    return number;
}

void check_report(const session& talk, const TavrixAPIRouterMessage& report) {
    FUZZ_CHECK(report.type == "message");
    for (const auto& [name, value] : report.fields) {
        if (report.command == "outputs") {
            FUZZ_CHECK(number_behind(name, 1) < talk.picture.outputs);
            FUZZ_CHECK(value == "none" || number_behind(value, 0) < talk.picture.inputs);
        }
    }
}

void check_reaction(conversation& one, const reaction& reaction) {
    for (const std::string& line : reaction.log) {
        FUZZ_CHECK(line.starts_with('<') && line.find('\n') == std::string::npos);
    }
    const bool is_request = reaction.to_router.starts_with("**") && reaction.to_router.ends_with("!!");
    FUZZ_CHECK(reaction.to_router.empty() || is_request);
    FUZZ_CHECK(one.talk.queue.waiting.size() < 64);
    // A report of an earlier size may stand in the same reaction: only the last size's are held against it.
    const auto is_info = [](const auto& report) { return report.command == "info"; };
    auto begin = std::find_if(reaction.reports.rbegin(), reaction.reports.rend(), is_info).base();
    if (begin == reaction.reports.begin() && size_known(one.talk.picture)) {
        begin = reaction.reports.begin();
    }
    for (; size_known(one.talk.picture) && begin != reaction.reports.end(); ++begin) {
        check_report(one.talk, *begin);
    }
}

void pass(conversation& one, std::string_view bytes) {
    reaction reaction;
    take_router_bytes(one.talk, bytes, one.now, reaction);
    run_due(one.talk, one.now, reaction);
    check_reaction(one, reaction);
    if (!reaction.failure.empty()) {
        session_lost(one.talk, reaction);
        session_connected(one.talk, 0, one.now, reaction);
    }
}

void tell(conversation& one, const std::string& command, const std::map<std::string, std::string>& fields) {
    TavrixAPIRouterMessage message;
    message.command = command;
    message.type = "command";
    message.fields = fields;
    reaction reaction;
    handle_driver_message(one.talk, message, one.now, reaction);
    check_reaction(one, reaction);
}

void take(conversation& one) {
    ++one.takes;
    tell(one, "route output",
         {{"queue", "add"}, {"to output", std::to_string(one.takes % 3)}, {"from input", "1"}});
    tell(one, "route output", {{"queue", "flush"}});
}

void reconnect(conversation& one) {
    reaction reaction;
    session_lost(one.talk, reaction);
    session_connected(one.talk, 0, one.now, reaction);
}

bool play_event(conversation& one, char byte) {
    switch (byte) {
    case '\xfc':
        take(one);
        return true;
    case '\xfd':
        tell(one, "report", {{"what", "outputs"}});
        return true;
    case '\xfe':
        one.now += 250000;
        return true;
    case '\xff':
        reconnect(one);
        return true;
    default:
        return false;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    conversation one;
    reconnect(one);
    for (const char* said :
         {"", "** OK !!", "** ILSXOUV~ OK !!", "** Qa~1~ OK !!", "** L4,3,8,VIDEO~AudioL~AudioR~~ OK !!",
          "** OK !!", "** Y1,1 Y2,2 Y3,3 Y4,4 OK !!"}) {
        pass(one, said);
    }
    FUZZ_CHECK(one.talk.phase == session_phase::ready);
    for (const char byte : as_text(data, size)) {
        pass(one, play_event(one, byte) ? std::string_view() : std::string_view(&byte, 1));
    }
    return 0;
}
