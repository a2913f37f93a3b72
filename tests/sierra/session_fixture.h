// A conversation whose clock the test sets and whose router the test plays.
#pragma once

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
        hear_router(talk, router_says, now);
        run_due(talk, now);
        return collect();
    }

    std::string pass_after(std::uint64_t wait, std::string_view router_says = "") {
        now += wait;
        return pass(router_says);
    }

    std::string collect() {
        for (const TavrixAPIRouterMessage& report : std::exchange(talk.driver.reports, {})) {
            EXPECT_EQ(report.type, "message");
            if (report.command == "info") {
                info = report.fields;
            }
            if (report.command == "refused") {
                refused.push_back(report.fields);
                continue;
            }
            for (const auto& [name, value] : report.fields) {
                reported[name] = value;
            }
        }
        const log_lines told = std::exchange(talk.driver.log, {});
        log.insert(log.end(), told.begin(), told.end());
        failure = std::exchange(talk.router.failure, "");
        return std::exchange(talk.router.to_router, "");
    }

    std::string connect(std::uint64_t us_per_byte = 0) {
        session_connected(talk, us_per_byte, now);
        return pass();
    }

    void lose() {
        session_lost(talk);
        collect();
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
        ASSERT_EQ(talk.driver.state, router_state::ready);
        reported.clear();
        log.clear();
    }

    changed_part tell(const std::string& command, const std::string& type, const fields& values) {
        TavrixAPIRouterMessage message;
        message.command = command;
        message.type = type;
        message.fields = values;
        const changed_part part = handle_driver_message(talk, message, now);
        EXPECT_EQ(collect(), "");
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
    fields info;                 // of the last report of the size
    fields reported;             // all fields of all other reports, the last value of each
    std::vector<fields> refused; // of each refused take
    log_lines log;
    std::string failure;
};
