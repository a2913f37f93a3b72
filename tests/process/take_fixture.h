// What the tests of takes stand on: items with a router below them, and words for what is sent and reported.
#pragma once

#include "driver_process.h"
#include "pipelined_requests.h"
#include "test_client.h"
#include "test_files.h"

#include <gtest/gtest.h>
#include <thread>

class take_fixture : public testing::Test {
protected:
    // Items of this test; both return the item's path.
    [[nodiscard]] std::string simulated(const std::string& settings) const {
        // Message by message, as backends get it that do not ask for salvos.
        write_file(directory_.file("item"), "driver=route_simulator\nsimulated salvo=no\n" + settings);
        return directory_.file("item");
    }
    [[nodiscard]] std::string scripted(const script& directives) const {
        return write_scripted_item(directory_, directives);
    }
    // A step that the script waits for, named `name`.
    [[nodiscard]] std::string at(const std::string& name) const {
        return "wait-for-file " + directory_.file(name);
    }
    void go(const std::string& name) const {
        write_file(directory_.file(name), "");
    }

    const temporary_directory directory_;
};

// Directives that report lines such as "o2.input.all=6".
inline script report_outputs(const script& lines) {
    script directives = {"say *COMMAND=outputs", "say *TYPE=message"};
    for (const std::string& line : lines)
        directives.push_back("say " + line);
    directives.emplace_back("blank");
    return directives;
}

// The trace of a message sent to the backend.
inline std::string sent(const script& lines) {
    std::string trace;
    for (const std::string& line : lines)
        trace += "STDIN: '" + line + "'\n";
    return trace + "STDIN: ''\n";
}

// The trace of one command of a take, all levels at once or one of them; inputs and outputs are 0-based here.
inline std::string sent_take(const std::string& input, int output, const std::string& control = "") {
    script lines = {"*COMMAND=route output", "*TYPE=command"};
    if (!control.empty())
        lines.push_back("control=" + control);
    lines.insert(lines.end(), {"from input=" + input, "queue=add", "to output=" + std::to_string(output)});
    return sent(lines);
}

inline std::string sent_flush() {
    return sent({"*COMMAND=route output", "*TYPE=command", "queue=flush"});
}

inline std::size_t count_of(const std::string& wanted, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t found = text.find(wanted); found != std::string::npos;
         found = text.find(wanted, found + 1))
        ++count;
    return count;
}

// Looks again and again, for longer than an unconfirmed take is shown.
inline void expect_to_stay(test_client& client, const std::string& output, const std::string& sources) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1200);
    while (std::chrono::steady_clock::now() < end) {
        ASSERT_EQ(client.status().entry(output), sources);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}
