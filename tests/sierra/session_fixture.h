// A conversation whose clock the test sets and whose router the test plays.
#pragma once

#include "driver_messages.h"
#include "session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

constexpr std::uint64_t second = 1000000;
constexpr std::uint64_t millisecond = 1000;

class SierraSession : public testing::Test {
protected:
    using fields = std::map<std::string, std::string>;

    // One pass of the loop: what the router said, then what is due. Returns what the router is sent.
    std::string pass(std::string_view router_says = "") {
        reaction reaction;
        take_router_bytes(talk, router_says, now, reaction);
        run_due(talk, now, reaction);
        return collect(reaction);
    }

    std::string pass_after(std::uint64_t wait, std::string_view router_says = "") {
        now += wait;
        return pass(router_says);
    }

    std::string collect(reaction& reaction) {
        for (const TavrixAPIRouterMessage& report : reaction.reports) {
            EXPECT_EQ(report.type, "message");
            if (report.command == "info") {
                info = report.fields;
            }
            for (const auto& [name, value] : report.fields) {
                reported[name] = value;
            }
        }
        log.insert(log.end(), reaction.log.begin(), reaction.log.end());
        failure = reaction.failure;
        return reaction.to_router;
    }

    std::string connect(std::uint64_t us_per_byte = 0) {
        reaction reaction;
        session_connected(talk, us_per_byte, now, reaction);
        collect(reaction);
        return pass();
    }

    void lose() {
        reaction reaction;
        session_lost(talk, reaction);
        collect(reaction);
    }

    // Up to the status, which is not answered yet.
    void read_up_to_status(std::string_view size = "L3,3,8,VIDEO~AudioL~AudioR~~",
                           std::string_view letters = "ILSXOUV") {
        ASSERT_EQ(connect(), "**!!");
        ASSERT_EQ(pass("** OK !!\r"), "**I!!");
        ASSERT_EQ(pass("** I" + std::string(letters) + "~ OK !!\r"), "**Q!!");
        ASSERT_EQ(pass("** QAspen~1.0~ OK !!\r"), "**L!!");
        ASSERT_EQ(pass("** " + std::string(size) + " OK !!\r"), "**U2!!");
        ASSERT_EQ(pass("** OK !!\r"), "**S!!");
    }

    void become_ready() {
        read_up_to_status();
        ASSERT_EQ(pass("** V1,1,1,1 V2,2,2,2 V3,3,3,3 OK !!\r"), "");
        ASSERT_EQ(talk.phase, session_phase::ready);
        reported.clear();
        log.clear();
    }

    changed_part tell(const std::string& command, const std::string& type, const fields& values) {
        TavrixAPIRouterMessage message;
        message.command = command;
        message.type = type;
        message.fields = values;
        reaction reaction;
        const changed_part part = handle_driver_message(talk, message, now, reaction);
        EXPECT_EQ(collect(reaction), "");
        return part;
    }

    // Numbers as the driver has them, 0-based.
    void add_take(const std::string& output, const std::string& input, const std::string& control = "") {
        fields values = {{"queue", "add"}, {"to output", output}, {"from input", input}};
        if (!control.empty()) {
            values["control"] = control;
        }
        tell("route output", "command", values);
    }

    // Returns what the router is sent.
    std::string flush() {
        tell("route output", "command", {{"queue", "flush"}});
        return pass();
    }

    std::string take(const std::string& output, const std::string& input, const std::string& control = "") {
        add_take(output, input, control);
        return flush();
    }

    session talk;
    std::uint64_t now = 1000 * second;
    fields info;     // of the last report of the size
    fields reported; // all fields of all reports, the last value of each
    log_lines log;
    std::string failure;
};
