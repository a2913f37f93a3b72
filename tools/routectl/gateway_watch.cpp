// What happens at a router, as a gateway tells it.
#include "display_text.h"
#include "gateway_link.h"
#include "monotonic_us.h"
#include "port_names.h"
#include "program_end.h"
#include "watch_output.h"

#include <poll.h>

namespace {

constexpr int reconnect_period_ms = 1000;
constexpr std::chrono::milliseconds look_period{500};
constexpr std::uint64_t silence_limit_us = 15000000; // a gateway says that it lives every 5 seconds

class watching {
public:
    explicit watching(const invocation& call) : call_(call), events_(*call.gateway) {}

    // The exit code of the first failure to begin, or of the end.
    int run();

private:
    bool open(int* exit_code, std::string* problem);
    bool hear_until_it_ends();
    bool print(const watch_line& line) {
        return print_watch_line(call_.json, line);
    }
    bool print(const std::vector<watch_line>& lines);
    bool hear(const gateway_json& event);
    bool hear_picture(const gateway_json& event);
    bool hear_change(const gateway_json& event);
    bool hear_state(const gateway_state& state);
    bool hear_alarm(const gateway_json& event);

    const invocation& call_;
    gateway_events events_;
    vrdx::router_picture picture_;
    watched_picture known_;
    vrdx::picture_news pending_; // of a change that goes on in another one
    bool begun_ = false;
    bool driver_gone_ = false;
};

bool watching::open(int* exit_code, std::string* problem) {
    gateway_reply refused;
    const std::chrono::milliseconds wait((call_.timeout_us + 999) / 1000);
    *exit_code = exit_no_driver;
    if (events_.open("/api/v1/events?router=" + percent_encoded(call_.place.name), wait, &refused, problem))
        return true;
    if (refused.status != 0)
        *exit_code = gateway_refusal(call_, refused.status, refused.body, problem);
    return false;
}

bool watching::print(const std::vector<watch_line>& lines) {
    for (const watch_line& line : lines)
        if (!print(line))
            return false;
    return true;
}

bool watching::hear_picture(const gateway_json& event) {
    const gateway_state state = state_in(event);
    if (!read_picture(event, &picture_))
        return true;
    pending_ = {};
    if (!is_true_now(state))
        return hear_state(state);
    if (!begun_) {
        begun_ = true;
        driver_gone_ = false;
        lines_of_change(&known_, picture_, {}, true); // where everything begins
        return print(line_of_beginning(picture_));
    }
    if (driver_gone_ && !print(line_of_driver(true)))
        return false;
    driver_gone_ = false;
    return print(lines_of_change(&known_, picture_, {}, true));
}

bool watching::hear_change(const gateway_json& event) {
    enter_change(event, &picture_, &pending_);
    if (!begun_ || is_so_in(event, "more"))
        return true;
    const vrdx::picture_news news = std::exchange(pending_, {});
    return print(lines_of_change(&known_, picture_, news, false));
}

bool watching::hear_state(const gateway_state& state) {
    if (is_true_now(state)) {
        enter_state(&picture_, state);
        return !begun_ || driver_gone_ || print(lines_of_change(&known_, picture_, {}, false));
    }
    if (driver_gone_ || state.word == "reading")
        return true;
    driver_gone_ = true;
    return print(line_of_driver(false));
}

bool watching::hear_alarm(const gateway_json& event) {
    const std::uint64_t number = number_in(event, "output");
    if (number < 1 || number > picture_.outputs.size())
        return true;
    const auto output = static_cast<int>(number);
    const auto before = gateway_sources(event, "before"), now = gateway_sources(event, "now");
    const gateway_json lock = event.contains("lock") ? event["lock"] : gateway_json();
    const std::string owner = text_in(lock, "owner");
    return print({output_text(picture_, output) + " changed in spite of the lock of " + in_quotes(owner) +
                      ": " + sources_text(picture_, before) + " -> " + sources_text(picture_, now),
                  {{"change", "alarm"},
                   {"output", output},
                   {"before", json_of_sources(before)},
                   {"after", json_of_sources(now)},
                   {"owner", owner},
                   {"reason", text_in(lock, "reason")}}});
}

bool watching::hear(const gateway_json& event) {
    const std::string type = text_in(event, "type");
    if (type == "picture")
        return hear_picture(event);
    if (type == "change")
        return hear_change(event);
    if (type == "router")
        return hear_state(state_in(event));
    if (!begun_)
        return true;
    if (type == "take")
        return print(line_of_take(gateway_record(event), picture_));
    if (type == "lost")
        return print(line_of_lost_takes(number_in(event, "takes")));
    return type != "alarm" || hear_alarm(event);
}

// False when nobody can read on.
bool watching::hear_until_it_ends() {
    std::uint64_t heard_us = monotonic_us();
    for (;;) {
        std::string text;
        const gateway_events::heard what = events_.next(&text, look_period);
        if (what == gateway_events::heard::ended || monotonic_us() - heard_us > silence_limit_us)
            return true;
        if (what == gateway_events::heard::nothing_yet)
            continue;
        heard_us = monotonic_us();
        const gateway_json event = gateway_json::parse(text, nullptr, false);
        if (event.is_object() && !hear(event))
            return false;
    }
}

watch_line line_of_gateway(bool there) {
    return {there ? "gateway back" : "gateway gone",
            {{"change", "gateway"}, {"before", !there}, {"after", there}}};
}

int watching::run() {
    int exit_code = exit_done;
    std::string problem;
    if (!open(&exit_code, &problem))
        return failed(exit_code, problem);
    while (hear_until_it_ends()) {
        if (!print(line_of_gateway(false)))
            break;
        pending_ = {};
        while (!open(&exit_code, &problem)) {
            if (exit_code != exit_no_driver)
                return failed(exit_code, problem); // the token is gone
            poll(nullptr, 0, reconnect_period_ms);
        }
        if (!print(line_of_gateway(true)))
            break;
    }
    return exit_refused; // the output cannot be written, which main tells of
}

} // namespace

int run_watch_through_gateway(const invocation& call) {
    end_on_signals();
    return watching(call).run();
}
