// What a Sierra Video router may say, whatever it is. Most bytes are the router's; some stand for events:
// 0xfc the driver takes, 0xfd it asks, 0xfe time passes, 0xff the connection breaks and comes back.
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
            const bool is_source = name.find(".input.") != std::string::npos;
            FUZZ_CHECK(!is_source || value == "none" || value == "unknown" ||
                       number_behind(value, 0) < talk.picture.inputs);
        }
    }
}

// Looks at what is to be done, and does it.
void check_pass(conversation& one) {
    driver_side& driver = one.talk.driver;
    for (const std::string& line : driver.log) {
        FUZZ_CHECK(line.starts_with('<') && line.find('\n') == std::string::npos);
    }
    const std::string& to_router = one.talk.router.to_router;
    FUZZ_CHECK(to_router.empty() || (to_router.starts_with("**") && to_router.ends_with("!!")));
    FUZZ_CHECK(one.talk.queue.waiting.size() < 64);
    // A report of an earlier size may stand before: only the last size's are held against it.
    const auto is_info = [](const auto& report) { return report.command == "info"; };
    auto begin = std::find_if(driver.reports.rbegin(), driver.reports.rend(), is_info).base();
    for (; size_known(one.talk.picture) && begin != driver.reports.end(); ++begin) {
        check_report(one.talk, *begin);
    }
    driver.reports.clear();
    driver.log.clear();
    one.talk.router.to_router.clear();
}

void reconnect(conversation& one) {
    session_lost(one.talk);
    one.talk.router = {};
    session_connected(one.talk, 0, one.now);
}

void pass(conversation& one, std::string_view bytes) {
    hear_router(one.talk, bytes, one.now);
    run_due(one.talk, one.now);
    check_pass(one);
    if (!one.talk.router.failure.empty()) {
        reconnect(one);
    }
}

void tell(conversation& one, const std::string& command, const std::map<std::string, std::string>& fields) {
    TavrixAPIRouterMessage message;
    message.command = command;
    message.type = "command";
    message.fields = fields;
    handle_driver_message(one.talk, message, one.now);
    check_pass(one);
}

void take(conversation& one) {
    ++one.takes;
    tell(one, "route output",
         {{"queue", "add"}, {"to output", std::to_string(one.takes % 3)}, {"from input", "1"}});
    tell(one, "route output", {{"queue", "flush"}});
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
    FUZZ_CHECK(one.talk.driver.state == router_state::ready);
    for (const char byte : as_text(data, size)) {
        pass(one, play_event(one, byte) ? std::string_view() : std::string_view(&byte, 1));
    }
    return 0;
}
