// A conversation whose clock the test sets, which plays the router's and the driver's part.
#pragma once

#include "conversation.h"
#include "videohub_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

constexpr std::uint64_t ms = 1000;
constexpr std::uint64_t second = 1000000;

class VideohubConversation : public testing::Test {
protected:
    void SetUp() override {
        open_conversation(conversation, now);
    }

    void router_says(const std::string& text) {
        hear_router(conversation, text, now);
        run_conversation_timers(conversation, now);
    }

    // The router of videohub_texts.h is known, and what that led to is forgotten.
    void become_ready() {
        router_says(whole_state_text);
        ASSERT_EQ(conversation.driver.state, router_state::ready);
        forget();
    }

    void forget() {
        conversation.driver.reports.clear();
        conversation.router.to_router.clear();
        conversation.driver.log.clear();
    }

    void wait(std::uint64_t time) {
        now += time;
        run_conversation_timers(conversation, now);
    }

    void driver_says(const std::string& command, const std::map<std::string, std::string>& fields) {
        handle_driver_message(conversation, {command, "", "command", "", fields}, now);
    }

    void add_take(const std::string& output, const std::string& source) {
        driver_says("route output", {{"queue", "add"}, {"to output", output}, {"from input", source}});
    }

    void flush() {
        driver_says("route output", {{"queue", "flush"}});
    }

    void take(const std::string& output, const std::string& source) {
        add_take(output, source);
        flush();
    }

    // The reports so far, as "outputs o0.input.all=3 o1.input.all=0"; they are forgotten.
    std::vector<std::string> told() {
        std::vector<std::string> texts;
        for (const TavrixAPIRouterMessage& report : conversation.driver.reports) {
            std::string text = report.command;
            for (const auto& [name, value] : report.fields) {
                text.append(" ").append(name).append("=").append(value);
            }
            texts.push_back(text);
        }
        conversation.driver.reports.clear();
        return texts;
    }

    std::string sent() {
        return std::exchange(conversation.router.to_router, "");
    }

    videohub_conversation conversation;
    std::uint64_t now = 1000 * second;
};
