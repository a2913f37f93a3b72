// A driver over a backend whose behaviour is scripted, and what tests ask about the two.
#pragma once

#include "driver_process.h"
#include "test_client.h"
#include "test_files.h"

#include <gtest/gtest.h>

// An item whose backend announces a router of 4 inputs and 3 outputs and then plays a script.
class Supervision : public testing::Test {
protected:
    void play(const script& directives) const {
        write_script(directory_.file("script"), join({announce_router(4, 3), directives}));
    }
    // The same for one that neither its end nor SIGTERM ends.
    void play_stubbornly(const script& directives) const {
        write_script(directory_.file("script"),
                     join({{"ignore-term", "ignore-eof"}, announce_router(4, 3), directives}));
    }
    // A step that the script waits for.
    [[nodiscard]] std::string at_go() const {
        return "wait-for-file " + directory_.file("go");
    }
    void go() const {
        write_file(directory_.file("go"), "");
    }
    [[nodiscard]] std::string heard() const {
        const std::string path = directory_.file("heard");
        return file_exists(path) ? read_file(path) : "";
    }

    const temporary_directory directory_;
    const std::string item_ = write_scripted_item(directory_, {});
};

inline void wait_for_router(test_client& client) {
    wait_for_status(client, "out points", "3");
}

inline std::string active(test_client& client) {
    return client.request("report").entry("*active").substr(0, 1);
}

// The backend of this pid was stopped, and nothing of it is left.
inline void wait_until_reaped(driver_process& driver, pid_t backend) {
    driver.wait_for_trace("Reaped ident proc " + std::to_string(backend) + "\n");
    EXPECT_EQ(process_state(backend), 0);
}

inline void wait_until_childless(const driver_process& driver) {
    wait_until("no child, alive or zombie", [&] { return driver.children().empty(); });
}

inline void rename_output(test_client& client, const std::string& name) {
    client.request("router set", {}, {{"output.1.name", name}});
}
