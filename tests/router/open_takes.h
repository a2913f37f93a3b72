// Takes that are asked for, sent and reported, and what was decided about them, in few words.
#pragma once

#include "takes.h"
#include "waiting_clients.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

inline std::vector<decided_take> decisions;

inline void keep_decision(const decided_take& take) {
    decisions.push_back(take);
}

// Nobody can stop listening, and so all tests of this program share one listener.
inline void hear_decisions() {
    static const bool listening = [] {
        watch_takes(keep_decision);
        watch_picture(count_rollbacks);
        return true;
    }();
    EXPECT_TRUE(listening);
    decisions.clear();
}

// A router of eight by eight with separate levels, all outputs on source 0, and a backend that can be told.
class open_takes : public waiting_clients {
protected:
    open_takes() {
        forget_backend();
        resize_picture(8, 8, true);
        for (std::int32_t output = 0; output < 8; ++output)
            report_sources(output, {0, 0});
        hear_decisions();
    }
    ~open_takes() override {
        forget_backend();
    }

    static constexpr std::uint64_t within_us = 3000000;

    // One packet of "take".
    static void ask(requester client, const std::vector<asked_take>& takes, const std::string& by = "") {
        requester_asks(client);
        ask_takes(takes, {client, by, within_us, 1});
    }
    static void ask(const std::vector<asked_take>& takes) {
        ask(connect(), takes);
    }
    // One packet of "route".
    static void route(requester client, std::int32_t output, levels sources) {
        requester_asks(client);
        queue_route_request({sources.audio, sources.video, output}, client);
        plan_route_changes();
    }
    // The next message is on its way to the pipe, and all that was moved is in it.
    static void send_one() {
        ASSERT_NE(pending_line(), nullptr);
        pending_line_moved();
    }
    static void send_all() {
        move_all();
        pending_lines_written(0);
    }
    // As the backend's report does it.
    static void report(std::int32_t output, bool audio, bool video, std::int32_t source, bool known = true) {
        report_source(output, audio, video, source, known);
        takes_hear_source(output, audio, video, source, known);
    }
    static void report(std::int32_t output, std::int32_t source) {
        report(output, true, true, source);
    }
    static void refuse(std::int32_t output, std::int32_t input, const std::string& text) {
        takes_hear_refusal(output, true, true, input, text);
    }
    static void link_goes_down(const std::string& text = "") {
        report_link(link_state::down, text);
        takes_hear_link_down();
    }
    static void backend_ends() {
        commands_reach_backend = false;
        drop_pending_lines();
    }
    static void pass_time(std::uint64_t us) {
        settable_clock_us += us;
        expire_assumed_routes();
        expire_takes();
    }

    // "2 confirmed" for the take on output 2, of each that was decided since the last call.
    static std::vector<std::string> decided() {
        std::vector<std::string> texts;
        for (const decided_take& take : decisions)
            texts.push_back(std::to_string(take.output) + " " + std::string(take_result_word(take.result)) +
                            (take.detail.empty() ? "" : " " + take.detail));
        decisions.clear();
        return texts;
    }
    static std::string told(requester client, const std::string& by = "") {
        return told_text(client, by);
    }
    static levels shown(std::int32_t output) {
        return current(router_outputs[static_cast<std::size_t>(output)]);
    }
};
