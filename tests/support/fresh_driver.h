// The driver as it is when it starts: what tests of its modules stand on.
#pragma once

#include "backend.h"
#include "backend_queue.h"
#include "captured_stream.h"
#include "client.h"
#include "driver.h"
#include "incoming_report.h"
#include "router.h"
#include "settable_clock.h"
#include "vrdx.h"

#include <gtest/gtest.h>
#include <unistd.h>

inline void reset_router() {
    resize_picture(0, 0, false);
    dbg_nochg_assume = false;
}

// Forgets the child; whoever made one ends it.
inline void reset_backend() {
    commands_reach_backend = false;
    vrdx_end_wait = false;
    for (std::int32_t* fd : {&backend_stdin_fd, &backend_stdout_fd, &backend_stderr_fd}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
    for (sliding_window_v4** buffer : {&backend_stdinbuf, &backend_stdoutbuf, &backend_stderrbuf})
        *buffer = sliding_window_v4_destroy(*buffer);
    backend_pid = -1;
    backend_path.clear();
    next_backend_check = 0;
    ident_procs.clear();
    stop_depth = 0;
    forget_all_that_waits();
    stdout_line.clear();
    stderr_line.clear();
    clear_incoming_report();
    debug_messages = false;
    last_error.clear();
    last_notes.clear();
}

inline void reset_item() {
    driver_name.clear();
    stay_resident = false;
    item_file_mtime = 0;
    vrdx_file = nullptr;
    metadata_v4_context_free(vrdx_meta);
    vrdx_meta = nullptr;
    metadata_v4_metadata_free(vrdx_metadata);
    vrdx_metadata = nullptr;
    vrdx_metadata_may_update = false;
    vrdx_do_write_metadata = false;
}

// Settings that wait are forwarded, and dropped with all else: that clears their clients' accounts, too.
inline void reset_settings() {
    if (pending_settings.empty())
        return;
    for (std::int32_t* fd : {&backend_stdin_fd, &backend_stdout_fd, &backend_stderr_fd})
        *fd = 0; // neither read nor written meanwhile
    notify_backend_settings();
    for (std::int32_t* fd : {&backend_stdin_fd, &backend_stdout_fd, &backend_stderr_fd})
        *fd = -1;
    drop_pending_lines();
}

inline void reset_clients() {
    reset_settings();
    auto_shutdown_delay = 0;
    mono_auto_shutdown = 0;
}

inline void reset_driver() {
    reset_router();
    reset_backend();
    reset_item();
    reset_clients();
    settable_clock_us = 1000000000;
    settable_boot_ms = 5000000;
}

// A fresh driver whose standard error is the test's to read.
class fresh_driver : public testing::Test {
protected:
    fresh_driver() {
        reset_driver();
    }
    ~fresh_driver() override {
        reset_driver();
    }

    // What the driver traced since the last call.
    std::string trace() {
        return trace_.take();
    }
    static void expect_no_backend() {
        EXPECT_FALSE(commands_reach_backend);
        EXPECT_EQ(backend_pid, -1);
        EXPECT_EQ(backend_stdin_fd, -1);
        EXPECT_EQ(backend_stdout_fd, -1);
        EXPECT_EQ(backend_stderr_fd, -1);
        EXPECT_EQ(backend_stdinbuf, nullptr);
        EXPECT_EQ(backend_stdoutbuf, nullptr);
        EXPECT_EQ(backend_stderrbuf, nullptr);
        EXPECT_EQ(stop_depth, 0);
    }

private:
    captured_stream trace_{stderr};
};
